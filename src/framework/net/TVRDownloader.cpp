#include "TVRDownloader.h"

#include "HttpOutcome.h"
#include "NetworkAccess.h"
#include "SynchronousDownload.h"

#include "core/Logging.h"
#include "core/StringEncoding.h"
#include "core/UserDefaults.h"

#include <QAuthenticator>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QPointer>
#include <QTimer>

namespace {

constexpr int kRequestTimeoutMs = 15000;
constexpr int kSynchronousTimeoutMs = 5000;
constexpr float kDefaultTimeoutSeconds = 20.0f;
// As many as a browser follows before it calls it a loop.
constexpr int kMaximumRedirects = 20;

// The watchdog's time-out: "DownloadTimeout" (whole seconds) from the application's preferences.
float configuredTimeoutSeconds()
{
    UserDefaults defaults;
    defaults.addSuiteNamed(UserDefaults::applicationDomain());
    const QString key = QStringLiteral("DownloadTimeout");
    if (!defaults.objectForKey(key).isValid())
        return kDefaultTimeoutSeconds;
    return float(defaults.integerForKey(key));
}

QNetworkRequest requestForURL(const QUrl &url)
{
    QNetworkRequest request(url);
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::AlwaysNetwork);
    request.setTransferTimeout(kRequestTimeoutMs);
    return request;
}

// A 3xx answer with a target to go on to.
bool isRedirect(const QNetworkReply &reply)
{
    return reply.attribute(QNetworkRequest::RedirectionTargetAttribute).isValid();
}

bool canLoad(const QUrl &url, const QNetworkAccessManager &manager)
{
    return url.isValid() && !url.isRelative() && manager.supportedSchemes().contains(url.scheme());
}

} // namespace

struct TVRDownloader::Private {
    // Qt deletes a reply's or manager's state after its signals return, so they go later.
    struct DeleteLater {
        void operator()(QObject *object) const { object->deleteLater(); }
    };

    std::unique_ptr<QNetworkAccessManager, DeleteLater> ownManager;
    QPointer<QNetworkReply> connection;
    QByteArray data;
    QUrl url;
    QNetworkRequest request; // as given; each redirect repeats it for its target
    int redirects = 0;
    TVRDownloaderDelegate *delegate = nullptr;
    bool isDownloading = false;
    std::optional<Credential> authCredential;
    int challengesAnswered = 0;
    std::optional<TVRURLResponse> urlResponse;
    float timeoutSeconds = kDefaultTimeoutSeconds;
    QTimer *cancelTimer = nullptr;
};

std::shared_ptr<TVRDownloader> TVRDownloader::loadWithURL(const QUrl &url, TVRDownloaderDelegate *delegate,
                                                          const std::optional<Credential> &credential)
{
    return loadWithRequest(requestForURL(url), delegate, credential);
}

std::shared_ptr<TVRDownloader> TVRDownloader::loadWithRequest(const QNetworkRequest &request,
                                                              TVRDownloaderDelegate *delegate,
                                                              const std::optional<Credential> &credential)
{
    if (!canLoad(request.url(), *NetworkAccess::managerForCurrentThread())) {
        qCWarning(lcNet) << "Cannot load" << request.url().toDisplayString();
        return nullptr;
    }
    return std::shared_ptr<TVRDownloader>(new TVRDownloader(request, delegate, credential));
}

TVRDownloader::TVRDownloader(const QNetworkRequest &request, TVRDownloaderDelegate *delegate,
                             const std::optional<Credential> &credential)
    : d(std::make_unique<Private>())
{
    d->delegate = delegate;
    d->data = QByteArray("", 0);
    d->url = request.url();
    d->authCredential = credential;
    d->cancelTimer = new QTimer(this);
    d->cancelTimer->setSingleShot(true);
    connect(d->cancelTimer, &QTimer::timeout, this, &TVRDownloader::timedOut);

    QNetworkAccessManager *shared = NetworkAccess::managerForCurrentThread();
    QNetworkAccessManager *manager = shared;
    if (credential) {
        // Qt keeps a connection's accepted credential for the next requests on it; a manager of its
        // own keeps this one from being sent on behalf of other downloaders.
        d->ownManager.reset(new QNetworkAccessManager(shared));
        manager = d->ownManager.get();
        connect(manager, &QNetworkAccessManager::authenticationRequired, this, &TVRDownloader::answerChallenge);
    }
    d->request = request;
    startConnection(*manager, request);
    d->isDownloading = true;
    d->timeoutSeconds = configuredTimeoutSeconds();
    resetTimer();
}

TVRDownloader::~TVRDownloader()
{
    d->isDownloading = false;
    if (d->connection) {
        // The reply may be the one whose signal is being delivered right now.
        d->connection->disconnect(this);
        d->connection->abort();
        d->connection->deleteLater();
    }
}

void TVRDownloader::startConnection(QNetworkAccessManager &manager, QNetworkRequest request)
{
    // Redirects are followed here, hop by hop, so that url() tracks each one, also to a less safe
    // scheme. (Qt 6.4's own following loses the final body on this path.)
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    QNetworkReply *reply = manager.get(request);
    d->connection = reply;
    connect(reply, &QNetworkReply::metaDataChanged, this, &TVRDownloader::receiveResponse);
    connect(reply, &QNetworkReply::readyRead, this, &TVRDownloader::receiveData);
    connect(reply, &QNetworkReply::finished, this, &TVRDownloader::connectionFinished);
}

void TVRDownloader::followRedirect()
{
    QNetworkReply *previous = d->connection;
    d->url = d->url.resolved(previous->attribute(QNetworkRequest::RedirectionTargetAttribute).toUrl());
    previous->disconnect(this);
    previous->deleteLater();
    if (++d->redirects > kMaximumRedirects) {
        qCDebug(lcNet) << "Download of" << d->url.toDisplayString() << "failed: too many redirects";
        error(ConnectionFailed);
        return;
    }
    QNetworkRequest next = d->request;
    next.setUrl(d->url);
    startConnection(*previous->manager(), next);
}

void TVRDownloader::receiveResponse()
{
    if (isRedirect(*d->connection))
        return;
    // The body is kept: bodies of several responses on one transfer add up.
    d->urlResponse = HttpOutcome::responseOf(*d->connection);
}

void TVRDownloader::receiveData()
{
    if (!d->connection->isOpen())
        return;
    // A redirect's own body is not the document's.
    if (isRedirect(*d->connection))
        return;
    const QByteArray chunk = d->connection->readAll();
    if (chunk.isEmpty())
        return;
    d->data.append(chunk);
    resetTimer();
}

void TVRDownloader::answerChallenge(QNetworkReply *reply, QAuthenticator *authenticator)
{
    // Left unanswered, the challenge fails the transfer: the credential is tried exactly once.
    if (reply != d->connection || !d->authCredential || d->challengesAnswered > 0)
        return;
    ++d->challengesAnswered;
    authenticator->setUser(d->authCredential->user);
    authenticator->setPassword(d->authCredential->password);
}

void TVRDownloader::connectionFinished()
{
    if (isRedirect(*d->connection)) {
        followRedirect();
        return;
    }
    receiveData();
    if (!HttpOutcome::isCompleteAnswer(*d->connection)) {
        qCDebug(lcNet) << "Download of" << d->url.toDisplayString() << "failed:" << d->connection->errorString();
        error(ConnectionFailed);
        return;
    }
    d->isDownloading = false;
    stopTimer();
    // Last: the delegate may drop this downloader.
    d->delegate->downloadFinished(this);
}

void TVRDownloader::doCancel(int errorType)
{
    Q_UNUSED(errorType)
    d->isDownloading = false;
    if (d->connection) {
        d->connection->disconnect(this);
        d->connection->abort();
    }
    stopTimer();
}

void TVRDownloader::error(int errorType)
{
    doCancel(errorType);
    if (auto *failureDelegate = dynamic_cast<TVRDownloadFailureDelegate *>(d->delegate))
        failureDelegate->downloadFailedWithErrorType(errorType);
    else
        d->delegate->downloadFinished(this);
}

void TVRDownloader::cancel()
{
    doCancel(Cancelled);
}

void TVRDownloader::resetTimer()
{
    stopTimer();
    d->cancelTimer->start(std::chrono::milliseconds(qint64(double(d->timeoutSeconds) * 1000.0)));
}

void TVRDownloader::stopTimer()
{
    d->cancelTimer->stop();
}

void TVRDownloader::timedOut()
{
    if (d->isDownloading)
        error(TimedOut);
}

void TVRDownloader::setTimeoutSeconds(float seconds)
{
    d->timeoutSeconds = seconds;
    if (d->isDownloading)
        resetTimer();
}

QByteArray TVRDownloader::downloadData(const QUrl &url)
{
    QString reason;
    const QByteArray body = SynchronousDownload::fetch(url, kSynchronousTimeoutMs, &reason);
    if (!reason.isEmpty())
        qCWarning(lcNet).noquote() << QStringLiteral("TVRDownloader error: %1").arg(reason);
    return body;
}

QString TVRDownloader::downloadString(const QUrl &url)
{
    return decode(downloadData(url));
}

QString TVRDownloader::decode(const QByteArray &bytes)
{
    if (bytes.isNull())
        return QString();
    // ASCII can only succeed where UTF-8 did; it stays second so the order is the documented one.
    for (const unsigned encoding : {StringEncoding::UTF8, StringEncoding::ASCII, StringEncoding::JapaneseEUC}) {
        if (std::optional<QString> text = StringEncoding::decode(bytes, encoding))
            return text->isNull() ? QStringLiteral("") : *text;
    }
    return QString();
}

std::optional<TVRDownloader::Credential> TVRDownloader::authCredential() const
{
    return d->authCredential;
}

std::optional<TVRURLResponse> TVRDownloader::urlResponse() const
{
    return d->urlResponse;
}

QUrl TVRDownloader::url() const
{
    return d->url;
}

QByteArray TVRDownloader::data() const
{
    return d->data;
}

QString TVRDownloader::string() const
{
    return decode(d->data);
}

QString TVRDownloader::description() const
{
    return d->url.toString();
}

bool TVRDownloader::isDownloading() const
{
    return d->isDownloading;
}

float TVRDownloader::timeoutSeconds() const
{
    return d->timeoutSeconds;
}
