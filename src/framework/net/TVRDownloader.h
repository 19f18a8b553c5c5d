#pragma once

#include "tivaro_export.h"

#include "DownloadCredential.h"
#include "DownloadFailure.h"
#include "TVRURLResponse.h"

#include <QByteArray>
#include <QNetworkRequest>
#include <QObject>
#include <QString>
#include <QUrl>

#include <memory>
#include <optional>

class TVRDownloader;

// Every downloader's delegate: told once when the transfer has ended. Also told after a failure
// when it does not implement TVRDownloadFailureDelegate; data() then holds whatever arrived.
class TIVARO_EXPORT TVRDownloaderDelegate
{
public:
    virtual ~TVRDownloaderDelegate() = default;
    virtual void downloadFinished(TVRDownloader *downloader) = 0;
};

// Implemented by a delegate that wants to hear of time-outs and failures on their own.
class TIVARO_EXPORT TVRDownloadFailureDelegate
{
public:
    virtual ~TVRDownloadFailureDelegate() = default;
    // TVRDownloader::TimedOut or TVRDownloader::ConnectionFailed; the downloader's failure() says
    // what happened.
    virtual void downloadFailedWithErrorType(int errorType) = 0;
};

// Fetches one URL. The asynchronous face transfers on a thread of its own and tells its delegate,
// on the creating thread's event loop, when done; a watchdog ends a transfer that receives no data
// for timeoutSeconds() (the "DownloadTimeout" preference, 20 by default, read once at creation),
// and the request's own 15-second time-out ends one that stalls sooner. A download may bring at
// most DownloadLimits' maximum bytes and take at most its deadline. Redirects to http and https are
// followed and url() follows them; a credential is offered only to the origin of the URL it was
// given with. The synchronous face blocks, for worker threads; blocking downloads run side by side.
class TIVARO_EXPORT TVRDownloader : public QObject
{
    Q_OBJECT

public:
    // What the delegate is told: a time-out of the watchdog or of the deadline is TimedOut, every
    // other failure ConnectionFailed.
    enum ErrorType : int { TimedOut = 0, Cancelled = 1, ConnectionFailed = 2 };

    using Credential = DownloadCredential;

    // The request's own time-out without data.
    static constexpr int kRequestTimeoutSeconds = 15;

    // Starts a transfer at once; a "feed:" URL is fetched over http (or https). Null when the URL
    // cannot be loaded at all (invalid, relative, or not http, https, feed or file). The
    // delegate is not owned and must outlive the transfer or cancel it; dropping the last reference
    // inside a delegate call is safe.
    static std::shared_ptr<TVRDownloader> loadWithURL(const QUrl &url, TVRDownloaderDelegate *delegate,
                                                      const std::optional<Credential> &credential = std::nullopt);
    static std::shared_ptr<TVRDownloader> loadWithRequest(const QNetworkRequest &request,
                                                          TVRDownloaderDelegate *delegate,
                                                          const std::optional<Credential> &credential = std::nullopt);

    // Blocks until the body is in, giving up after 5 seconds without data or at the deadline. A
    // failure is logged as "TVRDownloader error: <reason>" and gives a null byte array: a partial
    // body is never handed on as if it were whole.
    static QByteArray downloadData(const QUrl &url);
    // The same, saying why in *failure instead of logging it.
    static QByteArray downloadData(const QUrl &url, DownloadFailure *failure);
    // downloadData() decoded as string() does; null when nothing came or nothing decodes it.
    static QString downloadString(const QUrl &url);
    // UTF-8, else ASCII, else EUC-JP; a null string when none of them reads the bytes.
    static QString decode(const QByteArray &bytes);

    ~TVRDownloader() override;

    std::optional<Credential> authCredential() const;
    // The last response header received; none before the first.
    std::optional<TVRURLResponse> urlResponse() const;
    // The requested URL, replaced by the target of each redirect.
    QUrl url() const;
    QByteArray data() const;
    QString string() const;
    QString description() const;
    bool isDownloading() const;
    float timeoutSeconds() const;
    // Why the transfer ended without its answer; none while it runs and after it completed.
    DownloadFailure failure() const;
    // Replaces the watchdog's time-out for this transfer only and re-arms it, for a caller that is
    // told the time-out directly (`tivaro fetch --timeout`); the preference stays as it is.
    void setTimeoutSeconds(float seconds);

    // Stops the transfer; the delegate is told nothing.
    void cancel();

private:
    TVRDownloader(const QNetworkRequest &request, TVRDownloaderDelegate *delegate,
                  const std::optional<Credential> &credential);

    void transferEnded();
    // Stops the transfer and the watchdog; error() also tells the delegate.
    void doCancel(int errorType);
    void error(int errorType);
    // The watchdog, restarted by arriving data only.
    void resetTimer();
    void stopTimer();
    void timedOut();

    struct Private;
    std::unique_ptr<Private> d;
};
