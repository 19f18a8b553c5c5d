#pragma once

#include "tivaro_export.h"

#include <QByteArray>
#include <QString>
#include <QUrl>

// Blocking downloads of a URL, for worker threads; see TVRDownloader::downloadData().
namespace NSURLXtra {

TIVARO_AUTOTEST_EXPORT QByteArray downloadData(const QUrl &url);
TIVARO_AUTOTEST_EXPORT QString downloadString(const QUrl &url);

} // namespace NSURLXtra
