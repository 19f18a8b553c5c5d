#include "TDBBytes_p.h"

#include <QSysInfo>
#include <QtEndian>

#include <cstring>

namespace TDBBytes {

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

QString tagAt(QByteArrayView data, qint64 offset)
{
    return fits(data, offset, 4) ? QString::fromLatin1(data.data() + offset, 4) : QString();
}

std::optional<QString> readUtf16(QByteArrayView data, qint64 offset, qint64 count)
{
    if (count < 0 || !fits(data, offset, count * 2))
        return std::nullopt;
    QString text(count, Qt::Uninitialized);
    const char *source = data.data() + offset;
    if constexpr (QSysInfo::ByteOrder == QSysInfo::LittleEndian) {
        std::memcpy(text.data(), source, size_t(count) * 2);
    } else {
        for (qint64 i = 0; i < count; ++i)
            text[i] = QChar(qFromLittleEndian<quint16>(source + 2 * i));
    }
    return text;
}

} // namespace TDBBytes
