#include "XMLNodeText_p.h"

#include "XMLDocument_p.h"

#include <libxml/tree.h>
#include <libxml/xmlsave.h>

namespace XMLNodeText {

QString fromXml(const xmlChar *text)
{
    return text ? QString::fromUtf8(reinterpret_cast<const char *>(text)) : QString();
}

QString qualifiedName(const xmlNode &node)
{
    const QString local = fromXml(node.name);
    if ((node.type == XML_ELEMENT_NODE) && node.ns && node.ns->prefix)
        return fromXml(node.ns->prefix) + QLatin1Char(':') + local;
    return local;
}

QString nodeString(const xmlNode &node)
{
    switch (node.type) {
    case XML_TEXT_NODE:
    case XML_CDATA_SECTION_NODE:
    case XML_COMMENT_NODE:
        return fromXml(node.content);
    case XML_DOCUMENT_NODE:
    case XML_HTML_DOCUMENT_NODE:
        return QStringLiteral("");
    default:
        return qualifiedName(node);
    }
}

QString attributeName(const xmlAttr &attribute)
{
    const QString local = fromXml(attribute.name);
    if (attribute.ns && attribute.ns->prefix)
        return fromXml(attribute.ns->prefix) + QLatin1Char(':') + local;
    return local;
}

QString attributeValue(const xmlAttr &attribute, const XMLDocument &document)
{
    QString value;
    for (const xmlNode *part = attribute.children; part; part = part->next) {
        if (part->type == XML_ENTITY_REF_NODE)
            value += document.entityText(fromXml(part->name));
        else
            value += fromXml(part->content);
    }
    return value;
}

QString entityCharacters(const QString &name)
{
    if (name == QLatin1String("lt"))
        return QStringLiteral("<");
    if (name == QLatin1String("gt"))
        return QStringLiteral(">");
    if (name == QLatin1String("quot"))
        return QStringLiteral("\"");
    if (name == QLatin1String("amp"))
        return QStringLiteral("&");
    if (name == QLatin1String("rsquo") || name == QLatin1String("lsquo") || name == QLatin1String("apos"))
        return QStringLiteral("'");
    return QString();
}

QByteArray serialised(xmlNodePtr node)
{
    xmlBufferPtr buffer = xmlBufferCreate();
    if (xmlSaveCtxtPtr context = xmlSaveToBuffer(buffer, "UTF-8", 0)) {
        xmlSaveTree(context, node);
        xmlSaveClose(context);
    }
    QByteArray bytes(reinterpret_cast<const char *>(xmlBufferContent(buffer)), xmlBufferLength(buffer));
    xmlBufferFree(buffer);
    return bytes;
}

} // namespace XMLNodeText
