#include "TVRDownloadItem.h"

#include "TVRDownloadManager.h"

#include <QTimer>

std::shared_ptr<TVRDownloadItem> TVRDownloadItem::withURL(const QUrl &url)
{
    auto item = std::make_shared<TVRDownloadItem>();
    item->setURL(url);
    return item;
}

void TVRDownloadItem::start()
{
    if (m_downloader && m_downloader->isDownloading())
        m_replaced.append(m_downloader);
    m_cancelled = false;
    const int startNumber = ++m_startNumber;
    m_downloader = TVRDownloader::loadWithURL(m_url, this);
    if (m_downloader)
        return;
    QTimer::singleShot(0, [weak = weak_from_this(), startNumber] {
        if (const std::shared_ptr<TVRDownloadItem> item = weak.lock())
            item->reportUnloadable(startNumber);
    });
}

void TVRDownloadItem::cancel()
{
    m_cancelled = true;
    if (m_downloader)
        m_downloader->cancel();
}

void TVRDownloadItem::reportUnloadable(int startNumber)
{
    if (startNumber == m_startNumber && !m_cancelled && !m_downloader)
        tellDelegate();
}

void TVRDownloadItem::downloadFinished(TVRDownloader *downloader)
{
    // Kept alive here: the manager may drop its last reference while it is told.
    const std::shared_ptr<TVRDownloadItem> self = weak_from_this().lock();
    tellDelegate();
    m_replaced.removeIf([downloader](const std::shared_ptr<TVRDownloader> &old) { return old.get() == downloader; });
}

void TVRDownloadItem::tellDelegate()
{
    if (m_delegate)
        m_delegate->downloadFinished(this);
}
