// The record of Tivaro's files as read from an iPod, which anyone may have edited. Whatever it is read
// as must be written back and read again as the same entries.
#include "ipod/IPodManifest.h"

#include <QByteArray>

#include <cstddef>
#include <cstdint>
#include <optional>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    const std::optional<QHash<QByteArray, IPodManifest::Entry>> entries = IPodManifest::parse(bytes);
    if (!entries)
        return 0;
    const std::optional<QByteArray> written = IPodManifest::serialise(*entries);
    if (!written)
        return 0; // a string the XML form cannot carry (a control character) is not written
    const std::optional<QHash<QByteArray, IPodManifest::Entry>> again = IPodManifest::parse(*written);
    if (!again || again->size() != entries->size())
        __builtin_trap();
    for (auto it = entries->cbegin(); it != entries->cend(); ++it) {
        const IPodManifest::Entry entry = again->value(it.key());
        if (entry.owner != it->owner || entry.group != it->group || entry.size != it->size)
            __builtin_trap();
    }
    return 0;
}
