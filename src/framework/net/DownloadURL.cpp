#include "DownloadURL_p.h"

namespace {

int portOf(const QUrl &url)
{
    if (url.scheme() == u"https")
        return url.port(443);
    if (url.scheme() == u"http")
        return url.port(80);
    return url.port();
}

} // namespace

namespace DownloadURL {

QUrl withoutFeedScheme(const QUrl &url)
{
    if (url.scheme() != u"feed")
        return url;
    // "//host/x", "https://host/x", or "//https//host/x": QUrl reads feed://https://host as the host
    // "https" with an empty port, which it drops.
    const QString rest = url.toString(QUrl::FullyEncoded).mid(int(sizeof "feed:") - 1);
    for (const QLatin1String scheme : {QLatin1String("http"), QLatin1String("https")}) {
        if (rest.startsWith(scheme + QLatin1String("://")))
            return QUrl(rest, QUrl::StrictMode);
        if (rest.startsWith(QLatin1String("//") + scheme + QLatin1String("//")))
            return QUrl(scheme + QLatin1Char(':') + rest.mid(2 + scheme.size()), QUrl::StrictMode);
    }
    return QUrl(QStringLiteral("http:") + rest, QUrl::StrictMode);
}

bool isFollowable(const QUrl &url)
{
    return url.isValid() && (url.scheme() == u"http" || url.scheme() == u"https") && !url.host().isEmpty();
}

bool haveSameOrigin(const QUrl &a, const QUrl &b)
{
    return a.scheme() == b.scheme() && a.host() == b.host() && portOf(a) == portOf(b);
}

} // namespace DownloadURL
