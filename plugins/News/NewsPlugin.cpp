#include "NewsPlugin.h"

#include "core/ExportedClass.h"
#include "plugins/TVRPrefs.h"

#include <QDir>
#include <QHostAddress>

const QString NewsPlugin::subscriptionsKey = QStringLiteral("subscriptions");

namespace {

// Files and feeds served on this machine need no internet connection.
bool isOnThisMachine(const QUrl &url)
{
    if (url.isLocalFile())
        return true;
    const QString host = url.host();
    return host == QLatin1String("localhost") || QHostAddress(host).isLoopback();
}

bool needsNetwork(const QList<NewsSubscription> &feeds)
{
    return !std::all_of(feeds.begin(), feeds.end(),
                        [](const NewsSubscription &feed) { return isOnThisMachine(feed.url); });
}

} // namespace

void NewsPlugin::initPlugin()
{
    m_pluginAboutInfo = AttributedString(QStringLiteral("Puts the latest articles of your news feeds onto the iPod."));
}

qint32 NewsPlugin::prepareSync(bool *needsInternet, TVRSyncInfo *)
{
    QString problem;
    const std::optional<QList<NewsSubscription>> feeds = subscriptions(&problem);
    *needsInternet = feeds && needsNetwork(*feeds);
    return feeds ? qint32(feeds->size()) : 0;
}

void NewsPlugin::sync(TVRSyncInfo *syncInfo)
{
    m_sync = std::make_unique<NewsSync>(syncInfo, this);
    QString problem;
    if (const std::optional<QList<NewsSubscription>> feeds = subscriptions(&problem))
        m_sync->start(*feeds);
    else
        m_sync->fail(problem);
}

void NewsPlugin::cancelSync()
{
    if (m_sync)
        m_sync->cancel();
}

std::optional<QList<NewsSubscription>> NewsPlugin::subscriptions(QString *problem) const
{
    const std::unique_ptr<TVRPrefs> prefs = TVRPrefs::prefsWithBundle(bundle().get());
    const QVariantMap settings = prefs ? prefs->dictionary() : QVariantMap();
    QString path = settings.value(subscriptionsKey).toString();
    if (path.isEmpty()) {
        *problem = QStringLiteral("No news feeds are chosen: import an OPML file of subscriptions with "
                                  "tivaro news import FILE");
        return std::nullopt;
    }
    if (path == QLatin1String("~") || path.startsWith(QLatin1String("~/")))
        path.replace(0, 1, QDir::homePath());
    QVariantMap defaults;
    for (const QString &name : NewsSubscription::optionAttributes) {
        if (settings.contains(name))
            defaults.insert(name, settings.value(name));
    }
    return NewsSubscription::fromOPMLFile(path, defaults, problem);
}

TIVARO_EXPORT_CLASS(NewsPlugin)
