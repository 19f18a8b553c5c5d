#pragma once

#include "tivaro_export.h"

#include <QString>

#include <memory>

class QLockFile;
class TVRiPod;

// Keeps two syncs, in this process or in any other of the user's, from writing to the same iPod at
// once. The lock is a file named after the iPod's real path in the application support folder;
// a lock left by a process that died is taken over.
class TIVARO_AUTOTEST_EXPORT IPodSyncLock
{
public:
    explicit IPodSyncLock(const TVRiPod &iPod);
    ~IPodSyncLock();
    IPodSyncLock(const IPodSyncLock &) = delete;
    IPodSyncLock &operator=(const IPodSyncLock &) = delete;

    // False, with errorString() saying who holds it, when another sync to this iPod is running.
    bool tryLock();
    QString errorString() const { return m_errorString; }
    void unlock();
    bool isLocked() const;

    QString lockFilePath() const { return m_path; }

private:
    QString m_path;
    QString m_iPodName;
    std::unique_ptr<QLockFile> m_lock;
    QString m_errorString;
};
