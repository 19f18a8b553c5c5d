#include "IPodSyncLock_p.h"

#include "core/Paths.h"
#include "ipod/TVRiPod.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFileInfo>
#include <QLockFile>

namespace {

// The same volume reached through a symbolic link is the same iPod.
QString lockFileFor(const QString &iPodPath)
{
    const QString canonical = QFileInfo(iPodPath).canonicalFilePath();
    const QString key = canonical.isEmpty() ? QDir::cleanPath(QFileInfo(iPodPath).absoluteFilePath()) : canonical;
    const QByteArray digest = QCryptographicHash::hash(key.toUtf8(), QCryptographicHash::Sha1).toHex().left(16);
    return Paths::applicationSupportFolder() + QStringLiteral("/Locks/sync-") + QString::fromLatin1(digest) +
           QStringLiteral(".lock");
}

} // namespace

IPodSyncLock::IPodSyncLock(const TVRiPod &iPod)
    : m_path(lockFileFor(iPod.path()))
    , m_iPodName(iPod.name())
    , m_lock(std::make_unique<QLockFile>(m_path))
{
    // A sync holds the lock for as long as it runs, however long that is; only a dead holder frees it.
    m_lock->setStaleLockTime(0);
}

IPodSyncLock::~IPodSyncLock() = default;

bool IPodSyncLock::tryLock()
{
    m_errorString.clear();
    if (m_lock->isLocked())
        return true;
    if (!QDir().mkpath(QFileInfo(m_path).absolutePath())) {
        m_errorString = QStringLiteral("Cannot create the folder of %1.").arg(m_path);
        return false;
    }
    if (m_lock->tryLock(0))
        return true;
    qint64 pid = 0;
    QString host;
    QString application;
    if (m_lock->error() == QLockFile::LockFailedError && m_lock->getLockInfo(&pid, &host, &application))
        m_errorString =
            QStringLiteral("Another sync to \"%1\" is running (process %2). Wait for it to finish, or cancel it.")
                .arg(m_iPodName)
                .arg(pid);
    else if (m_lock->error() == QLockFile::LockFailedError)
        m_errorString =
            QStringLiteral("Another sync to \"%1\" is running. Wait for it to finish, or cancel it.").arg(m_iPodName);
    else
        m_errorString = QStringLiteral("Cannot take the sync lock %1.").arg(m_path);
    return false;
}

void IPodSyncLock::unlock()
{
    m_lock->unlock();
}

bool IPodSyncLock::isLocked() const
{
    return m_lock->isLocked();
}
