#include "FaviconManager.h"

#include "TVRDownloader.h"

#include "core/Logging_p.h"
#include "core/Paths.h"
#include "text/NSFileManagerXtras.h"
#include "text/NSStringXtra.h"

#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

namespace {

constexpr int kPlaceholderSize = 16;

// The host as the URL gives it, plus ":port" when the URL names a port, so that a server on a
// non-standard port is asked on that port and gets a cache file apart from the host's own. QUrl has
// already lowered its case and made an international name ASCII, which keeps it usable in a URL.
QString hostWithPort(const QUrl &url)
{
    if (url.host().isEmpty())
        return QString();
    return url.adjusted(QUrl::RemoveUserInfo).authority(QUrl::FullyEncoded);
}

// The icon at the root of the host, always over plain HTTP whatever the page's scheme.
QUrl iconURL(const QString &host)
{
    return QUrl(NSStringXtra::URLSafe(QStringLiteral("http://%1/favicon.ico").arg(host)));
}

QImage placeholderImage()
{
    QImage image(kPlaceholderSize, kPlaceholderSize, QImage::Format_ARGB32);
    image.fill(QColor(0xc0, 0xc0, 0xc0));
    return image;
}

} // namespace

std::unique_ptr<FaviconManager> FaviconManager::faviconManager()
{
    return std::make_unique<FaviconManager>();
}

QImage FaviconManager::faviconForURL(const QUrl &url)
{
    const QString host = hostWithPort(url);
    if (host.isEmpty())
        return webImage();
    const QString folder = Paths::cachesFolder();
    NSFileManagerXtras::buildPath(folder);
    const QImage icon = cachedOrDownloadedIcon(host, folder + QLatin1Char('/') + host);
    return icon.isNull() ? webImage() : icon;
}

QImage FaviconManager::cachedOrDownloadedIcon(const QString &host, const QString &cacheFile)
{
    if (!QFileInfo::exists(cacheFile))
        return downloadIcon(host, cacheFile);
    // Whatever is there stays, image or not: cache files are never refreshed.
    QFile file(cacheFile);
    if (!file.open(QIODevice::ReadOnly)) {
        qCWarning(lcNet) << "Cannot read the cached icon" << cacheFile << file.errorString();
        return QImage();
    }
    return QImage::fromData(file.readAll());
}

QImage FaviconManager::downloadIcon(const QString &host, const QString &cacheFile)
{
    const QUrl url = iconURL(host);
    if (!url.isValid())
        return QImage();
    const QByteArray bytes = TVRDownloader::downloadData(url);
    // Only an image is kept: a server's error page (which the download returns like any body) must
    // not stand in for the icon for good, so the next request tries again.
    QImage icon = QImage::fromData(bytes);
    if (!icon.isNull())
        writeCacheFile(cacheFile, bytes);
    return icon;
}

void FaviconManager::writeCacheFile(const QString &cacheFile, const QByteArray &bytes)
{
    // Whole or not at all, also when two managers fetch the same host at once.
    QSaveFile file(cacheFile);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit())
        qCWarning(lcNet) << "Cannot cache the icon" << cacheFile << file.errorString();
}

QImage FaviconManager::webImage()
{
    if (m_web.isNull()) {
        const QString path = Paths::frameworkResourcesFolder() + QStringLiteral("/web.tif");
        if (!m_web.load(path)) {
            qCWarning(lcNet) << "Cannot load the generic web image" << path << "; using a plain placeholder";
            m_web = placeholderImage();
        }
    }
    return m_web;
}
