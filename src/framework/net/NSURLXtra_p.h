#pragma once

#include <QByteArray>
#include <QString>
#include <QUrl>

// Blocking downloads of a URL, for worker threads; see TVRDownloader::downloadData().
namespace NSURLXtra {

QByteArray downloadData(const QUrl &url);
QString downloadString(const QUrl &url);

} // namespace NSURLXtra
