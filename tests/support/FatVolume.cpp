#include "FatVolume.h"

#include "core/MountTable.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QThread>

#include <fcntl.h>
#include <unistd.h>

namespace {

bool run(const QString &program, const QStringList &arguments, QString *output)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, arguments);
    const bool finished = process.waitForFinished(30000);
    *output = QString::fromLocal8Bit(process.readAll()).trimmed();
    return finished && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

bool fuseUsable()
{
    const int fd = ::open("/dev/fuse", O_RDWR | O_CLOEXEC);
    if (fd < 0)
        return false;
    ::close(fd);
    return true;
}

} // namespace

FatVolume::FatVolume(const QString &label, int megabytes, bool readOnly)
{
    const QString mkfs = QStandardPaths::findExecutable(QStringLiteral("mkfs.vfat"),
                                                        {QStringLiteral("/usr/sbin"), QStringLiteral("/sbin")});
    const QString fusefat = QStandardPaths::findExecutable(QStringLiteral("fusefat"));
    if (mkfs.isEmpty() || fusefat.isEmpty()) {
        m_skipReason = QStringLiteral("mkfs.vfat or fusefat is not installed");
        return;
    }
    if (!fuseUsable()) {
        m_skipReason = QStringLiteral("/dev/fuse cannot be opened on this machine");
        return;
    }
    m_imagePath = m_folder.path() + QStringLiteral("/volume.img");
    m_mountPoint = m_folder.path() + QLatin1Char('/') + label;
    QDir().mkpath(m_mountPoint);
    {
        QFile image(m_imagePath);
        if (!image.open(QIODevice::WriteOnly) || !image.resize(qint64(megabytes) * 1024 * 1024)) {
            m_skipReason = QStringLiteral("cannot create the image file");
            return;
        }
    }
    QString output;
    if (!run(mkfs, {QStringLiteral("-F"), QStringLiteral("32"), QStringLiteral("-n"), label, m_imagePath}, &output)) {
        m_skipReason = QStringLiteral("mkfs.vfat failed: ") + output;
        return;
    }
    if (!mount(readOnly))
        m_skipReason = QStringLiteral("fusefat cannot mount here");
}

bool FatVolume::mount(bool readOnly)
{
    QString output;
    const QString mode = readOnly ? QStringLiteral("ro") : QStringLiteral("rw+");
    m_mounted = run(QStringLiteral("fusefat"), {QStringLiteral("-o"), mode, m_imagePath, m_mountPoint}, &output);
    if (!m_mounted)
        qWarning("fusefat failed: %s", qPrintable(output));
    return m_mounted;
}

FatVolume::~FatVolume()
{
    unmount();
}

void FatVolume::unmount()
{
    if (!isListedInMountTable()) {
        m_mounted = false;
        return;
    }
    QString output;
    for (int attempt = 0; attempt < 20 && isListedInMountTable(); ++attempt) {
        if (!run(QStringLiteral("fusermount"), {QStringLiteral("-u"), m_mountPoint}, &output))
            run(QStringLiteral("umount"), {m_mountPoint}, &output);
        if (isListedInMountTable())
            QThread::msleep(100);
    }
    m_mounted = false;
}

bool FatVolume::isListedInMountTable() const
{
    if (m_mountPoint.isEmpty())
        return false;
    // The kernel's own table, whatever a test points discovery at.
    QFile table(QStringLiteral("/proc/self/mountinfo"));
    if (!table.open(QIODevice::ReadOnly))
        return false;
    return MountTable::entryForMountPoint(MountTable::parse(table.readAll()), m_mountPoint) != nullptr;
}
