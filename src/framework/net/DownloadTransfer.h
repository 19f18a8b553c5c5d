#pragma once

#include "DownloadFailure.h"
#include "DownloadLimits.h"
#include "TVRURLResponse.h"

#include <QByteArray>
#include <QNetworkRequest>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QTimer>
#include <QUrl>

#include <memory>
#include <optional>

class QAuthenticator;
class QNetworkAccessManager;
class QNetworkReply;

// A user name and password for a server that asks.
struct DownloadCredential {
    QString user;
    QString password;
};

// One GET and the redirects that follow it, within the limits of a download: what both faces of the
// downloader share. Redirects go to http and https only; the credential is offered once, and only
// to the origin of the request it came with; the body may not pass the maximum size nor the
// transfer the deadline; a body shorter than announced is a failure. Belongs to the thread that
// made it, whose event loop serves it.
class DownloadTransfer : public QObject
{
    Q_OBJECT

public:
    // The manager is not owned; a transfer with a credential makes one of its own beside it, as Qt
    // keeps an accepted credential on a connection for later requests, which must not carry it.
    DownloadTransfer(QNetworkAccessManager &manager, const QNetworkRequest &request, const DownloadLimits &limits,
                     const std::optional<DownloadCredential> &credential);
    ~DownloadTransfer() override;

    void start();
    // Stops at once and signals nothing more.
    void abort();

    bool isRunning() const { return m_running; }
    // The request's URL, replaced by the target of each redirect followed.
    QUrl url() const { return m_url; }
    // The body so far (of the final answer only, not of redirects); never more than the maximum.
    QByteArray data() const { return m_data; }
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
    QNetworkAccessManager &manager() const;
    void get(QNetworkRequest request);
    void receiveResponse();
    void receiveData();
    void replyFinished();
    void followRedirect();
    void answerChallenge(QNetworkReply *reply, QAuthenticator *authenticator);
    // Why the finished reply is no complete answer; none when it is one.
    DownloadFailure failureOf(const QNetworkReply &reply) const;
    void finish(const DownloadFailure &failure);
    // Lets go of the running reply; abort() stops its transfer first.
    void releaseReply(bool abort);

    QNetworkAccessManager *m_sharedManager;
    std::unique_ptr<QNetworkAccessManager> m_ownManager;
    QNetworkRequest m_request; // as given; each redirect repeats it for its target
    const DownloadLimits m_limits;
    const std::optional<DownloadCredential> m_credential;
    const QUrl m_origin;
    QUrl m_url;
    QPointer<QNetworkReply> m_reply;
    QByteArray m_data;
    std::optional<TVRURLResponse> m_response;
    DownloadFailure m_failure;
    QTimer m_deadline;
    int m_redirects = 0;
    int m_challengesAnswered = 0;
    // Where a challenge came from that the credential was kept from.
    QUrl m_withheldFrom;
    bool m_running = false;
};
