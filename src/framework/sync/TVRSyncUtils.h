#pragma once

#include "tivaro_export.h"

#include <QString>
#include <QUrl>

class QObject;

// How a plug-in talks to the sync driver while it syncs: every operation posts a notification on
// the process-wide centre, so a plug-in needs no reference to the driver. Delivery is synchronous
// on the posting thread; post completion, progress and feedback from the main thread.
class TIVARO_EXPORT TVRSyncUtils
{
public:
    static const QString completeNotification;          // "tvrSyncUtilsComplete"
    static const QString downloadURLNotification;       // "tvrSyncUtilsDownloadURL"
    static const QString cancelDownloadNotification;    // "tvrSyncUtilsCancelDownload"
    static const QString provideFeedbackNotification;   // "tvrSyncUtilsProvideSyncFeedback"
    static const QString incrementProgressNotification; // "tvrSyncIncrementProgress"

    // Ends the plug-in's part of the sync; `sender` is normally the plug-in itself.
    static void reportSyncComplete(QObject *sender);
    // Asks the driver to download `url` on the main thread; `delegate` is told downloadComplete()
    // when it implements TVRSyncDownloadDelegate. The time-out is accepted and dropped: the request
    // always carries "timeout" 0, and the driver ignores it as well.
    static void downloadURL(const QUrl &url, QObject *delegate, int timeout = 0);
    static void cancelDownload();
    // A line for the sync's item status.
    static void provideSyncFeedback(const QString &feedback);
    // One progress step; call it as many times as prepareSync() counted.
    static void incrementSyncProgress();
};
