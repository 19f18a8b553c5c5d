#pragma once

#include "tivaro_export.h"

#include <QString>
#include <QStringList>

// One mounted file system, as the kernel lists it in /proc/self/mountinfo.
struct TIVARO_EXPORT MountEntry {
    QString mountPoint;
    QString fileSystemType;
    QString source;
    QStringList mountOptions;
    QStringList superOptions;

    // False for network file systems (NFS, SMB, sshfs, ...), which may be slow or hang when touched,
    // and for automount points, which touching would mount. FUSE file systems of local devices are local.
    bool isLocal() const;
    bool isReadOnly() const;
    // HFS or HFS+: how a Mac-formatted iPod mounts, read-only on Linux.
    bool isMacFormatted() const;
};
