#pragma once

#include "BlockingTransfer_p.h"
#include "DownloadFailure.h"
#include "DownloadLimits.h"
#include "TVRURLResponse.h"

#include <QByteArray>
#include <QNetworkRequest>
#include <QObject>
#include <QUrl>

#include <memory>
#include <optional>

// A BlockingTransfer run on a thread of its own and reported, by signals, on the thread that made
// this object, whose event loop must run: the asynchronous face of the downloader.
class DownloadTransfer : public QObject
{
    Q_OBJECT

public:
    // The request's URL, raw headers and transfer time-out are used.
    DownloadTransfer(const QNetworkRequest &request, const DownloadLimits &limits,
                     const std::optional<DownloadCredential> &credential);
    // Stops the transfer; its thread ends on its own soon after.
    ~DownloadTransfer() override;

    void start();
    // Stops at once and signals nothing more.
    void abort();

    bool isRunning() const { return m_running; }
    // The request's URL, replaced by the target of each redirect followed.
    QUrl url() const { return m_url; }
    // The body so far (of the last answer only, not of redirects); never more than the maximum.
    QByteArray data() const;
    // The last answer's header (not a redirect's); none before the first.
    std::optional<TVRURLResponse> response() const { return m_response; }
    // None while running and after a complete answer.
    DownloadFailure failure() const { return m_failure; }

Q_SIGNALS:
    // Body bytes arrived.
    void received();
    // Complete or failed; failure() says which. The last signal.
    void ended();

private:
    struct Shared;

    void finish(const DownloadFailure &failure);

    std::shared_ptr<Shared> m_shared;
    QUrl m_url;
    std::optional<TVRURLResponse> m_response;
    DownloadFailure m_failure;
    bool m_running = false;
};
