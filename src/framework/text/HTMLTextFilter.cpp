#include "HTMLTextFilter_p.h"

#include "HTMLTokenizer_p.h"

#include <libxml/HTMLparser.h>

#include <QSet>

namespace {

// Numeric references in the range from "&#" (ending at a ";" when there is one); -1 when none.
std::pair<char32_t, qsizetype> numericReference(QStringView text, qsizetype amp)
{
    qsizetype at = amp + 2;
    const bool hex = at < text.size() && (text[at] == u'x' || text[at] == u'X');
    at += hex ? 1 : 0;
    const qsizetype digitsStart = at;
    uint64_t value = 0;
    for (; at < text.size(); ++at) {
        const int digit = QChar(text[at]).digitValue();
        const char16_t c = text[at].toLower().unicode();
        const int hexLetter = hex && c >= u'a' && c <= u'f' ? c - u'a' + 10 : -1;
        const int valueOf = text[at].unicode() < 0x80 && digit >= 0 ? digit : hexLetter;
        if (valueOf < 0)
            break;
        value = std::min<uint64_t>(value * (hex ? 16 : 10) + uint64_t(valueOf), 0x110000);
    }
    if (at == digitsStart)
        return {0, -1};
    const qsizetype end = at < text.size() && text[at] == u';' ? at + 1 : at;
    const bool isCharacter = value != 0 && value < 0x110000 && (value < 0xD800 || value > 0xDFFF);
    return {isCharacter ? char32_t(value) : char32_t(0xFFFD), end};
}

std::pair<char32_t, qsizetype> namedReference(QStringView text, qsizetype amp)
{
    constexpr qsizetype kLongestName = 8; // "thetasym"
    const qsizetype semiInName = text.mid(amp + 1, kLongestName + 1).indexOf(u';');
    if (semiInName <= 0)
        return {0, -1};
    const qsizetype semi = amp + 1 + semiInName;
    const QStringView name = text.mid(amp + 1, semiInName);
    for (const QChar c : name) {
        if (c.unicode() >= 0x80 || !c.isLetterOrNumber())
            return {0, -1};
    }
    const QByteArray latin = name.toLatin1();
    const htmlEntityDesc *entity = htmlEntityLookup(reinterpret_cast<const xmlChar *>(latin.constData()));
    if (entity == nullptr)
        return {0, -1};
    return {entity->value == 0xA0 ? char32_t(u' ') : char32_t(entity->value), semi + 1};
}

} // namespace

QString HTMLTextFilter::stripHTML(const QString &html)
{
    QString text;
    text.reserve(html.size() / 2);
    HTMLTokenizer tokenizer(html);
    for (HTMLTokenizer::Token token = tokenizer.next(); token.kind != HTMLTokenizer::Kind::End;
         token = tokenizer.next()) {
        if (token.kind == HTMLTokenizer::Kind::Text)
            text += decodeEntities(token.source);
        else if (token.kind == HTMLTokenizer::Kind::EndTag)
            text += separatorAfter(token.name);
    }
    return text;
}

QString HTMLTextFilter::removeScriptTags(const QString &html)
{
    QString result;
    result.reserve(html.size());
    HTMLTokenizer tokenizer(html);
    bool inScript = false;
    for (HTMLTokenizer::Token token = tokenizer.next(); token.kind != HTMLTokenizer::Kind::End;
         token = tokenizer.next()) {
        const bool isScriptTag = token.name == u"script";
        if (token.kind == HTMLTokenizer::Kind::StartTag && isScriptTag)
            inScript = !token.source.endsWith(u"/>");
        else if (token.kind == HTMLTokenizer::Kind::EndTag && isScriptTag)
            inScript = false;
        else if (!inScript)
            result += token.source;
    }
    return result;
}

QString HTMLTextFilter::decodeEntities(QStringView text)
{
    QString result;
    result.reserve(text.size());
    qsizetype copied = 0;
    for (qsizetype amp = text.indexOf(u'&'); amp >= 0; amp = text.indexOf(u'&', amp + 1)) {
        const bool numeric = amp + 1 < text.size() && text[amp + 1] == u'#';
        const auto [character, end] = numeric ? numericReference(text, amp) : namedReference(text, amp);
        if (end < 0)
            continue;
        result += text.mid(copied, amp - copied);
        result += QString::fromUcs4(&character, 1);
        copied = end;
        amp = end - 1;
    }
    result += text.mid(copied);
    return result;
}

// What stands between the text before and after the end of an element.
QString HTMLTextFilter::separatorAfter(const QString &endTagName)
{
    static const QSet<QString> kBlocks{
        QStringLiteral("address"),    QStringLiteral("article"), QStringLiteral("aside"),  QStringLiteral("blockquote"),
        QStringLiteral("dd"),         QStringLiteral("div"),     QStringLiteral("dl"),     QStringLiteral("dt"),
        QStringLiteral("figcaption"), QStringLiteral("figure"),  QStringLiteral("footer"), QStringLiteral("h1"),
        QStringLiteral("h2"),         QStringLiteral("h3"),      QStringLiteral("h4"),     QStringLiteral("h5"),
        QStringLiteral("h6"),         QStringLiteral("header"),  QStringLiteral("li"),     QStringLiteral("nav"),
        QStringLiteral("ol"),         QStringLiteral("p"),       QStringLiteral("pre"),    QStringLiteral("section"),
        QStringLiteral("table"),      QStringLiteral("title"),   QStringLiteral("tr"),     QStringLiteral("ul"),
    };
    if (kBlocks.contains(endTagName))
        return QStringLiteral("\n");
    if (endTagName == u"td" || endTagName == u"th")
        return QStringLiteral(" ");
    return QString();
}
