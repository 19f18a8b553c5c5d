// The mount table the iPod discovery reads; the variable TIVARO_MOUNTINFO lets any file stand in for it.
#include "core/MountTable.h"

#include <QByteArray>
#include <QDir>

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    const QList<MountEntry> table = MountTable::parse(bytes);
    for (const MountEntry &entry : table) {
        if (entry.mountPoint.isEmpty())
            __builtin_trap();
        // What discovery asks of every entry.
        (void)entry.isLocal();
        (void)entry.isReadOnly();
        (void)entry.isMacFormatted();
        if (!MountTable::entryForMountPoint(table, entry.mountPoint) && entry.mountPoint.startsWith(QLatin1Char('/')) &&
            entry.mountPoint == QDir::cleanPath(entry.mountPoint))
            __builtin_trap();
    }
    return 0;
}
