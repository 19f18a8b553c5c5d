#include "BenchSupport.h"

#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include <linux/magic.h>
#include <sys/vfs.h>

namespace BenchSupport {

void die(const QString &message)
{
    // The executable's own name, so that each benchmark's messages keep their usual prefix; it is set
    // before main() runs, so this works before QCoreApplication too.
    std::fprintf(stderr, "%s: %s\n", program_invocation_short_name, qPrintable(message));
    std::exit(1);
}

double milliseconds(std::chrono::steady_clock::duration d)
{
    return std::chrono::duration<double, std::milli>(d).count();
}

double median(std::vector<double> values)
{
    if (values.empty())
        return 0;
    std::sort(values.begin(), values.end());
    const size_t middle = values.size() / 2;
    return values.size() % 2 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

QString fileSystemOf(const QString &path)
{
    struct statfs info {};
    if (::statfs(QFile::encodeName(path).constData(), &info) != 0)
        return QStringLiteral("unknown file system");
    switch (info.f_type) {
    case TMPFS_MAGIC:
        return QStringLiteral("tmpfs");
    case EXT4_SUPER_MAGIC:
        return QStringLiteral("ext2/3/4");
    case BTRFS_SUPER_MAGIC:
        return QStringLiteral("btrfs");
    case XFS_SUPER_MAGIC:
        return QStringLiteral("xfs");
    case OVERLAYFS_SUPER_MAGIC:
        return QStringLiteral("overlayfs");
    default:
        return QStringLiteral("file system 0x%1").arg(qulonglong(info.f_type), 0, 16);
    }
}

void useTemporaryHome(const QTemporaryDir &home)
{
    // Once the application exists, something may already have looked in the user's own folders.
    Q_ASSERT(!QCoreApplication::instance());
    if (!home.isValid())
        die(QStringLiteral("cannot make a temporary home"));
    qputenv("HOME", QFile::encodeName(home.path()));
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(home.filePath(QStringLiteral(".config"))));
    qputenv("XDG_DATA_HOME", QFile::encodeName(home.filePath(QStringLiteral(".local/share"))));
    qputenv("XDG_CACHE_HOME", QFile::encodeName(home.filePath(QStringLiteral(".cache"))));
}

} // namespace BenchSupport
