#include "NewsSync.h"

#include "NewsFeedWriter.h"

#include "ipod/TVRiPod.h"
#include "net/TVRDownloadItem.h"
#include "sync/LogManager.h"
#include "sync/TVRSyncInfo.h"
#include "sync/TVRSyncUtils.h"

#include <QFileInfo>
#include <QTimer>

NewsSync::NewsSync(TVRSyncInfo *syncInfo, QObject *reporter)
    : m_iPod(syncInfo->iPod())
    , m_log(syncInfo->logManager())
    , m_reporter(reporter)
{}

void NewsSync::start(const QList<NewsSubscription> &feeds)
{
    auto items = std::make_shared<TVRDownloadManager::ItemList>();
    for (const NewsSubscription &feed : feeds) {
        std::shared_ptr<TVRDownloadItem> item = TVRDownloadItem::withURL(feed.url);
        m_feedOfItem.insert(item.get(), feed);
        items->append(item);
    }
    m_total = m_remaining = int(items->size());
    if (m_remaining == 0) {
        m_log->appendLog(QStringLiteral("No news feeds to sync."));
        // Completion is never reported from inside sync(): the driver starts the next plug-in on it.
        QTimer::singleShot(0, this, &NewsSync::finish);
        return;
    }
    m_downloads.setDownloadItems(items);
    m_downloads.startDownload();
}

void NewsSync::fail(const QString &error)
{
    m_log->appendError(error);
    QTimer::singleShot(0, this, &NewsSync::finish);
}

void NewsSync::cancel()
{
    m_cancelled = true;
    m_downloads.cancelDownload();
    QTimer::singleShot(0, this, &NewsSync::finish);
}

void NewsSync::downloadStarted(TVRDownloadItem *item)
{
    TVRSyncUtils::provideSyncFeedback(QStringLiteral("Fetching %1").arg(m_feedOfItem.value(item).title));
}

void NewsSync::downloadFinished(TVRDownloadItem *item)
{
    if (m_finished || m_cancelled)
        return;
    const NewsSubscription feed = m_feedOfItem.take(item);
    const QString problem = downloadProblem(*item);
    if (!problem.isNull())
        m_log->appendError(
            QStringLiteral("Cannot fetch \"%1\" (%2): %3").arg(feed.title, feed.url.toString(), problem));
    else
        writeFeed(feed, item->downloader()->data());
    TVRSyncUtils::incrementSyncProgress();
    if (--m_remaining == 0)
        finish();
}

QString NewsSync::downloadProblem(const TVRDownloadItem &item)
{
    const std::shared_ptr<TVRDownloader> downloader = item.downloader();
    if (!downloader)
        return QStringLiteral("the address cannot be loaded.");
    // Checked first: a transfer cut short brings part of a feed, which must not pass for all of it.
    if (const DownloadFailure failure = downloader->failure())
        return failure.text() + QLatin1Char('.');
    const std::optional<TVRURLResponse> response = downloader->urlResponse();
    if (response && response->statusCode >= 400)
        return QStringLiteral("the server answered %1.").arg(response->statusCode);
    if (downloader->data().isEmpty())
        return QStringLiteral("nothing came back (no connection, or the server did not answer in time).");
    return QString();
}

void NewsSync::writeFeed(const NewsSubscription &feed, const QByteArray &data)
{
    if (iPodIsGone()) {
        m_log->appendError(
            QStringLiteral("The iPod at %1 is gone; \"%2\" was not written.").arg(m_iPod->path(), feed.title));
        return;
    }
    TVRSyncUtils::provideSyncFeedback(QStringLiteral("Writing %1").arg(feed.title));
    // Old news goes only once there is new news to replace it: a sync without a connection keeps
    // what the iPod had.
    if (!m_oldNewsRemoved) {
        m_iPod->removeNotesFoldersNamed(NewsFeedWriter::newsFolder);
        m_oldNewsRemoved = true;
    }
    QString error;
    NewsFeedWriter writer(*m_iPod);
    if (const std::optional<int> notes = writer.write(feed, data, &error)) {
        ++m_feedsWritten;
        m_notesWritten += *notes;
    } else {
        m_log->appendError(error);
    }
}

bool NewsSync::iPodIsGone() const
{
    return !QFileInfo(m_iPod->path() + QStringLiteral("/iPod_Control")).isDir();
}

void NewsSync::finish()
{
    if (m_finished)
        return;
    m_finished = true;
    if (m_total > 0) {
        const QString summary = QStringLiteral("Wrote %1 of %2 news feeds (%3 notes).")
                                    .arg(m_feedsWritten)
                                    .arg(m_total)
                                    .arg(m_notesWritten);
        m_log->appendLog(m_cancelled ? QStringLiteral("Cancelled. ") + summary : summary);
    }
    TVRSyncUtils::reportSyncComplete(m_reporter);
}
