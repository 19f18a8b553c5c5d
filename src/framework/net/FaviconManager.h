#pragma once

#include "tivaro_export.h"

#include <QByteArray>
#include <QImage>
#include <QString>
#include <QUrl>

#include <memory>

// The small site icon shown beside a feed or web address. A host's "favicon.ico" is fetched once and
// kept for good in the user's cache folder, one file a host; a site without a readable icon gets a
// generic web image. Managers share nothing but that folder, so one may be made for each thread.
// For Tivaro's programs; plug-ins have no use for it.
class TIVARO_EXPORT FaviconManager
{
public:
    // A new manager each call.
    static std::unique_ptr<FaviconManager> faviconManager();

    // The icon of `url`'s host, else the generic web image; never a null image. May block on a
    // download (for at most a few seconds) the first time a host is asked for.
    QImage faviconForURL(const QUrl &url);

private:
    // The icon read from the cache file, or downloaded and cached when there is none.
    static QImage cachedOrDownloadedIcon(const QString &host, const QString &cacheFile);
    static QImage downloadIcon(const QString &host, const QString &cacheFile);
    static void writeCacheFile(const QString &cacheFile, const QByteArray &bytes);
    // "web.tif" from the framework's resources, loaded on first need.
    QImage webImage();

    QImage m_web;
};
