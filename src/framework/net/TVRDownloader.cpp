#include "TVRDownloader.h"

#include "BlockingTransfer_p.h"
#include "DownloadTransfer_p.h"
#include "DownloadURL_p.h"
#include "SynchronousDownload.h"

#include "core/Logging_p.h"
#include "core/StringEncoding.h"

#include <QTimer>

#include <climits>

namespace {

constexpr int kSynchronousTimeoutMs = 5000;

// Nothing is cached: every request goes to the network.
QNetworkRequest requestForURL(const QUrl &url)
{
    QNetworkRequest request(url);
    request.setTransferTimeout(TVRDownloader::kRequestTimeoutSeconds * 1000);
    return request;
}

} // namespace

struct TVRDownloader::Private {
    // The transfer may be the sender of the signal being delivered (a delegate may drop this
    // downloader while told), so it goes later.
    struct DeleteLater {
        void operator()(QObject *object) const { object->deleteLater(); }
    };

    std::unique_ptr<DownloadTransfer, DeleteLater> transfer;
    TVRDownloaderDelegate *delegate = nullptr;
    bool isDownloading = false;
    std::optional<Credential> authCredential;
    float timeoutSeconds = float(DownloadLimits::kDefaultTimeoutSeconds);
    QTimer *cancelTimer = nullptr;
    DownloadFailure failure;
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
    QNetworkRequest webRequest = request;
    webRequest.setUrl(DownloadURL::withoutFeedScheme(request.url()));
    if (!BlockingTransfer::canLoad(webRequest.url())) {
        qCWarning(lcNet) << "Cannot load" << request.url().toDisplayString();
        return nullptr;
    }
    return std::shared_ptr<TVRDownloader>(new TVRDownloader(webRequest, delegate, credential));
}

TVRDownloader::TVRDownloader(const QNetworkRequest &request, TVRDownloaderDelegate *delegate,
                             const std::optional<Credential> &credential)
    : d(std::make_unique<Private>())
{
    d->delegate = delegate;
    d->authCredential = credential;
    d->cancelTimer = new QTimer(this);
    d->cancelTimer->setSingleShot(true);
    connect(d->cancelTimer, &QTimer::timeout, this, &TVRDownloader::timedOut);

    const DownloadLimits limits = DownloadLimits::fromPreferences();
    d->transfer.reset(new DownloadTransfer(request, limits, credential));
    connect(d->transfer.get(), &DownloadTransfer::received, this, &TVRDownloader::resetTimer);
    connect(d->transfer.get(), &DownloadTransfer::ended, this, &TVRDownloader::transferEnded);
    d->transfer->start();
    d->isDownloading = true;
    d->timeoutSeconds = float(limits.timeoutSeconds);
    resetTimer();
}

TVRDownloader::~TVRDownloader()
{
    d->isDownloading = false;
    d->transfer->disconnect(this);
    d->transfer->abort();
}

void TVRDownloader::transferEnded()
{
    if (const DownloadFailure failure = d->transfer->failure()) {
        d->failure = failure;
        error(failure.kind() == DownloadFailure::DeadlinePassed ? TimedOut : ConnectionFailed);
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
    d->transfer->abort();
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
    if (d->isDownloading)
        d->failure = DownloadFailure::cancelled();
    doCancel(Cancelled);
}

void TVRDownloader::resetTimer()
{
    stopTimer();
    d->cancelTimer->start(int(qBound(0.0, double(d->timeoutSeconds) * 1000.0, double(INT_MAX))));
}

void TVRDownloader::stopTimer()
{
    d->cancelTimer->stop();
}

void TVRDownloader::timedOut()
{
    if (!d->isDownloading)
        return;
    d->failure = DownloadFailure::noData(DownloadFailure::TimedOut, double(d->timeoutSeconds));
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
    DownloadFailure failure;
    const QByteArray body = downloadData(url, &failure);
    if (failure)
        qCWarning(lcNet).noquote() << QStringLiteral("TVRDownloader error: %1").arg(failure.text());
    return body;
}

QByteArray TVRDownloader::downloadData(const QUrl &url, DownloadFailure *failure)
{
    return SynchronousDownload::fetch(url, kSynchronousTimeoutMs, failure);
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
    return d->transfer->response();
}

QUrl TVRDownloader::url() const
{
    return d->transfer->url();
}

QByteArray TVRDownloader::data() const
{
    return d->transfer->data();
}

QString TVRDownloader::string() const
{
    return decode(data());
}

QString TVRDownloader::description() const
{
    return url().toString();
}

bool TVRDownloader::isDownloading() const
{
    return d->isDownloading;
}

float TVRDownloader::timeoutSeconds() const
{
    return d->timeoutSeconds;
}

DownloadFailure TVRDownloader::failure() const
{
    return d->failure;
}
