#pragma once

#include <QByteArray>
#include <QString>

class XMLDocument;
struct _xmlAttr;
struct _xmlNode;

// Names and text of libxml2 nodes as the XML tree and the feed parser both show them.
namespace XMLNodeText {

// UTF-8 from libxml2; null for a null pointer.
QString fromXml(const unsigned char *text);
// libxml2 keeps an element's local name and its prefix apart; both readers show "prefix:name".
QString qualifiedName(const _xmlNode &node);
// Text of a text, CDATA or comment node, "" for a document, the qualified name otherwise.
QString nodeString(const _xmlNode &node);
QString attributeName(const _xmlAttr &attribute);
// Text and references alike: a reference gives the text of its entity when that is known here.
QString attributeValue(const _xmlAttr &attribute, const XMLDocument &document);
// The characters the few references the readers know stand for; null for any other name.
QString entityCharacters(const QString &name);
// The node and its subtree written out as UTF-8.
QByteArray serialised(_xmlNode *node);

} // namespace XMLNodeText
