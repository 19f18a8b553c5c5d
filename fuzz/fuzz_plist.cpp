// Property lists from outside: preferences, plug-in Info.plist files, the iTunes library (XML or binary).
#include "core/PropertyList.h"

#include <QByteArray>

#include <cstddef>
#include <cstdint>
#include <optional>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    QString error;
    const std::optional<QVariant> value = PropertyList::fromData(bytes, &error);
    if (!value) {
        if (error.isEmpty())
            __builtin_trap();
        return 0;
    }
    // Whatever was read may be written back (preferences are); that must not crash either.
    (void)PropertyList::toXml(*value);
    return 0;
}
