#include "XMLDocument.h"

#include <libxml/HTMLparser.h>
#include <libxml/SAX2.h>
#include <libxml/entities.h>
#include <libxml/parser.h>
#include <libxml/tree.h>

#include <climits>

namespace {

const xmlChar *xmlText(const char *text)
{
    return reinterpret_cast<const xmlChar *>(text);
}

// Undefined names are answered from libxml2's table of HTML entities, and unknown ones by an
// empty entity, so a feed using &rsquo; stays whole and keeps its entity-reference nodes. The
// answers go into a separate document, reached through the parser's private pointer.
xmlEntityPtr getEntity(void *context, const xmlChar *name)
{
    if (xmlEntityPtr entity = xmlSAX2GetEntity(context, name))
        return entity;
    auto *parser = static_cast<xmlParserCtxtPtr>(context);
    auto *holder = static_cast<xmlDocPtr>(parser->_private);
    if (parser->inSubset != 0 || holder == nullptr)
        return nullptr;
    if (xmlEntityPtr known = xmlGetDocEntity(holder, name))
        return known;
    QByteArray value;
    if (const htmlEntityDesc *html = htmlEntityLookup(name)) {
        const char32_t character = html->value;
        value = QString::fromUcs4(&character, 1).toUtf8();
    }
    return xmlAddDocEntity(holder, name, XML_INTERNAL_GENERAL_ENTITY, nullptr, nullptr, xmlText(value.constData()));
}

// libxml2 keeps no node for the XML declaration; the tree shows it as an instruction named "xml".
bool startsWithDeclaration(const QByteArray &data)
{
    static const QByteArray utf8 = QByteArrayLiteral("<?xml");
    static const QByteArray utf16le = QByteArrayLiteral("<\0?\0x\0m\0l\0");
    static const QByteArray utf16be = QByteArrayLiteral("\0<\0?\0x\0m\0l");
    QByteArray head = data.left(16);
    for (const QByteArray &bom :
         {QByteArrayLiteral("\xEF\xBB\xBF"), QByteArrayLiteral("\xFF\xFE"), QByteArrayLiteral("\xFE\xFF")}) {
        if (head.startsWith(bom)) {
            head.remove(0, bom.size());
            break;
        }
    }
    return head.startsWith(utf8) || head.startsWith(utf16le) || head.startsWith(utf16be);
}

QByteArray declarationData(const xmlDoc &doc)
{
    QByteArray data = QByteArrayLiteral("version=\"") +
                      QByteArray(doc.version ? reinterpret_cast<const char *>(doc.version) : "1.0") + '"';
    if (doc.encoding)
        data += QByteArrayLiteral(" encoding=\"") + reinterpret_cast<const char *>(doc.encoding) + '"';
    if (doc.standalone == 1)
        data += QByteArrayLiteral(" standalone=\"yes\"");
    else if (doc.standalone == 0)
        data += QByteArrayLiteral(" standalone=\"no\"");
    return data;
}

void prependDeclaration(xmlDocPtr doc, const QByteArray &data)
{
    xmlNodePtr declaration = xmlNewDocPI(doc, xmlText("xml"), xmlText(data.constData()));
    if (doc->children)
        xmlAddPrevSibling(doc->children, declaration);
    else
        xmlAddChild(reinterpret_cast<xmlNodePtr>(doc), declaration);
}

} // namespace

XMLDocument::XMLDocument(xmlDocPtr doc, xmlDocPtr entities)
    : m_doc(doc)
    , m_entities(entities)
{}

XMLDocument::~XMLDocument()
{
    // The parsed document's entity references point into m_entities, so it goes first.
    xmlFreeDoc(m_doc);
    if (m_entities)
        xmlFreeDoc(m_entities);
}

std::shared_ptr<XMLDocument> XMLDocument::createEmpty()
{
    xmlDocPtr doc = xmlNewDoc(xmlText("1.0"));
    prependDeclaration(doc, QByteArrayLiteral("version=\"1.0\" encoding=\"utf-8\""));
    return std::shared_ptr<XMLDocument>(new XMLDocument(doc, nullptr));
}

std::shared_ptr<XMLDocument> XMLDocument::adopt(xmlNodePtr node)
{
    xmlDocPtr doc = xmlNewDoc(xmlText("1.0"));
    xmlAddChild(reinterpret_cast<xmlNodePtr>(doc), node);
    return std::shared_ptr<XMLDocument>(new XMLDocument(doc, nullptr));
}

std::shared_ptr<XMLDocument> XMLDocument::parse(const QByteArray &data, const QString &baseUrl)
{
    if (data.isEmpty() || data.size() > INT_MAX)
        return nullptr;
    xmlParserCtxtPtr parser = xmlNewParserCtxt();
    if (!parser)
        return nullptr;
    xmlDocPtr entities = xmlNewDoc(xmlText("1.0"));
    xmlCreateIntSubset(entities, xmlText("entities"), nullptr, nullptr);
    parser->_private = entities;
    parser->sax->getEntity = getEntity;
    // No NOENT, DTDLOAD or HUGE: external entities stay unresolved references, nothing is fetched,
    // and libxml2's limits on entity amplification stay in force.
    const int options = XML_PARSE_NONET | XML_PARSE_NOBLANKS | XML_PARSE_NOERROR | XML_PARSE_NOWARNING;
    const QByteArray url = baseUrl.toUtf8();
    xmlDocPtr doc = xmlCtxtReadMemory(parser, data.constData(), int(data.size()),
                                      url.isEmpty() ? nullptr : url.constData(), nullptr, options);
    const bool wellFormed = parser->wellFormed != 0;
    xmlFreeParserCtxt(parser);
    if (!doc || !wellFormed) {
        xmlFreeDoc(doc);
        xmlFreeDoc(entities);
        return nullptr;
    }
    if (startsWithDeclaration(data))
        prependDeclaration(doc, declarationData(*doc));
    return std::shared_ptr<XMLDocument>(new XMLDocument(doc, entities));
}

QString XMLDocument::entityText(const QString &name) const
{
    const QByteArray key = name.toUtf8();
    xmlEntityPtr entity = xmlGetDocEntity(m_doc, xmlText(key.constData()));
    if (!entity && m_entities)
        entity = xmlGetDocEntity(m_entities, xmlText(key.constData()));
    // An external entity is never read: its text is unknown here.
    if (!entity || !entity->content || entity->etype == XML_EXTERNAL_GENERAL_PARSED_ENTITY)
        return QString();
    return QString::fromUtf8(reinterpret_cast<const char *>(entity->content));
}
