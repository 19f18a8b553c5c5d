// Entities and XML escapes.
#include "NSStringXtra.h"
#include "TextReplace_p.h"

#include <libxml/HTMLparser.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstdint>
#include <utility>

namespace {

// These names are decoded by the fixed table, whose repetition makes "&amp;lt;" end as "&lt;";
// decoding them earlier would go one layer further.
bool isTableEntity(QStringView name)
{
    return name == u"nbsp" || name == u"apos" || name == u"quot" || name == u"lt" || name == u"gt" || name == u"amp";
}

// Named HTML entities other than the table's, decoded in one left-to-right pass from libxml2's
// HTML 4 table so that their output is never read again.
QString decodeNamedEntities(const QString &text)
{
    constexpr qsizetype kLongestName = 8; // "thetasym"
    QString result;
    result.reserve(text.size());
    qsizetype copied = 0;
    for (qsizetype amp = text.indexOf(u'&'); amp >= 0; amp = text.indexOf(u'&', amp + 1)) {
        const qsizetype semiInName = QStringView(text).mid(amp + 1, kLongestName + 1).indexOf(u';');
        if (semiInName <= 0)
            continue;
        const qsizetype semi = amp + 1 + semiInName;
        const QStringView name = QStringView(text).mid(amp + 1, semiInName);
        if (isTableEntity(name))
            continue;
        const QByteArray latin = name.toLatin1();
        const htmlEntityDesc *entity = htmlEntityLookup(reinterpret_cast<const xmlChar *>(latin.constData()));
        if (entity == nullptr || QString::fromLatin1(latin) != name)
            continue;
        result += QStringView(text).mid(copied, amp - copied);
        const char32_t value = entity->value;
        result += QString::fromUcs4(&value, 1);
        copied = semi + 1;
        amp = semi;
    }
    result += QStringView(text).mid(copied);
    return result;
}

// Leading white space, an optional sign, then decimal digits, clamped to int: a non-number is 0.
int decimalValue(QStringView code)
{
    qsizetype i = 0;
    while (i < code.size() && code[i].isSpace())
        ++i;
    bool negative = false;
    if (i < code.size() && (code[i] == u'-' || code[i] == u'+'))
        negative = code[i++] == u'-';
    int64_t value = 0;
    for (; i < code.size() && code[i] >= u'0' && code[i] <= u'9'; ++i)
        value = std::min<int64_t>(value * 10 + (code[i].unicode() - u'0'), int64_t(INT_MAX) + 1);
    value = negative ? -value : std::min<int64_t>(value, INT_MAX);
    return int(value);
}

int hexDigit(QChar c)
{
    const char16_t u = c.unicode();
    if (u >= u'0' && u <= u'9')
        return u - u'0';
    if (u >= u'a' && u <= u'f')
        return u - u'a' + 10;
    if (u >= u'A' && u <= u'F')
        return u - u'A' + 10;
    return -1;
}

// As scanf's "%X": leading white space, an optional "0x", then hexadecimal digits; saturates.
uint32_t hexValue(QStringView code)
{
    qsizetype i = 0;
    while (i < code.size() && code[i].isSpace())
        ++i;
    if (code.mid(i).startsWith(u"0x", Qt::CaseInsensitive) && i + 2 < code.size() && hexDigit(code[i + 2]) >= 0)
        i += 2;
    uint64_t value = 0;
    for (int digit = 0; i < code.size() && (digit = hexDigit(code[i])) >= 0; ++i)
        value = std::min<uint64_t>(value * 16 + uint64_t(digit), UINT32_MAX);
    return uint32_t(value);
}

char16_t numericReferenceUnit(QStringView code)
{
    if (code.startsWith(u'x'))
        return char16_t(hexValue(code.mid(1)) & 0xFFFF);
    return char16_t(uint32_t(decimalValue(code)) & 0xFFFF);
}

// Numeric references, each replaced by one UTF-16 unit. The decoded unit is read again as the
// start of what follows, so "&#38;#65;" gives "A". Works in place: the unit is stored where the
// ";" was and reading resumes there.
QString decodeNumericReferences(QString text)
{
    QChar *buffer = text.data();
    const qsizetype length = text.size();
    qsizetype write = 0;
    qsizetype read = 0;
    const auto find = [&](QStringView needle, qsizetype from) {
        return QStringView(buffer, length).indexOf(needle, from);
    };
    // Both positions stay valid until a replacement, which keeps a page with many ";" linear.
    qsizetype start = -1;
    qsizetype semi = -1;
    bool known = false;
    while (read < length) {
        if (!known || start < read)
            start = find(u"&#", read);
        if (!known || semi < read)
            semi = find(u";", read);
        known = true;
        if (start < 0 || semi < 0)
            break;
        if (semi < start) {
            // No position up to this ";" can start a reference ending after it.
            for (; read <= semi; ++read)
                buffer[write++] = buffer[read];
            continue;
        }
        for (; read < start; ++read)
            buffer[write++] = buffer[read];
        buffer[semi] = QChar(numericReferenceUnit(QStringView(buffer + start + 2, semi - start - 2)));
        read = semi;
        known = false;
    }
    for (; read < length; ++read)
        buffer[write++] = buffer[read];
    text.truncate(write);
    return text;
}

} // namespace

namespace NSStringXtra {

QString stringByEscapingXMLCharacters(const QString &text)
{
    QString result = text;
    result.replace(u'&', QStringLiteral("&amp;"));
    result.replace(u'<', QStringLiteral("&lt;"));
    result.replace(u'>', QStringLiteral("&gt;"));
    result.replace(u'\'', QStringLiteral("&apos;"));
    result.replace(u'"', QStringLiteral("&quot;"));
    return result;
}

QString removeEntities(const QString &text)
{
    static constexpr std::array<std::pair<QStringView, QStringView>, 12> kTable{{
        {u"&nbsp;", u" "},
        {u"%20", u" "},
        {u"&apos;", u"'"},
        {u"&#039;", u"'"},
        {u"&#39;", u"'"},
        {u"&#34;", u"\""},
        {u"&#151;", u"-"},
        {u"&quote;", u"\""},
        {u"&quot;", u"\""},
        {u"&lt;", u"<"},
        {u"&gt;", u">"},
        {u"&amp;", u"&"},
    }};
    QString result = decodeNamedEntities(text);
    for (const auto &[target, replacement] : kTable)
        result = TextReplace::replaceRepeatedly(result, target, replacement);
    return decodeNumericReferences(result);
}

QString removeCdataStuff(const QString &text)
{
    const QString open = QStringLiteral("<![CDATA[");
    const QString close = QStringLiteral("]]>");
    if (!text.contains(open, Qt::CaseInsensitive) || !text.contains(close, Qt::CaseInsensitive))
        return text;
    return replace(replace(text, open, QString()), close, QString());
}

} // namespace NSStringXtra
