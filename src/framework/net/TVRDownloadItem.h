#pragma once

#include "tivaro_export.h"

#include "TVRDownloader.h"

#include <QList>
#include <QUrl>

#include <memory>

class TVRDownloadManager;

// One URL of a download manager's list, with the downloader that fetches it. Items are shared
// (std::make_shared) and compare by identity.
class TIVARO_EXPORT TVRDownloadItem : public TVRDownloaderDelegate, public std::enable_shared_from_this<TVRDownloadItem>
{
public:
    static std::shared_ptr<TVRDownloadItem> withURL(const QUrl &url);

    TVRDownloadItem() = default;
    TVRDownloadItem(const TVRDownloadItem &) = delete;
    TVRDownloadItem &operator=(const TVRDownloadItem &) = delete;

    // Told when the transfer ends; not owned.
    void setDelegate(TVRDownloadManager *delegate) { m_delegate = delegate; }
    void setURL(const QUrl &url) { m_url = url; }

    // Starts a new downloader for the URL. A downloader started before is replaced but not
    // cancelled: it runs to its end, which is reported like any other.
    void start();
    // Stops the current downloader; nothing is reported for it.
    void cancel();
    void downloadFinished(TVRDownloader *downloader) override;

    // The running or finished transfer; null before start() and when the URL cannot be loaded.
    std::shared_ptr<TVRDownloader> downloader() const { return m_downloader; }
    QUrl url() const { return m_url; }

private:
    // A URL without a downloader still ends, on the next turn of the event loop.
    void reportUnloadable(int startNumber);
    void tellDelegate();

    std::shared_ptr<TVRDownloader> m_downloader;
    TVRDownloadManager *m_delegate = nullptr;
    QUrl m_url;
    QList<std::shared_ptr<TVRDownloader>> m_replaced;
    int m_startNumber = 0;
    bool m_cancelled = false;
};
