#include "NSURLXtra_p.h"

#include "TVRDownloader.h"

namespace NSURLXtra {

QByteArray downloadData(const QUrl &url)
{
    return TVRDownloader::downloadData(url);
}

QString downloadString(const QUrl &url)
{
    return TVRDownloader::downloadString(url);
}

} // namespace NSURLXtra
