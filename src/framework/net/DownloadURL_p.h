#pragma once

#include "tivaro_export.h"

#include <QUrl>

// What the downloaders make of the URLs they are given and sent to.
namespace DownloadURL {

// A feed reader's "feed:" URL as the web URL it stands for: feed://host/x is http://host/x, and
// feed:https://host/x and feed://https://host/x are https://host/x. Other URLs stay as they are.
TIVARO_AUTOTEST_EXPORT QUrl withoutFeedScheme(const QUrl &url);

// Whether a redirect may go to `url`: only to http and https, never to a local file or another
// scheme the network layer would also load.
TIVARO_AUTOTEST_EXPORT bool isFollowable(const QUrl &url);

// Same scheme, host and port (a missing port read as the scheme's own).
TIVARO_AUTOTEST_EXPORT bool haveSameOrigin(const QUrl &a, const QUrl &b);

} // namespace DownloadURL
