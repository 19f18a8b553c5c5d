#include "TVROPMLDocument.h"

#include "TVROPMLNode.h"
#include "XMLDocument_p.h"
#include "XMLTree.h"
#include "net/TVRDownloader.h"
#include "text/NSStringXtra.h"

#include <QFile>

namespace {

// An element only: a document type named "opml" comes before the element of that name.
std::shared_ptr<XMLTree> childElement(const XMLTree &parent, const QString &name)
{
    for (const std::shared_ptr<XMLTree> &child : parent.children()) {
        if (child->type() == XMLTree::Element && child->name() == name)
            return child;
    }
    return nullptr;
}

} // namespace

std::shared_ptr<TVROPMLDocument> TVROPMLDocument::documentWithContentsOfFile(const QString &path)
{
    QFile file(path);
    return documentWithData(file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray());
}

std::shared_ptr<TVROPMLDocument> TVROPMLDocument::documentWithContentsOfURL(const QUrl &url)
{
    return documentWithData(TVRDownloader::downloadData(url));
}

std::shared_ptr<TVROPMLDocument> TVROPMLDocument::documentWithData(const QByteArray &data)
{
    auto document = std::make_shared<TVROPMLDocument>();
    document->createWithData(data);
    return document;
}

void TVROPMLDocument::createWithData(const QByteArray &data)
{
    if (data.isEmpty()) {
        m_problem = QStringLiteral("it is empty or cannot be read");
        return;
    }
    const std::shared_ptr<XMLTree> tree = XMLTree::treeWithData(data, QUrl(), &m_problem);
    if (!tree)
        return;
    m_mainNode = TVROPMLNode::node();
    const std::shared_ptr<XMLTree> opml = childElement(*tree, QStringLiteral("opml"));
    const std::shared_ptr<XMLTree> body = opml ? childElement(*opml, QStringLiteral("body")) : nullptr;
    if (!body)
        return;
    // The body itself gives no node: its outlines become the root's children.
    const std::shared_ptr<TVROPMLNode> converted = OPMLNodeForXMLTree(*body);
    // Attribute values stop growing at the bound; what was read by then is not kept either.
    if (tree->entitiesExpandTooFar()) {
        m_mainNode.reset();
        m_problem = XMLDocument::entityExpansionProblem();
        return;
    }
    m_mainNode->addChildren(converted->children());
}

std::shared_ptr<TVROPMLNode> TVROPMLDocument::OPMLNodeForXMLTree(const XMLTree &element)
{
    std::shared_ptr<TVROPMLNode> node = TVROPMLNode::node();
    for (const std::shared_ptr<XMLTree> &child : element.children())
        node->addChild(OPMLNodeForXMLTree(*child));
    const XMLTree::Attributes attributes = element.attributes();
    if (attributes.isEmpty())
        return node;
    node->setAttributes(attributes);
    for (const auto &[key, value] : attributes) {
        // Titles often carry markup escaped once more; the node keeps plain text.
        if (key == QLatin1String("text"))
            node->setText(NSStringXtra::stripHTMLSimple(NSStringXtra::removeEntities(value)));
        else if (key == QLatin1String("type"))
            node->setType(value);
        else if (key == QLatin1String("url"))
            node->setURL(value);
    }
    return node;
}
