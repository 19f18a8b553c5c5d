#include "MountEntry.h"

#include <QSet>

namespace {

const QSet<QString> &networkFileSystems()
{
    static const QSet<QString> types{
        QStringLiteral("nfs"),       QStringLiteral("nfs4"),   QStringLiteral("cifs"),     QStringLiteral("smb3"),
        QStringLiteral("smbfs"),     QStringLiteral("ncpfs"),  QStringLiteral("9p"),       QStringLiteral("ceph"),
        QStringLiteral("glusterfs"), QStringLiteral("afs"),    QStringLiteral("davfs"),    QStringLiteral("coda"),
        QStringLiteral("lustre"),    QStringLiteral("sshfs"),  QStringLiteral("orangefs"), QStringLiteral("ocfs2"),
        QStringLiteral("gfs2"),      QStringLiteral("autofs"),
    };
    return types;
}

// FUSE file systems name their driver after "fuse."; these drivers reach over the network.
const QSet<QString> &networkFuseDrivers()
{
    static const QSet<QString> drivers{
        QStringLiteral("sshfs"),      QStringLiteral("glusterfs"), QStringLiteral("s3fs"),
        QStringLiteral("rclone"),     QStringLiteral("davfs2"),    QStringLiteral("curlftpfs"),
        QStringLiteral("gvfsd-fuse"), QStringLiteral("cephfs"),    QStringLiteral("ceph-fuse"),
        QStringLiteral("gcsfuse"),    QStringLiteral("goofys"),    QStringLiteral("httpfs"),
        QStringLiteral("smbnetfs"),   QStringLiteral("onedriver"), QStringLiteral("sshfs.real"),
    };
    return drivers;
}

} // namespace

bool MountEntry::isLocal() const
{
    if (networkFileSystems().contains(fileSystemType))
        return false;
    static const QString fusePrefix = QStringLiteral("fuse.");
    if (fileSystemType.startsWith(fusePrefix))
        return !networkFuseDrivers().contains(fileSystemType.mid(fusePrefix.size()));
    return true;
}

bool MountEntry::isReadOnly() const
{
    const QString ro = QStringLiteral("ro");
    return mountOptions.contains(ro) || superOptions.contains(ro);
}

bool MountEntry::isMacFormatted() const
{
    return fileSystemType == QLatin1String("hfsplus") || fileSystemType == QLatin1String("hfs");
}
