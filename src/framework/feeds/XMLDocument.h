#pragma once

#include <QByteArray>
#include <QString>

#include <memory>
#include <optional>

struct _xmlDoc;
struct _xmlNode;

// Owns one libxml2 document for every XMLTree that stands for one of its nodes. It also owns
// the entities that stand in for HTML named entities (&rsquo;, &nbsp;, ...) met while parsing:
// they live in a document of their own so that the parsed one keeps the children it had.
class XMLDocument
{
public:
    ~XMLDocument();
    XMLDocument(const XMLDocument &) = delete;
    XMLDocument &operator=(const XMLDocument &) = delete;

    // A document holding only an XML declaration node.
    static std::shared_ptr<XMLDocument> createEmpty();
    // A document whose only child is `node`, which it then owns.
    static std::shared_ptr<XMLDocument> adopt(_xmlNode *node);
    // How much a parse forgives.
    enum class Leniency {
        // Well-formed XML only.
        Strict,
        // What real feeds need: a bare "&" (as in "?a=1&b=2") is read as "&amp;", a document
        // cut short keeps what came before the cut, and one that names no encoding and is not
        // UTF-8 is read as windows-1252. Strict parsing is tried first, so a
        // well-formed document reads the same either way.
        Forgiving,
    };

    // Null when the bytes are not well-formed XML (or, forgiving, when no root element comes out
    // of them). Whitespace-only text is dropped.
    static std::shared_ptr<XMLDocument> parse(const QByteArray &data, const QString &baseUrl = QString(),
                                              Leniency leniency = Leniency::Strict);
    // A bare "&" of content or attributes written "&amp;", and "&#X" written "&#x"; CDATA sections
    // and comments are left alone. Byte-wise, so not for UTF-16 or UTF-32 input.
    static QByteArray escapeBareAmpersands(const QByteArray &data);
    // True for the Forgiving parses that needed libxml2's recovery.
    bool recovered() const { return m_recovered; }

    _xmlDoc *doc() const { return m_doc; }
    // The text an entity reference of this document stands for, when it is known.
    QString entityText(const QString &name) const;
    // The text of an internal entity the document declares itself, when that text is plain
    // (holds no further reference or markup, so it cannot grow); nullopt otherwise.
    std::optional<QString> declaredEntityText(const QString &name) const;

private:
    XMLDocument(_xmlDoc *doc, _xmlDoc *entities);
    // `encoding` overrides what the document declares; null leaves it to the document.
    static std::shared_ptr<XMLDocument> parseOnce(const QByteArray &data, const QString &baseUrl, bool recover,
                                                  const char *encoding);

    _xmlDoc *m_doc;
    _xmlDoc *m_entities;
    bool m_recovered = false;
};
