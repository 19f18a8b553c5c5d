#include "TDBText.h"

#include "TDBBytes_p.h"
#include "TDBTrackSource.h"

#include "core/PathUtils.h"
#include "text/NSStringXtra.h"

#include <QtEndian>

#include <algorithm>

namespace {

QString byteString(QByteArrayView bytes)
{
    QString text(bytes.size(), Qt::Uninitialized);
    QChar *out = text.data();
    for (const char byte : bytes)
        *out++ = QChar(char16_t(static_cast<signed char>(byte)));
    return text;
}

} // namespace

TDBText TDBText::stored(qint64 offset, qint64 count, Encoding encoding)
{
    TDBText text;
    text.m_offset = qint32(offset);
    text.m_count = qint32(count);
    text.m_encoding = encoding;
    return text;
}

QString TDBText::decode(QByteArrayView bytes, qint64 offset, qint64 count, Encoding encoding)
{
    if (encoding == Encoding::Bytes)
        return offset >= 0 && count >= 0 && count <= bytes.size() - offset ? byteString(bytes.sliced(offset, count))
                                                                           : QString();
    return TDBBytes::readUtf16(bytes, offset, count).value_or(QString());
}

QString TDBText::text(const TDBTrackSource *source) const
{
    if (m_offset < 0)
        return m_text;
    if (!source)
        return QString();
    const QString text = NSStringXtra::trimWhiteSpace(decode(source->bytes, m_offset, m_count, m_encoding));
    if (m_encoding != Encoding::iPodPath)
        return text;
    return PathUtils::appendingPathComponent(source->mountPath,
                                             QString(text).replace(QLatin1Char(':'), QLatin1Char('/')));
}

bool TDBText::isAnyOf(const TDBTrackSource *source, std::initializer_list<QLatin1StringView> candidates) const
{
    const auto matches = [&](QStringView text) {
        return std::any_of(candidates.begin(), candidates.end(),
                           [text](QLatin1StringView candidate) { return text == candidate; });
    };
    // Long enough for the file kinds the reader tells apart.
    constexpr qint32 kShort = 64;
    if (m_offset < 0 || m_encoding != Encoding::Utf16 || m_count > kShort || !source ||
        !TDBBytes::fits(source->bytes, m_offset, qint64(m_count) * 2))
        return matches(text(source));
    char16_t units[kShort];
    const char *from = source->bytes.constData() + m_offset;
    for (qint32 i = 0; i < m_count; ++i)
        units[i] = qFromLittleEndian<quint16>(from + 2 * i);
    return matches(QStringView(units, m_count).trimmed());
}
