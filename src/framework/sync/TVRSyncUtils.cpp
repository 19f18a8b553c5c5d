#include "TVRSyncUtils.h"

#include "core/NotificationCenter.h"

#include <QObject>

const QString TVRSyncUtils::completeNotification = QStringLiteral("tvrSyncUtilsComplete");
const QString TVRSyncUtils::downloadURLNotification = QStringLiteral("tvrSyncUtilsDownloadURL");
const QString TVRSyncUtils::cancelDownloadNotification = QStringLiteral("tvrSyncUtilsCancelDownload");
const QString TVRSyncUtils::provideFeedbackNotification = QStringLiteral("tvrSyncUtilsProvideSyncFeedback");
const QString TVRSyncUtils::incrementProgressNotification = QStringLiteral("tvrSyncIncrementProgress");

void TVRSyncUtils::reportSyncComplete(QObject *sender)
{
    NotificationCenter::defaultCenter().postNotificationName(completeNotification, QVariant::fromValue(sender));
}

void TVRSyncUtils::downloadURL(const QUrl &url, QObject *delegate, int)
{
    NotificationCenter::defaultCenter().postNotificationName(
        downloadURLNotification, {},
        {{QStringLiteral("url"), url},
         {QStringLiteral("delegate"), QVariant::fromValue(delegate)},
         {QStringLiteral("timeout"), 0}});
}

void TVRSyncUtils::cancelDownload()
{
    NotificationCenter::defaultCenter().postNotificationName(cancelDownloadNotification);
}

void TVRSyncUtils::provideSyncFeedback(const QString &feedback)
{
    NotificationCenter::defaultCenter().postNotificationName(provideFeedbackNotification, {},
                                                             {{QStringLiteral("feedback"), feedback}});
}

void TVRSyncUtils::incrementSyncProgress()
{
    NotificationCenter::defaultCenter().postNotificationName(incrementProgressNotification);
}
