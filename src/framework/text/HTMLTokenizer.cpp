#include "HTMLTokenizer_p.h"

#include <utility>

namespace {

bool isAsciiLetter(QChar c)
{
    return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z');
}

bool isTagSpace(QChar c)
{
    return c == u' ' || c == u'\t' || c == u'\n' || c == u'\r' || c == u'\f';
}

bool endsName(QStringView text, qsizetype at)
{
    return at >= text.size() || isTagSpace(text[at]) || text[at] == u'/' || text[at] == u'>';
}

} // namespace

HTMLTokenizer::Token HTMLTokenizer::next()
{
    if (!m_rawElement.isEmpty())
        return rawText();
    if (m_position >= m_html.size())
        return Token{};
    const qsizetype start = m_position;
    if (isTagStart(start)) {
        const QChar after = start + 1 < m_html.size() ? m_html[start + 1] : QChar();
        if (after == u'!' || after == u'?')
            return markup(start);
        return tag(start, after == u'/');
    }
    qsizetype end = start + 1;
    while (end < m_html.size() && !isTagStart(end))
        ++end;
    return token(Kind::Text, start, end);
}

bool HTMLTokenizer::isTagStart(qsizetype at) const
{
    if (m_html[at] != u'<' || at + 1 >= m_html.size())
        return false;
    const QChar c = m_html[at + 1];
    if (isAsciiLetter(c) || c == u'/' || c == u'!' || c == u'?' || c == u'>')
        return true;
    // "< class=x>": what is left of a tag whose name was replaced. "a < b" stays text. The scan
    // stops at the next "<", so a text of many "<" is still read in linear time.
    if (!isTagSpace(c))
        return false;
    for (qsizetype next = at + 2; next < m_html.size(); ++next) {
        if (m_html[next] == u'>' || m_html[next] == u'<')
            return m_html[next] == u'>';
    }
    return false;
}

HTMLTokenizer::Token HTMLTokenizer::markup(qsizetype start)
{
    if (m_html.mid(start).startsWith(u"<!--")) {
        // "<!-->" and "<!--->" are complete, empty comments.
        qsizetype close = m_html.indexOf(u"-->", start + 2);
        if (m_html.mid(start).startsWith(u"<!-->"))
            close = start + 2;
        else if (m_html.mid(start).startsWith(u"<!--->"))
            close = start + 3;
        return token(Kind::Markup, start, close < 0 ? m_html.size() : close + 3);
    }
    const qsizetype close = m_html.indexOf(u'>', start + 2);
    return token(Kind::Markup, start, close < 0 ? m_html.size() : close + 1);
}

HTMLTokenizer::Token HTMLTokenizer::tag(qsizetype start, bool isEnd)
{
    qsizetype nameEnd = start + (isEnd ? 2 : 1);
    while (!endsName(m_html, nameEnd))
        ++nameEnd;
    const qsizetype nameStart = start + (isEnd ? 2 : 1);
    const QString name = m_html.mid(nameStart, nameEnd - nameStart).toString().toLower();
    const qsizetype end = tagEnd(nameEnd);
    const bool selfClosing = end >= 2 && m_html[end - 1] == u'>' && m_html[end - 2] == u'/';
    if (!isEnd && !selfClosing && (name == u"script" || name == u"style"))
        m_rawElement = name;
    return token(isEnd ? Kind::EndTag : Kind::StartTag, start, end, name);
}

// Just past the ">" that ends a tag whose attributes start at `from`, or the end of the text.
qsizetype HTMLTokenizer::tagEnd(qsizetype from)
{
    qsizetype at = from;
    while (at < m_html.size()) {
        const QChar c = m_html[at];
        if (c == u'>')
            return at + 1;
        if (c == u'=') {
            ++at;
            while (at < m_html.size() && isTagSpace(m_html[at]))
                ++at;
            if (at < m_html.size() && (m_html[at] == u'"' || m_html[at] == u'\'')) {
                // A quote left open would swallow the page; it ends at the next ">" instead.
                const qsizetype quote = closingQuote(at);
                if (quote >= 0) {
                    at = quote + 1;
                    continue;
                }
            }
            continue;
        }
        ++at;
    }
    return m_html.size();
}

// The quote that closes the one at `at`, or -1. Once a kind of quote is missing from some point on,
// later tags do not search for it again.
qsizetype HTMLTokenizer::closingQuote(qsizetype at)
{
    qsizetype &absentFrom = m_html[at] == u'"' ? m_doubleQuoteAbsentFrom : m_singleQuoteAbsentFrom;
    if (at + 1 >= absentFrom)
        return -1;
    const qsizetype quote = m_html.indexOf(m_html[at], at + 1);
    if (quote < 0)
        absentFrom = at + 1;
    return quote;
}

HTMLTokenizer::Token HTMLTokenizer::rawText()
{
    const QString element = std::exchange(m_rawElement, QString());
    const qsizetype start = m_position;
    const qsizetype end = element == u"script" ? scriptEnd(start) : closingTag(start, element);
    if (end == start)
        return next();
    return token(Kind::RawText, start, end);
}

// Where "</name" followed by a delimiter begins, at or after `from`; the end of the text if nowhere.
qsizetype HTMLTokenizer::closingTag(qsizetype from, QStringView name) const
{
    for (qsizetype at = m_html.indexOf(u"</", from); at >= 0; at = m_html.indexOf(u"</", at + 2)) {
        if (m_html.mid(at + 2).startsWith(name, Qt::CaseInsensitive) && endsName(m_html, at + 2 + name.size()))
            return at;
    }
    return m_html.size();
}

// The end of a script's content. Inside "<!--" a "<script" starts a nested, escaped script whose
// "</script>" does not end the real one; "-->" leaves the escape.
qsizetype HTMLTokenizer::scriptEnd(qsizetype from) const
{
    enum { Plain, Escaped, DoubleEscaped } state = Plain;
    const auto tagAt = [this](qsizetype at, QStringView opening) {
        return m_html.mid(at).startsWith(opening, Qt::CaseInsensitive) && endsName(m_html, at + opening.size());
    };
    for (qsizetype at = from; at < m_html.size(); ++at) {
        if (m_html[at] == u'-' && m_html.mid(at).startsWith(u"-->")) {
            state = Plain;
            at += 2;
        } else if (m_html[at] != u'<') {
            continue;
        } else if (state == Plain && m_html.mid(at).startsWith(u"<!--")) {
            state = Escaped;
            at += 3;
        } else if (state != DoubleEscaped && tagAt(at, u"</script")) {
            return at;
        } else if (state == Escaped && tagAt(at, u"<script")) {
            state = DoubleEscaped;
        } else if (state == DoubleEscaped && tagAt(at, u"</script")) {
            state = Escaped;
        }
    }
    return m_html.size();
}

HTMLTokenizer::Token HTMLTokenizer::token(Kind kind, qsizetype start, qsizetype end, const QString &name)
{
    m_position = end;
    return Token{kind, m_html.mid(start, end - start), name};
}
