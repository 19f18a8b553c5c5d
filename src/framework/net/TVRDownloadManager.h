#pragma once

#include "tivaro_export.h"

#include <QList>

#include <memory>

class TVRDownloadItem;
class TVRDownloadManagerDelegate;

// Downloads a list of items with at most maxDownloads() transfers at once (four unless set), telling
// its delegate of each start and each end. Everything happens on the thread whose event loop serves
// the downloaders; the manager takes no locks.
class TIVARO_EXPORT TVRDownloadManager
{
public:
    using ItemList = QList<std::shared_ptr<TVRDownloadItem>>;

    // The delegate is not owned.
    explicit TVRDownloadManager(TVRDownloadManagerDelegate *delegate);
    // Cancels the running items, silently.
    ~TVRDownloadManager();
    TVRDownloadManager(const TVRDownloadManager &) = delete;
    TVRDownloadManager &operator=(const TVRDownloadManager &) = delete;

    void setMaxDownloads(unsigned maxDownloads) { m_maxDownloads = maxDownloads; }
    unsigned maxDownloads() const { return m_maxDownloads; }

    // The list becomes the waiting list itself (not a copy) and is consumed from the front. The total
    // for percentComplete() is reset to 0 and becomes the list's count, except when the list is the
    // one already set: then it stays 0.
    void setDownloadItems(const std::shared_ptr<ItemList> &items);
    // Appends to the waiting list and adds to the total, then starts when nothing runs. Before a
    // list was set there is no waiting list: the items are dropped, but the total still grows.
    void addDownloadItems(const ItemList &items);
    // Clears the cancelled state and the completed count, then starts what the maximum allows.
    void startDownload();
    void getMoreDownloads();
    // Called by an item whose transfer ended.
    void downloadFinished(TVRDownloadItem *item);
    // Cancels every running item; nothing more is reported for them. Waiting items stay for a later
    // startDownload().
    void cancelDownload();

    // Waiting and running items.
    int numberOfRemainingDownloads() const;
    // Completed items since startDownload() against the total, in percent; NaN while the total is 0.
    float percentComplete() const;

private:
    std::shared_ptr<ItemList> m_downloadItems;
    ItemList m_currentDownloads;
    unsigned m_maxDownloads = 4;
    TVRDownloadManagerDelegate *m_delegate = nullptr;
    bool m_cancelled = false;
    unsigned m_totalNumDownloads = 0;
    unsigned m_totalCompletedDownloads = 0;
    // Expires with the manager, so that a delegate may delete it while being told.
    std::shared_ptr<int> m_lifetime = std::make_shared<int>(0);
};
