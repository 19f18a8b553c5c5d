#include "RSS.h"

#include "RSSException.h"
#include "XMLDocument_p.h"
#include "XMLNodeText_p.h"
#include "core/Logging_p.h"
#include "ipod/NotePaginator_p.h"
#include "net/SynchronousDownload.h"
#include "text/HTMLTextFilter_p.h"
#include "text/NSStringXtra.h"

#include <QRegularExpression>
#include <QSet>

#include <libxml/tree.h>

using namespace XMLNodeText;

namespace {

// A feed server is often slower than a page; this is how long a fetch may go without progress.
constexpr int kFeedIdleTimeoutMs = 15000;

const QString kEntitiesExpandTooFar = QStringLiteral("RSSEntitiesExpandTooFar");

QString withoutRssPrefix(const QString &name)
{
    return name.startsWith(QLatin1String("rss:")) ? name.mid(4) : name;
}

QString attribute(const xmlNode &element, const char *name, const XMLDocument &document)
{
    for (const xmlAttr *property = element.properties; property; property = property->next) {
        if (attributeName(*property) == QLatin1String(name))
            return attributeValue(*property, document);
    }
    return QString();
}

QVariantMap attributeDictionary(const xmlNode &element, const XMLDocument &document)
{
    QVariantMap attributes;
    for (const xmlAttr *property = element.properties; property; property = property->next)
        attributes.insert(attributeName(*property), attributeValue(*property, document));
    return attributes;
}

// The feed's tree holds what the parser keeps: elements, text, CDATA and entity references.
// Comments and instructions are meta data, left out as the reading options ask.
bool isMetaData(const xmlNode &node)
{
    return node.type == XML_COMMENT_NODE || node.type == XML_PI_NODE || node.type == XML_DTD_NODE;
}

// What an HTML page of these bytes shows as plain text: tags gone, entities decoded, runs of
// white space one space.
QString renderedHtmlText(const QString &html)
{
    static const QRegularExpression whiteSpace(QStringLiteral("\\s+"));
    return HTMLTextFilter::stripHTML(html).replace(whiteSpace, QStringLiteral(" "));
}

QString itemString(const RSS::Item &item, const QString &key)
{
    return item.value(key).toString();
}

// Article page names are at most this long, in UTF-16 units.
constexpr int kArticlePageNameLength = 40;

// The first `n` units of `text` (one less rather than half a surrogate pair), trimmed.
QString leftWithinLength(const QString &text, int n)
{
    if (text.size() <= n)
        return text;
    const bool splitsPair = n > 0 && text.at(n - 1).isHighSurrogate() && text.at(n).isLowSurrogate();
    return NSStringXtra::trimWhiteSpace(text.left(std::max(splitsPair ? n - 1 : n, 0)));
}

} // namespace

std::unique_ptr<RSS> RSS::initWithURL(const QUrl &url, bool normalize)
{
    QUrl target = url;
    const QString address = url.toString();
    if (address.startsWith(QLatin1String("feed://")))
        target = QUrl(QStringLiteral("http://") + address.mid(7));
    QString reason;
    const QByteArray data = SynchronousDownload::fetch(target, kFeedIdleTimeoutMs, &reason);
    if (!reason.isEmpty())
        throw RSSException(QStringLiteral("RSSDownloadFailed"), reason);
    if (data.isEmpty())
        throw RSSException(QStringLiteral("RSSNoData"), QStringLiteral("Unknown error."));
    return initWithData(data, normalize);
}

std::unique_ptr<RSS> RSS::initWithData(const QByteArray &data, bool normalize, QString *problem)
{
    std::unique_ptr<RSS> feed(new RSS);
    feed->m_normalize = normalize;
    // Real feeds use bare "&" in links and get cut short; both are forgiven, entities are never
    // fetched and their expansion stays bounded.
    feed->m_document = XMLDocument::parse(data, QString(), XMLDocument::Leniency::Forgiving, problem);
    if (!feed->m_document)
        return nullptr;
    const xmlNode &document = *reinterpret_cast<const xmlNode *>(feed->m_document->doc());
    try {
        feed->refuseEntitiesExpandingTooFar();
        feed->createHeaderDictionary(document);
        feed->createItemsArray(document);
        feed->setVersionString(document);
        // Attribute values expand entities too; a document past the bound is refused whole.
        feed->refuseEntitiesExpandingTooFar();
    } catch (const RSSException &error) {
        qCWarning(lcFeeds).noquote() << error.reason();
        if (problem)
            *problem = error.name() == kEntitiesExpandTooFar ? error.reason()
                                                             : QStringLiteral("it has no RSS, RDF or Atom channel");
        return nullptr;
    }
    feed->m_document.reset();
    return feed;
}

void RSS::refuseEntitiesExpandingTooFar() const
{
    if (m_document->entitiesExpandTooFar())
        throw RSSException(kEntitiesExpandTooFar, XMLDocument::entityExpansionProblem());
}

std::unique_ptr<RSS> RSS::initWithTitle(const QString &title, const QString &description)
{
    std::unique_ptr<RSS> feed(new RSS);
    feed->m_headerItems = {{QStringLiteral("title"), title}, {QStringLiteral("description"), description}};
    feed->m_version = QStringLiteral("synthetic");
    return feed;
}

const xmlNode *RSS::getNamedTree(const xmlNode &tree, const QString &name)
{
    // The last match in document order wins, as a search from the end finds it first.
    const xmlNode *found = nullptr;
    for (const xmlNode *child = tree.children; child; child = child->next) {
        if (child->type == XML_ELEMENT_NODE && qualifiedName(*child) == name)
            found = child;
    }
    return found;
}

const xmlNode *RSS::rootTree(const xmlNode &document)
{
    if (const xmlNode *root = getNamedTree(document, QStringLiteral("rss")))
        return root;
    if (const xmlNode *root = getNamedTree(document, QStringLiteral("rdf:RDF"))) {
        m_flRdf = true;
        return root;
    }
    if (const xmlNode *root = getNamedTree(document, QStringLiteral("feed"))) {
        m_atom = true;
        return root;
    }
    return nullptr;
}

const xmlNode *RSS::getChannelTree(const xmlNode &document)
{
    const xmlNode *root = rootTree(document);
    if (!root || m_atom)
        return root;
    if (const xmlNode *channel = getNamedTree(*root, QStringLiteral("channel")))
        return channel;
    return getNamedTree(*root, QStringLiteral("rss:channel"));
}

void RSS::createHeaderDictionary(const xmlNode &document)
{
    const xmlNode *channel = getChannelTree(document);
    if (!channel)
        throw RSSException(QStringLiteral("RSSCreateHeaderDictionaryFailed"),
                           QStringLiteral("Couldn't find the channel tree."));
    for (const xmlNode *child = channel->children; child; child = child->next) {
        if (child->type != XML_ELEMENT_NODE)
            continue;
        const QString name = withoutRssPrefix(qualifiedName(*child));
        if (name == QLatin1String("item") || (m_atom && name == QLatin1String("entry")))
            break;
        if (name == QLatin1String("image"))
            flattenImageChildren(*child, m_headerItems);
        m_headerItems.insert(name, getElementValue(*child));
    }
}

void RSS::flattenImageChildren(const xmlNode &image, Header &header) const
{
    for (const xmlNode *child = image.children; child; child = child->next) {
        if (child->type == XML_ELEMENT_NODE)
            header.insert(QStringLiteral("image") + withoutRssPrefix(qualifiedName(*child)), getElementValue(*child));
    }
}

void RSS::flattenSourceAttributes(const xmlNode &source, Item &item, const XMLDocument &document)
{
    const QString home = attribute(source, "homeUrl", document);
    if (!home.isNull())
        item.insert(QStringLiteral("sourceHomeUrl"), home);
    const QString url = attribute(source, "url", document);
    if (!url.isNull())
        item.insert(QStringLiteral("sourceRssUrl"), url);
}

void RSS::createItemsArray(const xmlNode &document)
{
    // RDF items are the channel's siblings; Atom entries are the feed's children.
    const xmlNode *parent = (m_flRdf || m_atom) ? rootTree(document) : getChannelTree(document);
    if (!parent)
        throw RSSException(QStringLiteral("RSSCreateItemsArrayFailed"),
                           QStringLiteral("Couldn't find the news items."));
    QList<Item> items;
    for (const xmlNode *child = parent->children; child; child = child->next) {
        if (child->type != XML_ELEMENT_NODE)
            continue;
        const QString name = qualifiedName(*child);
        const bool isItem = m_atom ? name == QLatin1String("entry") : withoutRssPrefix(name) == QLatin1String("item");
        if (isItem)
            items.append(itemFromTree(*child));
    }
    m_newsItems = items;
}

RSS::Item RSS::itemFromTree(const xmlNode &tree) const
{
    Item item;
    for (const xmlNode *child = tree.children; child; child = child->next) {
        if (child->type != XML_ELEMENT_NODE)
            continue;
        QString name = qualifiedName(*child);
        QVariant value = getElementValue(*child);
        if (m_atom) {
            if (name == QLatin1String("link")) {
                const QString href = attribute(*child, "href", *m_document);
                value = href.isNull() ? QStringLiteral("") : href;
            } else if (name == QLatin1String("summary") || name == QLatin1String("content")) {
                const QByteArray xml = serialised(const_cast<xmlNode *>(child));
                if (!xml.isEmpty())
                    value = QString::fromUtf8(xml);
                name = QStringLiteral("description");
            }
        }
        if (name.startsWith(QLatin1String("rss:")))
            name = name.mid(4);
        else if (name == QLatin1String("source"))
            flattenSourceAttributes(*child, item, *m_document);
        else if (name == QLatin1String("enclosure"))
            value = attributeDictionary(*child, *m_document);
        item.insert(name, value.isNull() ? QVariant(QStringLiteral("")) : value);
    }
    for (const QString &key : {QStringLiteral("description"), QStringLiteral("link")}) {
        if (!item.contains(key))
            item.insert(key, QStringLiteral(""));
    }
    return item;
}

void RSS::setVersionString(const xmlNode &document)
{
    if (m_flRdf) {
        m_version = QStringLiteral("rdf");
        return;
    }
    const xmlNode *root = getNamedTree(document, m_atom ? QStringLiteral("feed") : QStringLiteral("rss"));
    if (root)
        m_version = attribute(*root, "version", *m_document);
}

QString RSS::getElementValue(const xmlNode &element) const
{
    QString value;
    for (const xmlNode *child = element.children; child; child = child->next) {
        switch (child->type) {
        case XML_TEXT_NODE:
        case XML_CDATA_SECTION_NODE:
            value += fromXml(child->content);
            break;
        case XML_ENTITY_REF_NODE:
            value += entityReferenceValue(*child);
            break;
        case XML_ELEMENT_NODE:
            // Its name, not its content: an Atom author gives "name".
            value += qualifiedName(*child);
            break;
        default:
            if (!isMetaData(*child))
                value += nodeString(*child);
            break;
        }
    }
    return value;
}

QString RSS::entityReferenceValue(const xmlNode &reference) const
{
    const QString name = fromXml(reference.name);
    // Entities the document declares itself are replaced by their text, up to the document's bound.
    const std::optional<QString> declared = m_document->declaredEntityText(name);
    refuseEntitiesExpandingTooFar();
    if (declared)
        return *declared;
    const QString known = entityCharacters(name);
    return known.isNull() ? QStringLiteral("&%1;").arg(name) : known;
}

void RSS::normalizeRSSItem(Item &item)
{
    using namespace NSStringXtra;
    const bool hadDescription = item.contains(QStringLiteral("description"));
    const QString description = trimWhiteSpace(itemString(item, QStringLiteral("description")));
    const bool descriptionMissing = !hadDescription || description.isEmpty();
    item.insert(QStringLiteral("description"), description);

    QString link = itemString(item, QStringLiteral("link"));
    if (stringIsEmpty(link) && !descriptionMissing) {
        const QStringList pieces = description.split(QStringLiteral("href=\""));
        link = pieces.size() >= 2 ? pieces.at(1).section(QLatin1Char('"'), 0, 0) : QString();
    }
    item.insert(QStringLiteral("link"), trimWhiteSpace(link));

    QString title;
    if (item.contains(QStringLiteral("title")))
        title = trimWhiteSpace(stripHTML(itemString(item, QStringLiteral("title"))));
    if (title.isEmpty()) {
        if (!descriptionMissing) {
            const QStringList pieces = description.split(QLatin1Char('>'));
            if (pieces.size() >= 2)
                title = trimWhiteSpace(stripHTML(pieces.at(1).section(QLatin1Char('<'), 0, 0)));
            if (title.isEmpty())
                title = trimWhiteSpace(ellipsizeAfterNWords(trimWhiteSpace(stripHTML(description)), 5)) +
                        QStringLiteral("...");
        }
        title = trimWhiteSpace(stripHTML(title));
        if (title.isEmpty())
            title = QStringLiteral("Untitled");
    }
    item.insert(QStringLiteral("title"), title);

    if (descriptionMissing && title.size() > 50) {
        item.insert(QStringLiteral("description"), title);
        title = ellipsizeAfterNWords(trimWhiteSpace(stripHTML(title)), 7) + QStringLiteral("...");
        item.insert(QStringLiteral("title"), title);
    }

    if (title.contains(QLatin1Char('&')) && title.contains(QLatin1Char(';'))) {
        const QString converted = trimWhiteSpace(stripHTML(renderedHtmlText(title)));
        item.insert(QStringLiteral("convertedTitle"), converted.isEmpty() ? QStringLiteral("Untitled") : converted);
    }
}

QList<RSS::Item> RSS::itemsToFormat(const QVariantMap &options) const
{
    const int limit = options.value(QStringLiteral("numberOfArticles"), 10).toInt();
    QList<Item> chosen;
    // Untitled items are passed over without counting towards the limit.
    for (const Item &item : m_newsItems) {
        if (chosen.size() >= limit)
            break;
        if (item.contains(QStringLiteral("title")))
            chosen.append(item);
    }
    return chosen;
}

QStringList RSS::articlePageNames(const QList<Item> &items)
{
    using namespace NSStringXtra;
    QStringList names;
    QSet<QString> taken;
    for (const Item &item : items) {
        // The word rule keeps runs of spaces, which can take it past the length: the name is cut again.
        const QString first =
            leftWithinLength(wordsUpTo(correctFilename(trimWhiteSpace(itemString(item, QStringLiteral("title")))),
                                       kArticlePageNameLength),
                             kArticlePageNameLength);
        QString name = first;
        for (int number = 2; taken.contains(name.toCaseFolded()); ++number) {
            const QString suffix = QStringLiteral(" %1").arg(number);
            name = leftWithinLength(first, kArticlePageNameLength - int(suffix.size())) + suffix;
        }
        taken.insert(name.toCaseFolded());
        names.append(name);
    }
    return names;
}

QString RSS::formatWithOptions(const QVariantMap &options) const
{
    using namespace NSStringXtra;
    const int limit = options.value(QStringLiteral("numberOfArticles"), 10).toInt();
    const bool withArticles = options.value(QStringLiteral("withArticles"), false).toBool();
    const bool showSummary = options.value(QStringLiteral("showSummary"), true).toBool();
    const QList<Item> items = itemsToFormat(options);
    const QStringList pageNames = withArticles ? articlePageNames(items) : QStringList();
    QString text;
    int written = 0;
    for (const Item &item : items) {
        const QString title = trimWhiteSpace(itemString(item, QStringLiteral("title")));
        QString body;
        if (showSummary && item.contains(QStringLiteral("description")))
            body = makeHTMLReadable(itemString(item, QStringLiteral("description")));
        if (withArticles) {
            text += QStringLiteral("<a href=\"%1/%2.txt\">%3</a>\r\r")
                        .arg(NotePaginator::pagesOverflowDirectory(), pageNames.at(written), correctFilename(title));
        } else {
            text += title + QStringLiteral("\r\r");
        }
        if (!body.isEmpty())
            text += body;
        text = trimWhiteSpace(text);
        if (written < limit - 1)
            text += QStringLiteral("\r-------\r");
        ++written;
    }
    return trimWhiteSpace(text);
}
