#include "SynchronousDownload.h"

#include "DownloadTransfer.h"
#include "DownloadURL.h"
#include "NetworkAccess.h"

#include <QNetworkRequest>
#include <QSemaphore>
#include <QThread>

#include <memory>

namespace {

// What the waiting caller is handed back.
struct Outcome {
    QSemaphore done;
    QByteArray body;
    DownloadFailure failure;
};

QNetworkRequest requestFor(const QUrl &url, int idleTimeoutMs)
{
    QNetworkRequest request(DownloadURL::withoutFeedScheme(url));
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::AlwaysNetwork);
    request.setTransferTimeout(idleTimeoutMs);
    return request;
}

// An object living on the one thread that every blocking transfer runs on. Qt's HTTP thread, stopped
// when its manager is destroyed, can drop work it has just posted to itself and so leak the
// connections it held; the transfer thread and its manager therefore live as long as the process.
// Transfers run on it side by side, each driven by the thread's event loop, never by a loop of its
// own: one transfer that hangs keeps no other waiting.
QObject *transferThreadAnchor()
{
    static QObject *const anchor = [] {
        auto *thread = new QThread;
        thread->setObjectName(QStringLiteral("Blocking downloads"));
        auto *object = new QObject;
        object->moveToThread(thread);
        thread->start();
        return object;
    }();
    return anchor;
}

// Runs on the transfer thread; the outcome is released when the transfer has ended.
void startTransfer(const QNetworkRequest &request, const DownloadLimits &limits,
                   const std::shared_ptr<Outcome> &outcome)
{
    auto *transfer = new DownloadTransfer(*NetworkAccess::managerForCurrentThread(), request, limits, std::nullopt);
    QObject::connect(transfer, &DownloadTransfer::ended, transfer, [transfer, outcome] {
        outcome->failure = transfer->failure();
        if (!outcome->failure)
            outcome->body = transfer->data();
        transfer->deleteLater();
        outcome->done.release();
    });
    transfer->start();
}

} // namespace

namespace SynchronousDownload {

QByteArray fetch(const QUrl &url, int idleTimeoutMs, DownloadFailure *failure)
{
    // Read here: preferences belong to the thread that reads them.
    const DownloadLimits limits = DownloadLimits::fromPreferences();
    const QNetworkRequest request = requestFor(url, idleTimeoutMs);
    auto outcome = std::make_shared<Outcome>();
    QObject *anchor = transferThreadAnchor();
    Q_ASSERT(QThread::currentThread() != anchor->thread());
    QMetaObject::invokeMethod(
        anchor, [request, limits, outcome] { startTransfer(request, limits, outcome); }, Qt::QueuedConnection);
    outcome->done.acquire();
    if (failure)
        *failure = outcome->failure;
    return outcome->body;
}

QByteArray fetch(const QUrl &url, int idleTimeoutMs, QString *error)
{
    DownloadFailure failure;
    const QByteArray body = fetch(url, idleTimeoutMs, &failure);
    if (error)
        *error = failure.text();
    return body;
}

} // namespace SynchronousDownload
