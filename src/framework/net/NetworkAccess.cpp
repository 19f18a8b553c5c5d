#include "NetworkAccess.h"

#include <QCoreApplication>
#include <QNetworkAccessManager>
#include <QPointer>
#include <QThread>

namespace NetworkAccess {

QNetworkAccessManager *managerForCurrentThread()
{
    static thread_local QPointer<QNetworkAccessManager> manager;
    if (manager)
        return manager;
    auto *created = new QNetworkAccessManager;
    const QCoreApplication *application = QCoreApplication::instance();
    if (application && application->thread() == QThread::currentThread()) {
        // Never destroyed: Qt's HTTP thread, stopped when its manager goes, can drop work it has just
        // posted to itself and so leak the connections it held. The process's end frees it all.
        static QNetworkAccessManager *mainThreadManager = nullptr;
        mainThreadManager = created;
        Q_UNUSED(mainThreadManager);
    } else {
        // Deferred deletions still run as a thread ends, after its event loop has stopped.
        QObject::connect(QThread::currentThread(), &QThread::finished, created, &QObject::deleteLater,
                         Qt::DirectConnection);
    }
    manager = created;
    return manager;
}

} // namespace NetworkAccess
