#pragma once

#include <QByteArray>
#include <QString>

#include <memory>

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
    // Null when the bytes are not well-formed XML. Whitespace-only text is dropped.
    static std::shared_ptr<XMLDocument> parse(const QByteArray &data, const QString &baseUrl = QString());

    _xmlDoc *doc() const { return m_doc; }
    // The text an entity reference of this document stands for, when it is known.
    QString entityText(const QString &name) const;

private:
    XMLDocument(_xmlDoc *doc, _xmlDoc *entities);

    _xmlDoc *m_doc;
    _xmlDoc *m_entities;
};
