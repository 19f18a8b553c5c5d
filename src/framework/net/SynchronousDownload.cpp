#include "SynchronousDownload.h"

#include "HttpOutcome.h"
#include "NetworkAccess.h"

#include <QEventLoop>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QThread>

#include <memory>

namespace {

// As many as a browser follows before it calls it a loop.
constexpr int kMaximumRedirects = 20;

QNetworkRequest requestFor(const QUrl &url, int idleTimeoutMs)
{
    QNetworkRequest request(url);
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::AlwaysNetwork);
    // Followed below, hop by hop: Qt 6.4's own following can lose the final body.
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    request.setTransferTimeout(idleTimeoutMs);
    return request;
}

std::unique_ptr<QNetworkReply> getAndWait(QNetworkAccessManager &manager, const QUrl &url, int idleTimeoutMs)
{
    std::unique_ptr<QNetworkReply> reply(manager.get(requestFor(url, idleTimeoutMs)));
    QEventLoop loop;
    QObject::connect(reply.get(), &QNetworkReply::finished, &loop, &QEventLoop::quit);
    if (!reply->isFinished())
        loop.exec();
    return reply;
}

// Runs on the transfer thread.
QByteArray runTransfer(QUrl url, int idleTimeoutMs, QString *error)
{
    QNetworkAccessManager &manager = *NetworkAccess::managerForCurrentThread();
    for (int hop = 0;; ++hop) {
        std::unique_ptr<QNetworkReply> reply = getAndWait(manager, url, idleTimeoutMs);
        const QVariant target = reply->attribute(QNetworkRequest::RedirectionTargetAttribute);
        if (target.isValid() && hop < kMaximumRedirects) {
            url = url.resolved(target.toUrl());
            continue;
        }
        QByteArray body = reply->isOpen() ? reply->readAll() : QByteArray();
        if (target.isValid()) {
            *error = QStringLiteral("too many redirects");
            return QByteArray();
        }
        if (HttpOutcome::isCompleteAnswer(*reply)) {
            // An empty body is still a body: only a failure gives a null result.
            return body.isNull() ? QByteArray("", 0) : body;
        }
        *error = reply->errorString();
        return body.isEmpty() ? QByteArray() : body;
    }
}

// An object living on the one thread that every blocking transfer runs on. Qt's HTTP thread, stopped
// when its manager is destroyed, can drop work it has just posted to itself and so leak the
// connections it held; the transfer thread and its manager therefore live as long as the process.
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

} // namespace

namespace SynchronousDownload {

QByteArray fetch(const QUrl &url, int idleTimeoutMs, QString *error)
{
    QByteArray body;
    QString reason;
    QObject *anchor = transferThreadAnchor();
    Q_ASSERT(QThread::currentThread() != anchor->thread());
    QMetaObject::invokeMethod(
        anchor, [&url, idleTimeoutMs, &body, &reason] { body = runTransfer(url, idleTimeoutMs, &reason); },
        Qt::BlockingQueuedConnection);
    if (error)
        *error = reason;
    return body;
}

} // namespace SynchronousDownload
