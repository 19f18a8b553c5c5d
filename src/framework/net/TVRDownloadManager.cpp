#include "TVRDownloadManager.h"

#include "TVRDownloadItem.h"
#include "TVRDownloadManagerDelegate.h"
#include "TVRQueue_p.h"

TVRDownloadManager::TVRDownloadManager(TVRDownloadManagerDelegate *delegate)
    : m_delegate(delegate)
{}

TVRDownloadManager::~TVRDownloadManager()
{
    // Running items would otherwise report to a manager that is gone.
    for (const std::shared_ptr<TVRDownloadItem> &item : std::as_const(m_currentDownloads)) {
        item->setDelegate(nullptr);
        item->cancel();
    }
}

void TVRDownloadManager::setDownloadItems(const std::shared_ptr<ItemList> &items)
{
    m_totalNumDownloads = 0;
    if (items == m_downloadItems)
        return;
    m_downloadItems = items;
    m_totalNumDownloads = items ? unsigned(items->size()) : 0;
}

void TVRDownloadManager::addDownloadItems(const ItemList &items)
{
    if (m_downloadItems)
        m_downloadItems->append(items);
    m_totalNumDownloads += unsigned(items.size());
    if (m_currentDownloads.isEmpty())
        startDownload();
}

void TVRDownloadManager::startDownload()
{
    m_cancelled = false;
    m_totalCompletedDownloads = 0;
    getMoreDownloads();
}

void TVRDownloadManager::getMoreDownloads()
{
    const std::weak_ptr<int> alive = m_lifetime;
    while (m_downloadItems && !m_downloadItems->isEmpty() && unsigned(m_currentDownloads.size()) < m_maxDownloads) {
        const std::shared_ptr<TVRDownloadItem> item = TVRQueue::pop(*m_downloadItems);
        m_currentDownloads.append(item);
        m_delegate->downloadStarted(item.get());
        if (alive.expired())
            return;
        item->setDelegate(this);
        item->start();
    }
}

void TVRDownloadManager::downloadFinished(TVRDownloadItem *item)
{
    const std::weak_ptr<int> alive = m_lifetime;
    // Held here: the running list may have been the item's last owner.
    const std::shared_ptr<TVRDownloadItem> finished = item->shared_from_this();
    TVRQueue::popObject(m_currentDownloads, finished);
    m_delegate->downloadFinished(item);
    if (alive.expired())
        return;
    ++m_totalCompletedDownloads;
    if (!m_cancelled)
        getMoreDownloads();
}

void TVRDownloadManager::cancelDownload()
{
    m_cancelled = true;
    while (!m_currentDownloads.isEmpty())
        TVRQueue::pop(m_currentDownloads)->cancel();
}

int TVRDownloadManager::numberOfRemainingDownloads() const
{
    const qsizetype waiting = m_downloadItems ? m_downloadItems->size() : 0;
    return int(waiting + m_currentDownloads.size());
}

float TVRDownloadManager::percentComplete() const
{
    // 0 / 0 gives NaN, as wanted, in float arithmetic.
    return float(m_totalCompletedDownloads) / float(m_totalNumDownloads) * 100.0f;
}
