#pragma once

#include "tivaro_export.h"

#include <QByteArray>
#include <QList>
#include <QPair>
#include <QString>
#include <QUrl>

#include <memory>

class XMLDocument;
struct _xmlNode;

// One node of an XML document, over libxml2. Wrappers are cheap and made afresh by every lookup;
// each keeps the whole document alive, so a child outlives the wrapper it came from.
class TIVARO_EXPORT XMLTree
{
public:
    // The node kinds, numbered as the Mac XML tree numbered them.
    enum NodeType {
        Document = 1,
        Element = 2,
        Attribute = 3,
        ProcessingInstruction = 4,
        Comment = 5,
        Text = 6,
        CDATASection = 7,
        DocumentFragment = 8,
        Entity = 9,
        EntityReference = 10,
        DocumentType = 11,
        Whitespace = 12,
        Notation = 13,
        ElementTypeDeclaration = 14,
        AttributeListDeclaration = 15,
    };
    // Attributes in the order they are written.
    using Attributes = QList<QPair<QString, QString>>;

    // A new document: an empty document node holding the declaration `<?xml version="1.0" encoding="utf-8"?>`.
    XMLTree();

    static std::shared_ptr<XMLTree> documentTree();
    // An element with the attributes and, when `text` is not null, a text child holding it escaped.
    static std::shared_ptr<XMLTree> treeWithName(const QString &name, const QString &text = QString(),
                                                 const Attributes &attributes = {});
    // An element, text, CDATA section, comment, instruction or entity reference; null for other kinds.
    static std::shared_ptr<XMLTree> treeNodeWithType(NodeType type, const QString &name,
                                                     const Attributes &attributes = {});
    // The document read from a file or downloaded; null when there is none or it is not well-formed.
    static std::shared_ptr<XMLTree> treeWithURL(const QUrl &url);
    // Null for null data and for bytes that are not well-formed XML, with *problem saying why in
    // words for the user.
    static std::shared_ptr<XMLTree> treeWithData(const QByteArray &data, const QUrl &resolvingUrl = QUrl(),
                                                 QString *problem = nullptr);

    int count() const;
    std::shared_ptr<XMLTree> childAtIndex(int index) const;
    // All children; empty when there are none.
    QList<std::shared_ptr<XMLTree>> children() const;
    // Child 1 of a document when it has at least two (the first being its XML declaration).
    std::shared_ptr<XMLTree> rootTree() const;
    std::shared_ptr<XMLTree> parent() const;
    // Appends a copy of `other`'s subtree, so both trees stay whole whichever is freed first.
    void appendTree(const XMLTree &other);

    std::shared_ptr<XMLTree> childNamed(const QString &name) const;
    std::shared_ptr<XMLTree> childNamed(const QString &name, const QString &attribute, const QString &value) const;
    // The last match in document order; the inside of a match is not searched.
    std::shared_ptr<XMLTree> descendentNamed(const QString &name) const;

    // Element name with its prefix, text of a text node, target of an instruction, and so on.
    QString name() const;
    NodeType type() const;
    // Empty for any node that is not an element.
    Attributes attributes() const;
    // Null when absent.
    QString attributeNamed(const QString &name) const;

    // The text content: text and the few known entity references of the subtree; CDATA is left out.
    QString description() const;
    QString stringValue() const { return description(); }
    QByteArray XMLData() const;
    // True once the entity references of this tree's document have made more text than it may
    // (see XMLDocument); a reader then refuses the document, whose values have stopped growing.
    bool entitiesExpandTooFar() const;
    // XMLData() as UTF-8; null when empty.
    QString xml() const;

private:
    XMLTree(std::shared_ptr<XMLDocument> document, _xmlNode *node);
    std::shared_ptr<XMLTree> wrap(_xmlNode *node) const;

    std::shared_ptr<XMLDocument> m_document;
    _xmlNode *m_node = nullptr;
    // False only for a tree made by the constructor, whose name is null.
    bool m_hasNode = true;
};
