// HTML to readable text.
#include "HTMLTextFilter_p.h"
#include "NSStringXtra.h"

#include <array>
#include <stdexcept>
#include <utility>

namespace {

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

} // namespace

namespace NSStringXtra {

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
