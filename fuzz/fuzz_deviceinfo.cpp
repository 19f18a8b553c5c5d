// DeviceInfo as the name reader sees it: a 16-bit count, then that many UTF-16LE units, which the
// count may overstate or give as negative. The name never holds more units than the file.
#include "ipoddb/TDBiPod_p.h"

#include <QByteArray>

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    TDBiPod reader(QStringLiteral("/nonexistent"));
    reader.processDeviceInfo(bytes);
    if (size == 0)
        return 0;
    const QString name = reader.name();
    if (name.isNull() || name.size() > qsizetype(size) / 2)
        __builtin_trap();
    return 0;
}
