#include "XMLDocument_p.h"

#include <QStringDecoder>

#include <libxml/HTMLparser.h>
#include <libxml/SAX2.h>
#include <libxml/entities.h>
#include <libxml/parser.h>
#include <libxml/tree.h>

#include <cctype>
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

// The escaping pass works on bytes, which UTF-16 and UTF-32 text does not allow.
bool isSingleByteBased(const QByteArray &data)
{
    const QByteArray head = data.left(4);
    return !head.startsWith("\xFF\xFE") && !head.startsWith("\xFE\xFF") && !head.contains('\0');
}

bool isNameByte(char c, bool first)
{
    const auto u = static_cast<unsigned char>(c);
    if ((u >= 'A' && u <= 'Z') || (u >= 'a' && u <= 'z') || u == '_' || u == ':' || u >= 0x80)
        return true;
    return !first && ((u >= '0' && u <= '9') || u == '-' || u == '.');
}

// The length of the reference starting at the "&" at `at` ("&name;", "&#12;", "&#x1F;",
// "&#X1F;"), or 0 when that "&" starts none.
qsizetype referenceLength(const QByteArray &data, qsizetype at)
{
    const qsizetype size = data.size();
    qsizetype i = at + 1;
    if (i < size && data[i] == '#') {
        ++i;
        const bool hex = i < size && (data[i] == 'x' || data[i] == 'X');
        if (hex)
            ++i;
        const qsizetype digits = i;
        while (i < size &&
               (hex ? isxdigit(static_cast<unsigned char>(data[i])) : isdigit(static_cast<unsigned char>(data[i]))))
            ++i;
        return (i > digits && i < size && data[i] == ';') ? i + 1 - at : 0;
    }
    if (i >= size || !isNameByte(data[i], true))
        return 0;
    while (i < size && isNameByte(data[i], false))
        ++i;
    return (i < size && data[i] == ';') ? i + 1 - at : 0;
}

// At a "<": the length of a CDATA section or comment starting there (to its end, or to the end
// of the data when it is never closed), else 1.
qsizetype opaqueSectionLength(const QByteArray &data, qsizetype at)
{
    const QByteArrayView rest = QByteArrayView(data).sliced(at);
    QByteArrayView close;
    if (rest.startsWith("<![CDATA["))
        close = "]]>";
    else if (rest.startsWith("<!--"))
        close = "-->";
    else
        return 1;
    const qsizetype end = data.indexOf(close, at + 4);
    return end < 0 ? data.size() - at : end + close.size() - at;
}

// Bytes that are not UTF-8 in a document naming no encoding come from a program that wrote its own
// code page: windows-1252 (a superset of Latin-1) is by far the most common, and reading them so
// keeps accented letters that would otherwise each become U+FFFD.
bool isUndeclaredLegacyText(const QByteArray &data)
{
    if (!isSingleByteBased(data) || data.startsWith("\xEF\xBB\xBF"))
        return false;
    if (data.startsWith("<?xml")) {
        const qsizetype end = data.indexOf("?>");
        if (end < 0 || data.left(end).contains("encoding"))
            return false;
    }
    QStringDecoder utf8(QStringDecoder::Utf8, QStringConverter::Flag::Stateless);
    const QString text = utf8(data);
    return utf8.hasError();
}

// libxml2 reports some errors (failed encoding conversions) on standard error whatever the
// options say; a feed's faults are the caller's to report, in its own words.
void ignoreGenericError(void *, const char *, ...)
{}
void ignoreStructuredError(void *, xmlErrorPtr)
{}

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

std::shared_ptr<XMLDocument> XMLDocument::parse(const QByteArray &data, const QString &baseUrl, Leniency leniency,
                                                QString *problem)
{
    std::shared_ptr<XMLDocument> document;
    bool entityLoop = false;
    if (!data.isEmpty() && data.size() <= INT_MAX)
        document = parseOnce(data, baseUrl, false, nullptr, &entityLoop);
    if (!document && !data.isEmpty() && data.size() <= INT_MAX && leniency == Leniency::Forgiving) {
        const char *encoding = isUndeclaredLegacyText(data) ? "windows-1252" : nullptr;
        const QByteArray escaped = isSingleByteBased(data) ? escapeBareAmpersands(data) : data;
        if (escaped != data || encoding)
            document = parseOnce(escaped, baseUrl, false, encoding, &entityLoop);
        if (!document)
            document = parseOnce(escaped, baseUrl, true, encoding, &entityLoop);
    }
    if (document) {
        document->m_inputSize = data.size();
        // What libxml2 kept before its own bound stopped it is refused as ours would be.
        document->m_entitiesExpandTooFar = entityLoop;
    } else if (problem) {
        *problem = entityLoop ? entityExpansionProblem() : QStringLiteral("it is not well-formed XML");
    }
    return document;
}

std::shared_ptr<XMLDocument> XMLDocument::parseOnce(const QByteArray &data, const QString &baseUrl, bool recover,
                                                    const char *encoding, bool *entityLoop)
{
    xmlSetGenericErrorFunc(nullptr, ignoreGenericError);
    xmlSetStructuredErrorFunc(nullptr, ignoreStructuredError);
    xmlParserCtxtPtr parser = xmlNewParserCtxt();
    if (!parser)
        return nullptr;
    xmlDocPtr entities = xmlNewDoc(xmlText("1.0"));
    xmlCreateIntSubset(entities, xmlText("entities"), nullptr, nullptr);
    parser->_private = entities;
    parser->sax->getEntity = getEntity;
    // No NOENT, DTDLOAD or HUGE: external entities stay unresolved references, nothing is fetched,
    // and libxml2's limits on entity amplification stay in force.
    int options = XML_PARSE_NONET | XML_PARSE_NOBLANKS | XML_PARSE_NOERROR | XML_PARSE_NOWARNING;
    if (recover)
        options |= XML_PARSE_RECOVER;
    const QByteArray url = baseUrl.toUtf8();
    xmlDocPtr doc = xmlCtxtReadMemory(parser, data.constData(), int(data.size()),
                                      url.isEmpty() ? nullptr : url.constData(), encoding, options);
    const bool wellFormed = parser->wellFormed != 0;
    if (parser->errNo == XML_ERR_ENTITY_LOOP)
        *entityLoop = true;
    xmlFreeParserCtxt(parser);
    const bool usable = doc && (wellFormed || (recover && xmlDocGetRootElement(doc)));
    if (!usable) {
        xmlFreeDoc(doc);
        xmlFreeDoc(entities);
        return nullptr;
    }
    if (startsWithDeclaration(data))
        prependDeclaration(doc, declarationData(*doc));
    std::shared_ptr<XMLDocument> document(new XMLDocument(doc, entities));
    document->m_recovered = !wellFormed;
    return document;
}

QByteArray XMLDocument::escapeBareAmpersands(const QByteArray &data)
{
    QByteArray out;
    out.reserve(data.size() + 64);
    qsizetype i = 0;
    const qsizetype size = data.size();
    while (i < size) {
        const char c = data[i];
        if (c == '<') {
            const qsizetype skip = opaqueSectionLength(data, i);
            out.append(data.constData() + i, skip);
            i += skip;
            continue;
        }
        if (c != '&') {
            out.append(c);
            ++i;
            continue;
        }
        const qsizetype length = referenceLength(data, i);
        if (length == 0) {
            out.append("&amp;");
        } else if (data[i + 1] == '#' && data[i + 2] == 'X') {
            out.append("&#x");
            out.append(data.constData() + i + 3, length - 3);
        } else {
            out.append(data.constData() + i, length);
        }
        i += qMax<qsizetype>(length, 1);
    }
    return out;
}

QString XMLDocument::entityText(const QString &name) const
{
    if (m_entitiesExpandTooFar)
        return QString();
    const QByteArray key = name.toUtf8();
    xmlEntityPtr entity = xmlGetDocEntity(m_doc, xmlText(key.constData()));
    if (!entity && m_entities)
        entity = xmlGetDocEntity(m_entities, xmlText(key.constData()));
    // An external entity is never read: its text is unknown here.
    if (!entity || !entity->content || entity->etype == XML_EXTERNAL_GENERAL_PARSED_ENTITY)
        return QString();
    const QString text = QString::fromUtf8(reinterpret_cast<const char *>(entity->content));
    return takeEntityText(text.size()) ? text : QString();
}

std::optional<QString> XMLDocument::declaredEntityText(const QString &name) const
{
    if (m_entitiesExpandTooFar)
        return std::nullopt;
    const QByteArray key = name.toUtf8();
    xmlEntityPtr entity = xmlGetDocEntity(m_doc, xmlText(key.constData()));
    if (!entity || entity->etype != XML_INTERNAL_GENERAL_ENTITY || !entity->content)
        return std::nullopt;
    const QString text = QString::fromUtf8(reinterpret_cast<const char *>(entity->content));
    if (text.contains(QLatin1Char('&')) || text.contains(QLatin1Char('<')) || !takeEntityText(text.size()))
        return std::nullopt;
    return text;
}

bool XMLDocument::takeEntityText(qsizetype size) const
{
    const qsizetype allowed =
        qMin(kMaxEntityText, qMax(kFreeEntityText, kEntityAmplification * qMin(m_inputSize, kMaxEntityText)));
    m_entityText += size;
    m_entitiesExpandTooFar = m_entityText > allowed;
    return !m_entitiesExpandTooFar;
}

QString XMLDocument::entityExpansionProblem()
{
    return QStringLiteral("its entities expand into far more text than the document holds");
}
