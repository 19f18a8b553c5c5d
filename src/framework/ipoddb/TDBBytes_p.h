#pragma once

#include "tivaro_export.h"

#include <QByteArrayView>
#include <QString>
#include <QtEndian>

#include <cstring>
#include <optional>

// The byte readers of the iPod's databases (music, photos, artwork, DeviceInfo): little-endian
// values at an offset, with no alignment needed. Every read is checked against the buffer: these
// files come from outside, and a corrupt length must stop a parse, never read past the end.
namespace TDBBytes {

// Whether `size` bytes at `offset` lie inside `data`.
inline bool fits(QByteArrayView data, qint64 offset, qint64 size)
{
    return offset >= 0 && size >= 0 && offset <= data.size() && size <= data.size() - offset;
}

// Inline: a parse reads several values from every chunk.
template<typename T> std::optional<T> read(QByteArrayView data, qint64 offset)
{
    if (!fits(data, offset, qint64(sizeof(T))))
        return std::nullopt;
    return qFromLittleEndian<T>(data.data() + offset);
}

inline std::optional<qint16> readShort(QByteArrayView data, qint64 offset)
{
    return read<qint16>(data, offset);
}
inline std::optional<qint32> readLong(QByteArrayView data, qint64 offset)
{
    return read<qint32>(data, offset);
}
inline std::optional<qint64> readLongLong(QByteArrayView data, qint64 offset)
{
    return read<qint64>(data, offset);
}
// Three bytes b0 b1 b2, each sign-extended, summed as b0·2^16 + b1·2^8 + b2 (with `reverseOrder`
// b0·2^24 + b1·2^16 + b2·2^8), then byte-swapped unless the value counts as stored in host order
// (`littleEndian` on a little-endian host). Kept for plug-ins; no database reader uses it.
TIVARO_AUTOTEST_EXPORT std::optional<qint32> read3ByteLong(QByteArrayView data, qint64 offset, bool littleEndian,
                                                           bool reverseOrder);
// Whether the four bytes at `offset` are `tag` ("mhit", "mhod", ...).
inline bool hasTag(QByteArrayView data, qint64 offset, const char *tag)
{
    return fits(data, offset, 4) && std::memcmp(data.data() + offset, tag, 4) == 0;
}
// The four bytes at `offset` as text (for log lines); empty past the end.
TIVARO_AUTOTEST_EXPORT QString tagAt(QByteArrayView data, qint64 offset);
// `count` UTF-16LE code units at `offset`; nullopt when they run past the end.
TIVARO_AUTOTEST_EXPORT std::optional<QString> readUtf16(QByteArrayView data, qint64 offset, qint64 count);

} // namespace TDBBytes
