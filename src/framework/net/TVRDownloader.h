#pragma once

#include "TVRURLResponse.h"

#include <QByteArray>
#include <QNetworkRequest>
#include <QObject>
#include <QString>
#include <QUrl>

#include <memory>
#include <optional>

class QAuthenticator;
class QNetworkAccessManager;
class QNetworkReply;
class QTimer;
class TVRDownloader;

// Every downloader's delegate: told once when the transfer has ended. Also told after a failure
// when it does not implement TVRDownloadFailureDelegate; data() then holds whatever arrived.
class TVRDownloaderDelegate
{
public:
    virtual ~TVRDownloaderDelegate() = default;
    virtual void downloadFinished(TVRDownloader *downloader) = 0;
};

// Implemented by a delegate that wants to hear of time-outs and failures on their own.
class TVRDownloadFailureDelegate
{
public:
    virtual ~TVRDownloadFailureDelegate() = default;
    // TVRDownloader::TimedOut or TVRDownloader::ConnectionFailed.
    virtual void downloadFailedWithErrorType(int errorType) = 0;
};

// Fetches one URL. The asynchronous face runs on the creating thread's event loop and tells its
// delegate when done; a watchdog ends a transfer that receives no data for timeoutSeconds() (the
// "DownloadTimeout" preference, 20 by default, read once at creation). Redirects are followed and
// url() follows them. The synchronous face blocks, for worker threads.
class TVRDownloader : public QObject
{
    Q_OBJECT

public:
    enum ErrorType : int { TimedOut = 0, Cancelled = 1, ConnectionFailed = 2 };

    struct Credential {
        QString user;
        QString password;
    };

    // Starts a transfer at once. Null when the URL cannot be loaded at all (invalid, relative, or a
    // scheme the network layer does not know). The delegate is not owned and must outlive the
    // transfer or cancel it; dropping the last reference inside a delegate call is safe.
    static std::shared_ptr<TVRDownloader> loadWithURL(const QUrl &url, TVRDownloaderDelegate *delegate,
                                                      const std::optional<Credential> &credential = std::nullopt);
    static std::shared_ptr<TVRDownloader> loadWithRequest(const QNetworkRequest &request,
                                                          TVRDownloaderDelegate *delegate,
                                                          const std::optional<Credential> &credential = std::nullopt);

    // Blocks until the body is in, for at most the 5-second request time-out plus the transfer.
    // A failure is logged as "TVRDownloader error: <reason>"; the result is then what arrived,
    // usually a null byte array.
    static QByteArray downloadData(const QUrl &url);
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
    // Replaces the watchdog's time-out for this transfer only and re-arms it, for a caller that is
    // told the time-out directly (`tivaro fetch --timeout`); the preference stays as it is.
    void setTimeoutSeconds(float seconds);

    // Stops the transfer; the delegate is told nothing.
    void cancel();

private:
    TVRDownloader(const QNetworkRequest &request, TVRDownloaderDelegate *delegate,
                  const std::optional<Credential> &credential);

    void startConnection(QNetworkAccessManager &manager, QNetworkRequest request);
    // The transfer's callbacks.
    void followRedirect();
    void receiveResponse();
    void receiveData();
    void answerChallenge(QNetworkReply *reply, QAuthenticator *authenticator);
    void connectionFinished();
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
