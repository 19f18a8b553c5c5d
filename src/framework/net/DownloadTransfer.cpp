#include "DownloadTransfer.h"

#include "DownloadURL.h"
#include "HttpOutcome.h"

#include "core/Logging.h"

#include <QAuthenticator>
#include <QNetworkAccessManager>
#include <QNetworkReply>

#include <climits>

namespace {

// As many as a browser follows before it calls it a loop.
constexpr int kMaximumRedirects = 20;
constexpr qint64 kReadAheadBytes = 1024 * 1024;

// A 3xx answer with a target to go on to.
bool isRedirect(const QNetworkReply &reply)
{
    return reply.attribute(QNetworkRequest::RedirectionTargetAttribute).isValid();
}

// The body as sent is the body as read: a compressed one, which Qt decodes, is longer than its
// Content-Length says.
bool isIdentityEncoded(const QNetworkReply &reply)
{
    const QByteArray encoding = reply.rawHeader("Content-Encoding").trimmed().toLower();
    return encoding.isEmpty() || encoding == "identity";
}

// The announced length of an identity-encoded body; -1 when none is announced or it is encoded.
qint64 announcedLength(const QNetworkReply &reply)
{
    const QVariant length = reply.header(QNetworkRequest::ContentLengthHeader);
    return length.isValid() && isIdentityEncoded(reply) ? length.toLongLong() : -1;
}

// A timer's interval, which Qt keeps in an int of milliseconds.
int milliseconds(double seconds)
{
    return int(qBound(0.0, seconds * 1000.0, double(INT_MAX)));
}

} // namespace

DownloadTransfer::DownloadTransfer(QNetworkAccessManager &manager, const QNetworkRequest &request,
                                   const DownloadLimits &limits, const std::optional<DownloadCredential> &credential)
    : m_sharedManager(&manager)
    , m_request(request)
    , m_limits(limits)
    , m_credential(credential)
    , m_origin(request.url())
    , m_url(request.url())
    , m_data("", 0)
{
    if (credential) {
        m_ownManager.reset(new QNetworkAccessManager(&manager));
        connect(m_ownManager.get(), &QNetworkAccessManager::authenticationRequired, this,
                &DownloadTransfer::answerChallenge);
    }
    m_deadline.setSingleShot(true);
    connect(&m_deadline, &QTimer::timeout, this,
            [this] { finish(DownloadFailure::deadlinePassed(m_limits.deadlineSeconds)); });
}

DownloadTransfer::~DownloadTransfer()
{
    releaseReply(true);
    // Qt may still be delivering the manager's signals; it goes once they have returned.
    if (m_ownManager)
        m_ownManager.release()->deleteLater();
}

QNetworkAccessManager &DownloadTransfer::manager() const
{
    return m_ownManager ? *m_ownManager : *m_sharedManager;
}

void DownloadTransfer::start()
{
    m_running = true;
    m_deadline.start(milliseconds(m_limits.deadlineSeconds));
    get(m_request);
}

void DownloadTransfer::abort()
{
    m_running = false;
    m_deadline.stop();
    releaseReply(true);
}

void DownloadTransfer::get(QNetworkRequest request)
{
    // Redirects are followed here, hop by hop, so that each target is checked and url() tracks it.
    // (Qt 6.4's own following also loses the final body on this path.)
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    QNetworkReply *reply = manager().get(request);
    // Qt's network thread reads no further ahead than this, so that memory stays bounded however
    // fast the server sends.
    reply->setReadBufferSize(kReadAheadBytes);
    m_reply = reply;
    connect(reply, &QNetworkReply::metaDataChanged, this, &DownloadTransfer::receiveResponse);
    connect(reply, &QNetworkReply::readyRead, this, &DownloadTransfer::receiveData);
    connect(reply, &QNetworkReply::finished, this, &DownloadTransfer::replyFinished);
}

void DownloadTransfer::receiveResponse()
{
    if (isRedirect(*m_reply))
        return;
    m_response = HttpOutcome::responseOf(*m_reply);
    const qint64 length = announcedLength(*m_reply);
    if (length > m_limits.maximumBytes) {
        finish(DownloadFailure::tooLarge(m_limits.maximumBytes));
        return;
    }
    // Room for the whole announced body at once rather than by doubling; bodies of several
    // responses on one transfer add up.
    if (length > 0)
        m_data.reserve(m_data.size() + length);
}

void DownloadTransfer::receiveData()
{
    if (!m_reply || !m_reply->isOpen())
        return;
    // A redirect's own body is not the document's.
    if (isRedirect(*m_reply))
        return;
    // One byte past the room left is enough to know the limit is passed: no more is read.
    const qint64 room = m_limits.maximumBytes - m_data.size();
    const QByteArray chunk = m_reply->read(qMin(m_reply->bytesAvailable(), room + 1));
    if (chunk.isEmpty())
        return;
    if (chunk.size() > room) {
        finish(DownloadFailure::tooLarge(m_limits.maximumBytes));
        return;
    }
    m_data.append(chunk);
    Q_EMIT received();
}

void DownloadTransfer::replyFinished()
{
    if (isRedirect(*m_reply)) {
        followRedirect();
        return;
    }
    receiveData();
    if (m_running)
        finish(failureOf(*m_reply));
}

void DownloadTransfer::followRedirect()
{
    const QUrl target = m_url.resolved(m_reply->attribute(QNetworkRequest::RedirectionTargetAttribute).toUrl());
    releaseReply(false);
    if (!DownloadURL::isFollowable(target)) {
        finish(DownloadFailure::redirectRefused(target));
        return;
    }
    if (++m_redirects > kMaximumRedirects) {
        finish(DownloadFailure::redirectLoop(kMaximumRedirects));
        return;
    }
    m_url = target;
    QNetworkRequest next = m_request;
    next.setUrl(target);
    if (!DownloadURL::haveSameOrigin(target, m_origin)) {
        // As curl does: what identifies the user to one site is not handed to another.
        next.setRawHeader("Authorization", QByteArray());
        next.setRawHeader("Cookie", QByteArray());
    }
    get(next);
}

void DownloadTransfer::answerChallenge(QNetworkReply *reply, QAuthenticator *authenticator)
{
    // Left unanswered, the challenge fails the transfer: the credential is tried exactly once, and
    // only where it was given for.
    if (reply != m_reply || !m_credential || m_challengesAnswered > 0)
        return;
    if (!DownloadURL::haveSameOrigin(reply->url(), m_origin)) {
        m_withheldFrom = reply->url();
        return;
    }
    ++m_challengesAnswered;
    authenticator->setUser(m_credential->user);
    authenticator->setPassword(m_credential->password);
}

DownloadFailure DownloadTransfer::failureOf(const QNetworkReply &reply) const
{
    const bool answered = reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).isValid();
    if (HttpOutcome::isCompleteAnswer(reply)) {
        const qint64 expected = announcedLength(reply);
        if (answered && expected > m_data.size())
            return DownloadFailure::cutShort(m_data.size(), expected);
        return {};
    }
    switch (reply.error()) {
    case QNetworkReply::ConnectionRefusedError:
        return DownloadFailure::refused();
    case QNetworkReply::HostNotFoundError:
        return DownloadFailure::hostNotFound(reply.url().host());
    case QNetworkReply::SslHandshakeFailedError:
        return DownloadFailure::tls(reply.errorString());
    case QNetworkReply::AuthenticationRequiredError:
    case QNetworkReply::ProxyAuthenticationRequiredError:
        if (!m_withheldFrom.isEmpty())
            return DownloadFailure::credentialWithheld(m_withheldFrom, m_origin);
        return DownloadFailure::authenticationRefused(m_challengesAnswered > 0);
    case QNetworkReply::OperationCanceledError:
    case QNetworkReply::TimeoutError:
        // Only the request's own time-out cancels a reply that is still listened to.
        return DownloadFailure::noData(DownloadFailure::Stalled, m_request.transferTimeout() / 1000.0);
    default:
        break;
    }
    if (answered)
        return DownloadFailure::cutShort(m_data.size(), announcedLength(reply));
    if (reply.error() == QNetworkReply::RemoteHostClosedError)
        return DownloadFailure::noAnswer();
    return DownloadFailure::other(reply.errorString());
}

void DownloadTransfer::finish(const DownloadFailure &failure)
{
    if (failure)
        qCDebug(lcNet).noquote() << "Download of" << m_url.toDisplayString() << "failed:" << failure.text();
    m_failure = failure;
    m_running = false;
    m_deadline.stop();
    releaseReply(bool(failure));
    Q_EMIT ended();
}

void DownloadTransfer::releaseReply(bool abort)
{
    if (!m_reply)
        return;
    QNetworkReply *reply = m_reply;
    m_reply = nullptr;
    // The reply may be the one whose signal is being delivered right now.
    reply->disconnect(this);
    if (abort)
        reply->abort();
    reply->deleteLater();
}
