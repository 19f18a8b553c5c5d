#pragma once

#include "NewsSubscription.h"

#include "net/TVRDownloadManager.h"
#include "net/TVRDownloadManagerDelegate.h"

#include <QHash>
#include <QObject>
#include <QSet>

#include <memory>

class LogManager;
class TVRSyncInfo;
class TVRiPod;

// One sync of the News plug-in: fetches every feed through a download manager, four at a time,
// writes each feed's notes as it arrives, and reports completion once every feed has ended. A feed
// that cannot be fetched or read is logged as an error; the others still sync.
class NewsSync : public QObject, public TVRDownloadManagerDelegate
{
    Q_OBJECT

public:
    // `reporter` is the plug-in, the sender of the completion notification.
    NewsSync(TVRSyncInfo *syncInfo, QObject *reporter);

    void start(const QList<NewsSubscription> &feeds);
    // Logs `error` and reports completion, fetching nothing.
    void fail(const QString &error);
    // Stops the running downloads; completion is reported at once.
    void cancel();

    void downloadStarted(TVRDownloadItem *item) override;
    void downloadFinished(TVRDownloadItem *item) override;

private:
    // Why a finished download brought no feed; null when it brought one.
    static QString downloadProblem(const TVRDownloadItem &item);
    void writeFeed(const NewsSubscription &feed, const QByteArray &data);
    bool iPodIsGone() const;
    // Removes the news of earlier syncs that this one did not write again, except the notes of feeds
    // that failed this time: those keep their old news.
    void removeOldNews();
    // What the record of Tivaro's files keeps as the group of a feed's notes.
    static QString groupOf(const NewsSubscription &feed);
    void finish();

    std::shared_ptr<TVRiPod> m_iPod;
    std::shared_ptr<LogManager> m_log;
    QObject *m_reporter;
    TVRDownloadManager m_downloads{this};
    QHash<const TVRDownloadItem *, NewsSubscription> m_feedOfItem;
    int m_total = 0;
    int m_remaining = 0;
    int m_feedsWritten = 0;
    int m_notesWritten = 0;
    // The feeds that failed in this sync, by groupOf().
    QSet<QString> m_failedFeeds;
    bool m_cancelled = false;
    bool m_finished = false;
};
