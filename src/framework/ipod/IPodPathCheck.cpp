#include "IPodPathCheck_p.h"

#include "core/MountTable.h"
#include "core/PathUtils.h"

#include <QFile>
#include <QFileInfo>

#include <unistd.h>

namespace IPodPathCheck {

bool hasiPodControlFolder(const QString &path)
{
    return QFileInfo(PathUtils::appendingPathComponent(path, QStringLiteral("iPod_Control/"))).isDir();
}

bool isWritable(const QString &path)
{
    return ::access(QFile::encodeName(path).constData(), W_OK) == 0;
}

QString unusableReason(const MountEntry *entry)
{
    if (!entry)
        return QStringLiteral("not writable by you, so nothing can be written to it");
    if (entry->isMacFormatted())
        return QStringLiteral("Mac-formatted (HFS+): Linux mounts it read-only, so nothing can be written to it. "
                              "An iPod restored to Windows format (FAT32) syncs.");
    if (entry->isReadOnly())
        return QStringLiteral("mounted read-only, so nothing can be written to it");
    return QStringLiteral("not writable by you, so nothing can be written to it");
}

bool isiPodAtPath(const QString &path)
{
    return !path.isEmpty() && isWritable(path) && hasiPodControlFolder(path);
}

QString problemWithPath(const QString &path)
{
    const QFileInfo info(path);
    if (path.isEmpty() || !info.exists())
        return QStringLiteral("%1 does not exist").arg(path);
    if (!info.isDir())
        return QStringLiteral("%1 is not a folder").arg(path);
    if (!hasiPodControlFolder(path))
        return QStringLiteral("%1 is not an iPod: it has no iPod_Control folder").arg(path);
    if (!isWritable(path)) {
        const QList<MountEntry> table = MountTable::current();
        return QStringLiteral("%1 cannot be synced: %2")
            .arg(path, unusableReason(MountTable::entryForMountPoint(table, path)));
    }
    return QString();
}

} // namespace IPodPathCheck
