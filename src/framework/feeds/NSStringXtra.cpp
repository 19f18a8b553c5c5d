#include "NSStringXtra.h"

#include "HTMLTextFilter.h"

#include <libxml/HTMLparser.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <climits>
#include <cstdint>
#include <stdexcept>
#include <utility>

namespace {

bool isRefusedInFileName(QChar c)
{
    switch (c.unicode()) {
    case '/':
    case ':':
    case '\\':
    case '*':
    case '?':
    case '"':
    case '<':
    case '>':
    case '|':
        return true;
    default:
        return c.unicode() < 0x20 || c.unicode() == 0x7F;
    }
}

// One left-to-right pass; returns false when `target` was not found. Built by appending, which
// stays linear where QString::replace moves the tail of a page once per batch of matches.
// Where `target` next occurs from `from`, or -1. The first character is found with Qt's vectorised
// character search and the rest compared there: much faster than a general search for the short
// targets the text filters replace, and those are called on whole pages many times over.
qsizetype find(QStringView text, QStringView target, qsizetype from)
{
    const QChar first = target.front();
    const QStringView rest = target.mid(1);
    for (qsizetype at = text.indexOf(first, from); at >= 0; at = text.indexOf(first, at + 1)) {
        if (at + target.size() > text.size())
            return -1;
        if (text.mid(at + 1, rest.size()) == rest)
            return at;
    }
    return -1;
}

// One left-to-right pass; false when there was nothing to replace. *replaced gets where the
// replacements lie in the result.
bool replaceOnce(QString &text, QStringView target, QStringView replacement, QList<qsizetype> *replaced = nullptr)
{
    qsizetype at = find(text, target, 0);
    if (at < 0)
        return false;
    QString result;
    result.reserve(text.size());
    qsizetype copied = 0;
    for (; at >= 0; at = find(text, target, at + target.size())) {
        result += QStringView(text).mid(copied, at - copied);
        if (replaced)
            replaced->append(result.size());
        result += replacement;
        copied = at + target.size();
    }
    result += QStringView(text).mid(copied);
    text = std::move(result);
    return true;
}

// Whether a pass left an occurrence. One can only straddle a replacement: the text between two
// replacements was searched whole and held none, so only the windows around them are looked at.
bool occursAroundReplacements(const QString &text, QStringView target, qsizetype replacementSize,
                              const QList<qsizetype> &replaced)
{
    for (const qsizetype start : replaced) {
        const qsizetype from = std::max<qsizetype>(0, start - target.size() + 1);
        const qsizetype to = std::min(text.size(), start + replacementSize + target.size() - 1);
        if (find(QStringView(text).mid(from, to - from), target, 0) >= 0)
            return true;
    }
    return false;
}

// What repeating "\r " -> "\r" ends with, in one pass: every space after a line break goes, however
// many follow it. Repeating literally takes a pass per space of the deepest indented line.
QString dropSpacesAfterReturns(const QString &text)
{
    QString result;
    result.reserve(text.size());
    qsizetype copied = 0;
    for (qsizetype at = text.indexOf(u'\r'); at >= 0; at = text.indexOf(u'\r', copied)) {
        result += QStringView(text).mid(copied, at + 1 - copied);
        copied = at + 1;
        while (copied < text.size() && text[copied] == u' ')
            ++copied;
    }
    result += QStringView(text).mid(copied);
    return result;
}

// True when `text` is `count` (at least one) copies of one character, given back in *c.
bool isRunOf(QStringView text, QChar *c)
{
    if (text.isEmpty())
        return false;
    *c = text.front();
    return std::all_of(text.begin(), text.end(), [&](QChar x) { return x == *c; });
}

// What repeating "c"*k -> "c"*j (j < k) ends with, in one pass: each pass leaves a run of n
// characters c as j * (n / k) + n % k of them, until fewer than k are left; runs never merge.
QString collapseRuns(const QString &text, QChar c, qsizetype k, qsizetype j)
{
    QString result;
    result.reserve(text.size());
    qsizetype copied = 0;
    for (qsizetype at = text.indexOf(c); at >= 0; at = text.indexOf(c, copied)) {
        result += QStringView(text).mid(copied, at - copied);
        qsizetype end = at;
        while (end < text.size() && text[end] == c)
            ++end;
        qsizetype n = end - at;
        while (n >= k)
            n = j * (n / k) + n % k;
        result += QString(n, c);
        copied = end;
    }
    result += QStringView(text).mid(copied);
    return result;
}

// Every occurrence of `target` replaced, repeated while a pass found one.
QString replaceRepeatedly(QString text, QStringView target, QStringView replacement)
{
    if (target.isEmpty())
        return text;
    if (target == u"\r " && replacement == u"\r")
        return dropSpacesAfterReturns(text);
    QChar c;
    QChar r;
    // Repeated passes of these two shapes end where one pass of their own would.
    if (target.size() == 1 && !replacement.contains(target.front()))
        return text.replace(target.front(), replacement.toString());
    if (isRunOf(target, &c) && (replacement.isEmpty() || (isRunOf(replacement, &r) && r == c)) &&
        replacement.size() < target.size())
        return collapseRuns(text, c, target.size(), replacement.size());
    // Repeating would never end when the replacement brings the target back: one pass then.
    if (replacement.contains(target)) {
        replaceOnce(text, target, replacement);
        return text;
    }
    QList<qsizetype> replaced;
    while (replaceOnce(text, target, replacement, &replaced)) {
        if (!occursAroundReplacements(text, target, replacement.size(), replaced))
            break;
        replaced.clear();
    }
    return text;
}

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

// The part of a page after its body tag, when the page has exactly one "<body" (or "<BODY").
QString bodyContent(const QString &page)
{
    if (!page.contains(u"<body", Qt::CaseInsensitive))
        return page;
    // Only a page with exactly one "<body" (else one "<BODY") is cut: after the first ">" behind it.
    QStringView marker = u"<body";
    qsizetype count = page.count(marker);
    if (count == 0) {
        marker = u"<BODY";
        count = page.count(marker);
    }
    if (count != 1)
        return page;
    const qsizetype close = page.indexOf(u'>', page.indexOf(marker) + marker.size());
    return close < 0 ? page : page.mid(close + 1);
}

// Line breaks for the block tags; the letters after "<" go so that stripping removes what is left.
QString markLineBreaks(QString text)
{
    static const std::array<std::pair<QString, QString>, 10> kBreaks{{
        {QStringLiteral("\n "), QStringLiteral("\r")},
        {QStringLiteral("\r "), QStringLiteral("\r")},
        {QStringLiteral("<tr>"), QStringLiteral("\r")},
        {QStringLiteral("<p"), QStringLiteral("\r\r<")},
        {QStringLiteral("<P"), QStringLiteral("\r\r<")},
        {QStringLiteral("<hr>"), QStringLiteral("\r---------------\r")},
        {QStringLiteral("<br"), QStringLiteral("\r<")},
        {QStringLiteral("<BR"), QStringLiteral("\r<")},
        {QStringLiteral("<dt"), QStringLiteral("<")},
        {QStringLiteral("<dd"), QStringLiteral(" <")},
    }};
    for (const auto &[target, replacement] : kBreaks)
        text = NSStringXtra::replace(text, target, replacement);
    return text;
}

QString deleteLastPathComponent(const QString &path)
{
    QString trimmed = path;
    while (trimmed.size() > 1 && trimmed.endsWith(u'/'))
        trimmed.chop(1);
    const qsizetype slash = trimmed.lastIndexOf(u'/');
    if (slash < 0)
        return QString();
    if (slash == 0)
        return QStringLiteral("/");
    trimmed.truncate(slash);
    while (trimmed.size() > 1 && trimmed.endsWith(u'/'))
        trimmed.chop(1);
    return trimmed;
}

} // namespace

namespace NSStringXtra {

QString correctFilename(const QString &text)
{
    QString result = text;
    for (QChar &c : result) {
        if (isRefusedInFileName(c))
            c = QLatin1Char('-');
    }
    return result;
}

QString makeHTMLReadable(const QString &text, const std::optional<QString> &startMarker)
{
    QString s = bodyContent(text);
    s = removeWhiteSpace(s, QStringList{QStringLiteral("\t")});
    s = markLineBreaks(removeExtraLines(s));
    s = trimWhiteSpace(removeExtraLines(removeWhiteSpace(stripHTML(s), QStringList())));
    if (startMarker && s.contains(*startMarker, Qt::CaseInsensitive)) {
        const qsizetype start = s.indexOf(*startMarker);
        if (start < 0)
            throw std::out_of_range("start marker found only when case is ignored");
        s = s.mid(start);
    }
    return s;
}

QString stripHTML(const QString &text)
{
    return HTMLTextFilter::stripHTML(text);
}

QString removeScriptTags(const QString &text)
{
    return HTMLTextFilter::removeScriptTags(text);
}

QString removeExtraLines(const QString &text)
{
    QString s = replace(text, QStringLiteral("\n"), QStringLiteral("\r"));
    static const std::array<std::pair<QString, QString>, 4> kSteps{{
        {QStringLiteral("\n"), QStringLiteral("\r")},
        {QStringLiteral("\r "), QStringLiteral("\r")},
        {QStringLiteral("\r\r\r\r"), QStringLiteral("\r\r")},
        {QStringLiteral("\r\r\r"), QStringLiteral("\r\r")},
    }};
    for (const auto &[target, replacement] : kSteps)
        s = replace(s, target, replacement);
    return s;
}

QString removeWhiteSpace(const QString &text, const std::optional<QStringList> &strings)
{
    const QStringList deleted =
        strings.value_or(QStringList{QStringLiteral("\r"), QStringLiteral("\n"), QStringLiteral("\t")});
    QString s = text;
    for (const QString &target : deleted)
        s = replace(s, target, QString());
    return replace(s, QStringLiteral("  "), QStringLiteral(" "));
}

bool stringIsEmpty(const QString &text)
{
    return trimWhiteSpace(text).isEmpty();
}

QString replace(const QString &text, const QString &target, const QString &replacement)
{
    return replaceRepeatedly(text, target, replacement);
}

bool containsString(const QString &text, const QString &other)
{
    return text.contains(other, Qt::CaseInsensitive);
}

QString ellipsizeAfterNWords(const QString &text, int n)
{
    const QStringList words = text.split(u' ');
    return words.mid(0, std::max(n, 0)).join(u' ');
}

QString wordsUpTo(const QString &text, int n)
{
    if (text.size() <= n)
        return text;
    QString result;
    for (const QString &word : correctFilename(text).split(u' ')) {
        if (trimWhiteSpace(result).size() + 1 + word.size() <= n)
            result += u' ' + word;
    }
    if (n > result.size()) {
        // Never half a surrogate pair: a lone one has no UTF-8 form, and a file name cannot hold it.
        const bool splitsPair = n > 0 && text.at(n - 1).isHighSurrogate() && text.at(n).isLowSurrogate();
        result = text.left(std::max(splitsPair ? n - 1 : n, 0));
    }
    return trimWhiteSpace(result);
}

QString stripSlashes(const QString &text)
{
    QString result = text;
    return result.replace(QStringLiteral("\\'"), QStringLiteral("'"));
}

QString removeNumberOfPathComponents(const QString &text, int n)
{
    QString result = text;
    for (int i = 0; i < n; ++i)
        result = deleteLastPathComponent(result);
    return result;
}

QString reverseString(const QString &text)
{
    QString result = text;
    std::reverse(result.begin(), result.end());
    return result;
}

QString removeCdataStuff(const QString &text)
{
    const QString open = QStringLiteral("<![CDATA[");
    const QString close = QStringLiteral("]]>");
    if (!text.contains(open, Qt::CaseInsensitive) || !text.contains(close, Qt::CaseInsensitive))
        return text;
    return replace(replace(text, open, QString()), close, QString());
}

QString URLSafe(const QString &text)
{
    // What CFURLCreateStringByAddingPercentEscapes leaves alone: the characters legal in a URL,
    // reserved ones included, and "%" so that existing escapes survive.
    static const QByteArray kKept = QByteArrayLiteral("!$&'()*+,-./:;=?@_~#%[]");
    QByteArray escaped;
    for (const char byte : text.toUtf8()) {
        const auto c = uchar(byte);
        if ((c < 0x80 && std::isalnum(c)) || kKept.contains(byte)) {
            escaped += byte;
        } else {
            escaped += '%';
            escaped += QByteArray::number(c, 16).toUpper().rightJustified(2, '0');
        }
    }
    const QString result = QString::fromLatin1(escaped);
    if (result.startsWith(u"feed://"))
        return replace(result, QStringLiteral("feed://"), QStringLiteral("http://"));
    return result;
}

char ROT13Character(char c)
{
    if ((c >= 'a' && c <= 'm') || (c >= 'A' && c <= 'M'))
        return char(c + 13);
    if ((c >= 'n' && c <= 'z') || (c >= 'N' && c <= 'Z'))
        return char(c - 13);
    return c;
}

QString stringByEncryptingWithROT13(const QString &text)
{
    QByteArray bytes;
    bytes.reserve(text.size());
    for (const QChar c : text)
        bytes += ROT13Character(char(c.unicode() & 0xFF));
    return QString::fromLatin1(bytes);
}

QString formatSeconds(uint64_t seconds, bool withWords)
{
    const float f = float(seconds);
    const int s = int(int32_t(uint32_t(seconds)));
    if (withWords) {
        if (f < 60)
            return QString::asprintf("%d seconds", s);
        if (f < 3600)
            return QString::asprintf("%.1f minutes", double(f / 60));
        if (f < 86400)
            return QString::asprintf("%.1f hours", double(f / 3600));
        return QString::asprintf("%.1f days", double(f / 86400));
    }
    if (f < 60)
        return QString::asprintf("0:%02d", s);
    if (f < 3600)
        return QString::asprintf("%d:%02d", s / 60, s % 60);
    return QString::asprintf("%d:%02d:%02d", s / 3600, (s / 60) % 60, s % 60);
}

QString formatBytes(uint64_t bytes)
{
    const double b = double(bytes);
    // The original handed the double to "%d", which printed 0 whatever the count.
    if (b < 1024)
        return QStringLiteral("0 B");
    if (b < 1048576)
        return QString::asprintf("%.f KB", b / 1024);
    if (b < 1073741824)
        return QString::asprintf("%.1f MB", b / 1024 / 1024);
    return QString::asprintf("%.1f GB", b / 1024 / 1024 / 1024);
}

QString trimWhiteSpace(const QString &text)
{
    return text.trimmed();
}

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
        result = replaceRepeatedly(result, target, replacement);
    return decodeNumericReferences(result);
}

QString stripHTMLSimple(const QString &text)
{
    QString result;
    result.reserve(text.size());
    int depth = 0;
    for (const QChar c : text) {
        if (c == u'<') {
            ++depth;
        } else if (c == u'>') {
            if (depth-- == 1)
                result += u' ';
        } else if (depth == 0) {
            result += c;
        }
    }
    return trimWhiteSpace(result);
}

} // namespace NSStringXtra
