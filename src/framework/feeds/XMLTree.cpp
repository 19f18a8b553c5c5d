#include "XMLTree.h"

#include "XMLDocument_p.h"
#include "XMLNodeText_p.h"
#include "net/TVRDownloader.h"
#include "text/NSStringXtra.h"

#include <QFile>

#include <libxml/parserInternals.h>
#include <libxml/tree.h>

namespace {

using namespace XMLNodeText;

const xmlChar *xmlText(const QByteArray &text)
{
    return reinterpret_cast<const xmlChar *>(text.constData());
}

XMLTree::NodeType typeOf(const xmlNode &node)
{
    switch (node.type) {
    case XML_DOCUMENT_NODE:
    case XML_HTML_DOCUMENT_NODE:
        return XMLTree::Document;
    case XML_ELEMENT_NODE:
        return XMLTree::Element;
    case XML_ATTRIBUTE_NODE:
        return XMLTree::Attribute;
    case XML_PI_NODE:
        return XMLTree::ProcessingInstruction;
    case XML_COMMENT_NODE:
        return XMLTree::Comment;
    case XML_CDATA_SECTION_NODE:
        return XMLTree::CDATASection;
    case XML_DOCUMENT_FRAG_NODE:
        return XMLTree::DocumentFragment;
    case XML_ENTITY_NODE:
    case XML_ENTITY_DECL:
        return XMLTree::Entity;
    case XML_ENTITY_REF_NODE:
        return XMLTree::EntityReference;
    case XML_DOCUMENT_TYPE_NODE:
    case XML_DTD_NODE:
        return XMLTree::DocumentType;
    case XML_NOTATION_NODE:
        return XMLTree::Notation;
    case XML_ELEMENT_DECL:
        return XMLTree::ElementTypeDeclaration;
    case XML_ATTRIBUTE_DECL:
        return XMLTree::AttributeListDeclaration;
    default:
        return XMLTree::Text;
    }
}

// An entity reference's `children` point at the entity's declaration, not at nodes of the tree,
// and a DTD's are declarations; only these kinds have children of their own.
xmlNodePtr firstChild(const xmlNode &node)
{
    switch (node.type) {
    case XML_DOCUMENT_NODE:
    case XML_HTML_DOCUMENT_NODE:
    case XML_ELEMENT_NODE:
    case XML_DOCUMENT_FRAG_NODE:
        return node.children;
    default:
        return nullptr;
    }
}

void collectText(const xmlNode &node, QString &text)
{
    for (const xmlNode *child = firstChild(node); child; child = child->next) {
        switch (typeOf(*child)) {
        case XMLTree::Text:
            text += fromXml(child->content);
            break;
        case XMLTree::EntityReference:
            text += entityCharacters(fromXml(child->name));
            break;
        case XMLTree::Element:
            collectText(*child, text);
            break;
        default:
            break;
        }
    }
}

// Null when nothing matches.
xmlNodePtr lastDescendantNamed(const xmlNode &node, const QString &name)
{
    xmlNodePtr found = nullptr;
    for (xmlNodePtr child = firstChild(node); child; child = child->next) {
        if (nodeString(*child) == name)
            found = child;
        else if (child->type == XML_ELEMENT_NODE)
            if (xmlNodePtr inner = lastDescendantNamed(*child, name))
                found = inner;
    }
    return found;
}

xmlNodePtr newNode(XMLTree::NodeType type, const QString &name)
{
    const QByteArray utf8 = name.toUtf8();
    switch (type) {
    case XMLTree::Text:
        return xmlNewText(xmlText(utf8));
    case XMLTree::CDATASection:
        return xmlNewCDataBlock(nullptr, xmlText(utf8), int(utf8.size()));
    case XMLTree::Comment:
        return xmlNewComment(xmlText(utf8));
    case XMLTree::ProcessingInstruction:
        return xmlNewPI(xmlText(utf8), nullptr);
    case XMLTree::EntityReference:
        return xmlNewReference(nullptr, xmlText(utf8));
    case XMLTree::Element:
        return xmlNewNode(nullptr, xmlText(utf8));
    default:
        // Documents and declarations are not made one node at a time.
        return nullptr;
    }
}

} // namespace

XMLTree::XMLTree()
    : m_document(XMLDocument::createEmpty())
    , m_node(reinterpret_cast<xmlNodePtr>(m_document->doc()))
    , m_hasNode(false)
{}

XMLTree::XMLTree(std::shared_ptr<XMLDocument> document, xmlNodePtr node)
    : m_document(std::move(document))
    , m_node(node)
{}

std::shared_ptr<XMLTree> XMLTree::wrap(xmlNodePtr node) const
{
    if (!node)
        return nullptr;
    return std::shared_ptr<XMLTree>(new XMLTree(m_document, node));
}

std::shared_ptr<XMLTree> XMLTree::documentTree()
{
    return std::make_shared<XMLTree>();
}

std::shared_ptr<XMLTree> XMLTree::treeNodeWithType(NodeType type, const QString &name, const Attributes &attributes)
{
    xmlNodePtr node = newNode(type, name);
    if (!node)
        return nullptr;
    if (node->type == XML_ELEMENT_NODE) {
        for (const auto &[key, value] : attributes)
            xmlNewProp(node, xmlText(key.toUtf8()), xmlText(value.toUtf8()));
    }
    std::shared_ptr<XMLDocument> document = XMLDocument::adopt(node);
    return std::shared_ptr<XMLTree>(new XMLTree(document, node));
}

std::shared_ptr<XMLTree> XMLTree::treeWithName(const QString &name, const QString &text, const Attributes &attributes)
{
    std::shared_ptr<XMLTree> tree = treeNodeWithType(Element, name, attributes);
    if (tree && !text.isNull()) {
        // The text is escaped here once, so the node is written out as it stands.
        const QByteArray escaped = NSStringXtra::stringByEscapingXMLCharacters(text).toUtf8();
        xmlNodePtr child = xmlNewTextLen(xmlText(escaped), int(escaped.size()));
        child->name = xmlStringTextNoenc;
        xmlAddChild(tree->m_node, child);
    }
    return tree;
}

std::shared_ptr<XMLTree> XMLTree::treeWithURL(const QUrl &url)
{
    if (url.isEmpty())
        return nullptr;
    QByteArray data;
    if (url.isLocalFile()) {
        QFile file(url.toLocalFile());
        if (!file.open(QIODevice::ReadOnly))
            return nullptr;
        data = file.readAll();
    } else {
        data = TVRDownloader::downloadData(url);
    }
    return treeWithData(data, url);
}

std::shared_ptr<XMLTree> XMLTree::treeWithData(const QByteArray &data, const QUrl &resolvingUrl, QString *problem)
{
    std::shared_ptr<XMLDocument> document =
        XMLDocument::parse(data, resolvingUrl.toString(), XMLDocument::Leniency::Strict, problem);
    if (!document)
        return nullptr;
    return std::shared_ptr<XMLTree>(new XMLTree(document, reinterpret_cast<xmlNodePtr>(document->doc())));
}

int XMLTree::count() const
{
    int total = 0;
    for (const xmlNode *child = firstChild(*m_node); child; child = child->next)
        ++total;
    return total;
}

std::shared_ptr<XMLTree> XMLTree::childAtIndex(int index) const
{
    if (index < 0)
        return nullptr;
    xmlNodePtr child = firstChild(*m_node);
    for (int i = 0; child && i < index; ++i)
        child = child->next;
    return wrap(child);
}

QList<std::shared_ptr<XMLTree>> XMLTree::children() const
{
    QList<std::shared_ptr<XMLTree>> result;
    for (xmlNodePtr child = firstChild(*m_node); child; child = child->next)
        result.append(wrap(child));
    return result;
}

std::shared_ptr<XMLTree> XMLTree::rootTree() const
{
    return count() >= 2 ? childAtIndex(1) : nullptr;
}

std::shared_ptr<XMLTree> XMLTree::parent() const
{
    return wrap(m_node->parent);
}

void XMLTree::appendTree(const XMLTree &other)
{
    xmlNodePtr copy = xmlDocCopyNode(other.m_node, m_document->doc(), 1);
    if (copy)
        xmlAddChild(m_node, copy);
}

std::shared_ptr<XMLTree> XMLTree::childNamed(const QString &name) const
{
    for (xmlNodePtr child = firstChild(*m_node); child; child = child->next) {
        if (nodeString(*child) == name)
            return wrap(child);
    }
    return nullptr;
}

std::shared_ptr<XMLTree> XMLTree::childNamed(const QString &name, const QString &attribute, const QString &value) const
{
    for (xmlNodePtr child = firstChild(*m_node); child; child = child->next) {
        if (child->type != XML_ELEMENT_NODE || nodeString(*child) != name)
            continue;
        std::shared_ptr<XMLTree> candidate = wrap(child);
        if (candidate->attributeNamed(attribute) == value)
            return candidate;
    }
    return nullptr;
}

std::shared_ptr<XMLTree> XMLTree::descendentNamed(const QString &name) const
{
    return wrap(lastDescendantNamed(*m_node, name));
}

QString XMLTree::name() const
{
    return m_hasNode ? nodeString(*m_node) : QString();
}

XMLTree::NodeType XMLTree::type() const
{
    return typeOf(*m_node);
}

XMLTree::Attributes XMLTree::attributes() const
{
    Attributes result;
    if (m_node->type != XML_ELEMENT_NODE)
        return result;
    for (const xmlAttr *attribute = m_node->properties; attribute; attribute = attribute->next)
        result.append({attributeName(*attribute), attributeValue(*attribute, *m_document)});
    return result;
}

QString XMLTree::attributeNamed(const QString &name) const
{
    for (const auto &[key, value] : attributes()) {
        if (key == name)
            return value;
    }
    return QString();
}

QString XMLTree::description() const
{
    const NodeType kind = type();
    if (kind != Document && kind != Element)
        return nodeString(*m_node);
    QString text = QStringLiteral("");
    collectText(*m_node, text);
    return text;
}

QByteArray XMLTree::XMLData() const
{
    if (m_node->type != XML_DOCUMENT_NODE)
        return serialised(m_node);
    // A document is written child by child, its declaration being one of them.
    QByteArray bytes;
    for (xmlNodePtr child = m_node->children; child; child = child->next)
        bytes += serialised(child);
    return bytes;
}

QString XMLTree::xml() const
{
    const QByteArray bytes = XMLData();
    return bytes.isEmpty() ? QString() : QString::fromUtf8(bytes);
}

bool XMLTree::entitiesExpandTooFar() const
{
    return m_document->entitiesExpandTooFar();
}
