#pragma once

#include "tivaro_export.h"

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QString>
#include <QUrl>
#include <QVariantMap>

#include <memory>

class XMLDocument;
struct _xmlNode;

// A news feed (RSS 0.9x/2.0, RDF or Atom) read into a header dictionary and one dictionary per
// item, keyed by element name. Plug-ins build notes from these, usually through formatWithOptions().
class TIVARO_EXPORT RSS
{
public:
    using Header = QMap<QString, QString>;
    // Values are strings, except "enclosure", which holds the element's attributes as a QVariantMap.
    using Item = QVariantMap;

    // Fetches (a "feed://" URL over "http://") and parses. Throws RSSException when the download
    // fails or brings nothing; returns null when the bytes are no feed. Blocks for the download.
    static std::unique_ptr<RSS> initWithURL(const QUrl &url, bool normalize);
    // Null when the bytes are not XML, hold no channel (a channel without items is a feed of
    // none) or declare entities that expand too far; the reason is logged and, in words for the
    // user ("it is not well-formed XML"), put in *problem.
    static std::unique_ptr<RSS> initWithData(const QByteArray &data, bool normalize = false,
                                             QString *problem = nullptr);
    // A feed with no items and only a title and a description.
    static std::unique_ptr<RSS> initWithTitle(const QString &title, const QString &description);

    const Header &headerItems() const { return m_headerItems; }
    const QList<Item> &newsItems() const { return m_newsItems; }
    // The items stay writable so that normalizeRSSItem() can repair them in place.
    QList<Item> &newsItems() { return m_newsItems; }
    // "rdf", the root's version attribute, "synthetic", or null.
    QString version() const { return m_version; }
    bool isAtomFeed() const { return m_atom; }
    bool isRdf() const { return m_flRdf; }
    // The flag given when reading; kept for callers, the parser does not use it.
    bool normalize() const { return m_normalize; }

    // Fills a missing title or link from the description, shortens an over-long title and adds
    // "convertedTitle" when the title holds an entity.
    static void normalizeRSSItem(Item &item);

    // The text of one note: the titles, each with its summary or as a link to an article page.
    // Options: "numberOfArticles" (10), "withArticles" (false), "showSummary" (true).
    QString formatWithOptions(const QVariantMap &options = {}) const;
    // The items formatWithOptions() writes: the first ones with a title, up to "numberOfArticles".
    QList<Item> itemsToFormat(const QVariantMap &options = {}) const;
    // The names of the article pages "withArticles" links `items` to, one an item in order: the
    // title made a file name and cut to 40 characters as wordsUpTo() cuts it. A name an earlier
    // item has (ignoring case, as FAT does) gets " 2", " 3"... within the same 40 characters, so
    // that every link opens its own article.
    static QStringList articlePageNames(const QList<Item> &items);

private:
    RSS() = default;

    void createHeaderDictionary(const _xmlNode &document);
    void createItemsArray(const _xmlNode &document);
    void setVersionString(const _xmlNode &document);
    const _xmlNode *getChannelTree(const _xmlNode &document);
    const _xmlNode *rootTree(const _xmlNode &document);
    static const _xmlNode *getNamedTree(const _xmlNode &tree, const QString &name);
    QString getElementValue(const _xmlNode &element) const;
    QString entityReferenceValue(const _xmlNode &reference) const;
    // Throws once the document's entities have expanded past their bound.
    void refuseEntitiesExpandingTooFar() const;
    void flattenImageChildren(const _xmlNode &image, Header &header) const;
    static void flattenSourceAttributes(const _xmlNode &source, Item &item, const XMLDocument &document);
    Item itemFromTree(const _xmlNode &tree) const;

    Header m_headerItems;
    QList<Item> m_newsItems;
    QString m_version;
    bool m_flRdf = false;
    bool m_atom = false;
    bool m_normalize = false;
    // Only while parsing: the document the nodes belong to.
    std::shared_ptr<XMLDocument> m_document;
};
