#include "NewsSync.h"

#include "NewsFeedWriter.h"

#include "ipod/TVRiPod.h"
#include "net/TVRDownloadItem.h"
#include "sync/LogManager.h"
#include "sync/TVRSyncInfo.h"
#include "sync/TVRSyncUtils.h"

#include <QFile>
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
    if (!problem.isNull()) {
        m_failedFeeds.insert(groupOf(feed));
        m_log->appendError(
            QStringLiteral("Cannot fetch \"%1\" (%2): %3").arg(feed.title, feed.url.toString(), problem));
    } else {
        writeFeed(feed, item->downloader()->data());
    }
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
        m_failedFeeds.insert(groupOf(feed));
        m_log->appendError(
            QStringLiteral("The iPod at %1 is gone; \"%2\" was not written.").arg(m_iPod->path(), feed.title));
        return;
    }
    TVRSyncUtils::provideSyncFeedback(QStringLiteral("Writing %1").arg(feed.title));
    // The record of Tivaro's files keeps each note's feed, so that a feed failing next time keeps its news.
    m_iPod->setOutputGroup(groupOf(feed));
    QString error;
    NewsFeedWriter writer(*m_iPod);
    const std::optional<NewsFeedWriter::Written> written = writer.write(feed, data, &error);
    m_iPod->setOutputGroup(QString());
    if (written) {
        ++m_feedsWritten;
        m_notesWritten += written->notes;
        for (const QString &failure : written->failedArticles)
            m_log->appendError(failure);
    } else {
        m_failedFeeds.insert(groupOf(feed));
        m_log->appendError(error);
    }
}

QString NewsSync::groupOf(const NewsSubscription &feed)
{
    // A subscription is known by the name the user gave its note, so that one whose address changed and
    // then failed still keeps its news; one without a name by its address.
    const QString title = feed.title.trimmed();
    return title.isEmpty() ? feed.url.toString() : QStringLiteral("title:") + title;
}

void NewsSync::removeOldNews()
{
    const QByteArray folder =
        m_iPod->pathOnVolume(m_iPod->realTivaroFolder()) + '/' + QFile::encodeName(NewsFeedWriter::newsFolder) + '/';
    QList<QByteArray> old;
    const QHash<QByteArray, IPodManifest::Entry> files = m_iPod->ownFiles();
    for (auto it = files.cbegin(); it != files.cend(); ++it) {
        if (!it.key().startsWith(folder) || m_iPod->writtenFiles().contains(it.key()))
            continue;
        // A note of unknown feed (written before Tivaro kept a record) is kept while any feed fails.
        const bool feedFailed = it->group.isEmpty() ? !m_failedFeeds.isEmpty() : m_failedFeeds.contains(it->group);
        if (!feedFailed)
            old.append(it.key());
    }
    const RemovalReport report = m_iPod->removeOwnFiles(old);
    if (!report.removed.isEmpty())
        m_log->appendLog(QStringLiteral("Removed %1 old news notes.").arg(report.removed.size()));
    for (const auto &[path, why] : report.kept)
        m_log->appendLog(QStringLiteral("Kept %1: %2.").arg(QFile::decodeName(path), why));
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
    // Old news goes only once this sync's news is written, and never when it was cut short.
    if (!m_cancelled && m_total > 0 && !iPodIsGone())
        removeOldNews();
    if (m_total > 0) {
        const QString summary = QStringLiteral("Wrote %1 of %2 news feeds (%3 notes).")
                                    .arg(m_feedsWritten)
                                    .arg(m_total)
                                    .arg(m_notesWritten);
        m_log->appendLog(m_cancelled ? QStringLiteral("Cancelled. ") + summary : summary);
    }
    TVRSyncUtils::reportSyncComplete(m_reporter);
}
