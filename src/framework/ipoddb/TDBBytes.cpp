#include "TDBBytes.h"

#include <QtEndian>

#include <cstring>

namespace TDBBytes {

namespace {

bool fits(QByteArrayView data, qint64 offset, qint64 size)
{
    return offset >= 0 && size >= 0 && offset <= data.size() && size <= data.size() - offset;
}

template<typename T> std::optional<T> read(QByteArrayView data, qint64 offset)
{
    if (!fits(data, offset, qint64(sizeof(T))))
        return std::nullopt;
    return qFromLittleEndian<T>(data.data() + offset);
}

} // namespace

std::optional<qint16> readShort(QByteArrayView data, qint64 offset)
{
    return read<qint16>(data, offset);
}

std::optional<qint32> readLong(QByteArrayView data, qint64 offset)
{
    return read<qint32>(data, offset);
}

std::optional<qint64> readLongLong(QByteArrayView data, qint64 offset)
{
    return read<qint64>(data, offset);
}

std::optional<qint32> read3ByteLong(QByteArrayView data, qint64 offset, bool littleEndian, bool reverseOrder)
{
    if (!fits(data, offset, 3))
        return std::nullopt;
    const auto byte = [&](int i) { return qint64(static_cast<signed char>(data[offset + i])); };
    const qint64 sum = reverseOrder ? byte(0) * (1 << 24) + byte(1) * (1 << 16) + byte(2) * (1 << 8)
                                    : byte(0) * (1 << 16) + byte(1) * (1 << 8) + byte(2);
    const auto value = static_cast<quint32>(sum);
    const bool hostOrder = littleEndian == (QSysInfo::ByteOrder == QSysInfo::LittleEndian);
    return static_cast<qint32>(hostOrder ? value : qbswap(value));
}

bool hasTag(QByteArrayView data, qint64 offset, const char *tag)
{
    return fits(data, offset, 4) && std::memcmp(data.data() + offset, tag, 4) == 0;
}

QString tagAt(QByteArrayView data, qint64 offset)
{
    return fits(data, offset, 4) ? QString::fromLatin1(data.data() + offset, 4) : QString();
}

std::optional<QString> readUtf16(QByteArrayView data, qint64 offset, qint64 count)
{
    if (count < 0 || !fits(data, offset, count * 2))
        return std::nullopt;
    QString text(count, Qt::Uninitialized);
    for (qint64 i = 0; i < count; ++i)
        text[i] = QChar(qFromLittleEndian<quint16>(data.data() + offset + 2 * i));
    return text;
}

} // namespace TDBBytes
