#pragma once

#include <QList>
#include <QString>
#include <QStringList>

// One mounted file system, as the kernel lists it in /proc/self/mountinfo.
struct MountEntry {
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

// The mount table. The kernel's list is read without blocking on any file system.
namespace MountTable {

// The table of this process. The variable TIVARO_MOUNTINFO may name another file in the same
// format, so that discovery can be tried against a described set of mounts.
QList<MountEntry> current();
QString currentSourcePath();

// Parses the text of a mountinfo file; malformed lines are skipped.
QList<MountEntry> parse(const QByteArray &mountinfo);

// The entry mounted exactly at `path` (the last one when mounts are stacked), or nullptr.
const MountEntry *entryForMountPoint(const QList<MountEntry> &table, const QString &path);

} // namespace MountTable
