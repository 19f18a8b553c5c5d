#include "VolumeEjector_p.h"

#include "Logging_p.h"
#include "MountTable.h"
#include "UDisks2Client_p.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>

#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr int kUmountTimeoutMs = 60000;

// Writes out everything cached for the volume before it goes away.
void flushVolume(const QString &mountPoint)
{
    const int fd = ::open(QFile::encodeName(mountPoint).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0 || ::syncfs(fd) != 0)
        ::sync();
    if (fd >= 0)
        ::close(fd);
}

bool runUnmountCommand(const QString &program, const QStringList &arguments, QString *error)
{
    const QString executable = QStandardPaths::findExecutable(program);
    if (executable.isEmpty()) {
        *error = QStringLiteral("%1 is not installed").arg(program);
        return false;
    }
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(executable, arguments);
    if (!process.waitForFinished(kUmountTimeoutMs)) {
        process.kill();
        process.waitForFinished();
        *error = QStringLiteral("%1 did not finish").arg(program);
        return false;
    }
    if (process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0)
        return true;
    *error = QString::fromLocal8Bit(process.readAll()).trimmed();
    if (error->isEmpty())
        *error = QStringLiteral("%1 failed").arg(program);
    return false;
}

} // namespace

VolumeEjector::VolumeEjector(const QDBusConnection &bus)
    : m_bus(bus)
{}

bool VolumeEjector::unmountAndEject(const QString &mountPoint)
{
    m_errorString.clear();
    m_steps.clear();
    const QString path = QDir::cleanPath(mountPoint);
    const QList<MountEntry> table = MountTable::current();
    const MountEntry *entry = MountTable::entryForMountPoint(table, path);

    UDisks2Client udisks(m_bus);
    const std::optional<QList<UDisks2Client::Filesystem>> filesystems = udisks.filesystems();
    const UDisks2Client::Filesystem *ours = nullptr;
    if (filesystems) {
        for (const UDisks2Client::Filesystem &filesystem : *filesystems) {
            if (filesystem.mountPoints.contains(path))
                ours = &filesystem;
        }
    }
    if (!entry && !ours) {
        m_errorString = QStringLiteral("%1 is not a mounted volume").arg(path);
        return false;
    }

    flushVolume(path);
    m_steps.append(QStringLiteral("flush"));

    if (!ours) {
        const QString why = filesystems ? QStringLiteral("it does not know the mount") : udisks.errorString();
        qCInfo(lcCore).noquote()
            << QStringLiteral("UDisks2 cannot eject %1 (%2); unmounting it directly").arg(path, why);
        QString error;
        m_steps.append(QStringLiteral("umount"));
        if (runUnmountCommand(QStringLiteral("umount"), {path}, &error))
            return true;
        // A FUSE mount of an ordinary user is unmounted by fusermount.
        if (entry && entry->fileSystemType.startsWith(QLatin1String("fuse")) &&
            (runUnmountCommand(QStringLiteral("fusermount3"), {QStringLiteral("-u"), path}, &error) ||
             runUnmountCommand(QStringLiteral("fusermount"), {QStringLiteral("-u"), path}, &error)))
            return true;
        m_errorString = QStringLiteral("Cannot unmount %1: %2").arg(path, error);
        return false;
    }

    // Every mounted partition of the same drive goes, or the drive cannot be ejected.
    QList<UDisks2Client::Filesystem> siblings{*ours};
    const bool hasDrive = ours->drive.path() != QLatin1String("/") && !ours->drive.path().isEmpty();
    if (hasDrive) {
        siblings.clear();
        for (const UDisks2Client::Filesystem &filesystem : *filesystems) {
            if (filesystem.drive == ours->drive && !filesystem.mountPoints.isEmpty())
                siblings.append(filesystem);
        }
    }
    for (const UDisks2Client::Filesystem &filesystem : siblings) {
        m_steps.append(QStringLiteral("unmount ") + filesystem.device);
        if (!udisks.unmount(filesystem.block)) {
            m_errorString = QStringLiteral("Cannot unmount %1: %2").arg(filesystem.device, udisks.errorString());
            return false;
        }
    }
    if (!hasDrive)
        return true;

    const std::optional<UDisks2Client::Drive> drive = udisks.drive(ours->drive);
    if (!drive) {
        m_errorString = QStringLiteral("The drive of %1 went away before it could be ejected").arg(path);
        return false;
    }
    bool ejected = false;
    if (drive->ejectable) {
        m_steps.append(QStringLiteral("eject"));
        ejected = udisks.eject(drive->path);
        if (!ejected) {
            m_errorString = QStringLiteral("Cannot eject %1: %2").arg(path, udisks.errorString());
            return false;
        }
    }
    if (drive->canPowerOff) {
        m_steps.append(QStringLiteral("power-off"));
        // After a good eject the drive may already be gone; the iPod is safe either way.
        if (!udisks.powerOff(drive->path) && !ejected) {
            m_errorString = QStringLiteral("Cannot power off %1: %2").arg(path, udisks.errorString());
            return false;
        }
    }
    return true;
}
