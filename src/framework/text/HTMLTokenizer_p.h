#pragma once

#include <QString>
#include <QStringView>

#include <limits>

// Splits HTML into text, tags and markup the way a browser's tokenizer does, but forgiving about
// what the page-to-text steps leave behind: "<" followed by white space and a later ">" (the rest of
// a "<p class=x>" whose name was cut off) counts as a tag. Quoted attribute values may hold ">",
// comments end at "-->", a tag that never closes runs to the end, and the content of script and
// style elements is one raw token (a script's "<!-- <script></script> -->" does not end it).
class HTMLTokenizer
{
public:
    enum class Kind {
        Text,
        StartTag,
        EndTag,
        // Comments, declarations (<!DOCTYPE>, <![CDATA[...]>) and processing instructions.
        Markup,
        // The content of a script or style element.
        RawText,
        End,
    };
    struct Token {
        Kind kind = Kind::End;
        // The token's source text.
        QStringView source;
        // Lower-case element name of a start or end tag.
        QString name;
    };

    explicit HTMLTokenizer(QStringView html)
        : m_html(html)
    {}

    Token next();

private:
    Token markup(qsizetype start);
    Token tag(qsizetype start, bool isEnd);
    Token rawText();
    qsizetype tagEnd(qsizetype from);
    qsizetype closingQuote(qsizetype at);
    qsizetype scriptEnd(qsizetype from) const;
    qsizetype closingTag(qsizetype from, QStringView name) const;
    bool isTagStart(qsizetype at) const;
    Token token(Kind kind, qsizetype start, qsizetype end, const QString &name = QString());

    QStringView m_html;
    qsizetype m_position = 0;
    // Set after a script or style start tag: the element whose raw content comes next.
    QString m_rawElement;
    qsizetype m_doubleQuoteAbsentFrom = std::numeric_limits<qsizetype>::max();
    qsizetype m_singleQuoteAbsentFrom = std::numeric_limits<qsizetype>::max();
};
