#pragma once

#include "tivaro_export.h"

class TVRDownloadItem;

// Told of each item a download manager starts and finishes, on the manager's thread.
class TIVARO_EXPORT TVRDownloadManagerDelegate
{
public:
    virtual ~TVRDownloadManagerDelegate() = default;
    // Just before the item's transfer starts.
    virtual void downloadStarted(TVRDownloadItem *item) = 0;
    // The item's transfer has ended, completed or not: a time-out or failure leaves partial or no
    // data in item->downloader()->data(). downloader() is null when the URL could not be loaded.
    virtual void downloadFinished(TVRDownloadItem *item) = 0;
};
