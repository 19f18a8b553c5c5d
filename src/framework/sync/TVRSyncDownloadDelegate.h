#pragma once

#include "tivaro_export.h"

class TVRDownloader;

// What a plug-in implements to hear about a download it asked the sync driver for
// (TVRSyncUtils::downloadURL). The driver calls it on the main thread, with the downloader, or with
// none when no download could be started; look at the downloader's state to tell success from failure.
class TIVARO_EXPORT TVRSyncDownloadDelegate
{
public:
    virtual ~TVRSyncDownloadDelegate() = default;
    virtual void downloadComplete(TVRDownloader *downloader) = 0;
};
