#include "FeedNoteItems.h"

#include "RSS.h"
#include "XMLTree.h"

#include <QRegularExpression>

namespace FeedNoteItems {

QString atomContentAsHtml(const QString &serialised)
{
    const std::shared_ptr<XMLTree> document = XMLTree::treeWithData(serialised.toUtf8());
    const std::shared_ptr<XMLTree> content =
        !document ? nullptr : (document->count() >= 2 ? document->rootTree() : document->childAtIndex(0));
    if (!content || content->type() != XMLTree::Element)
        return serialised;
    const QString type = content->attributeNamed(QStringLiteral("type"));
    const QString mode = content->attributeNamed(QStringLiteral("mode"));
    const bool markup =
        type == QLatin1String("xhtml") || type.endsWith(QLatin1String("xml")) || mode == QLatin1String("xml");
    QString inside;
    for (const std::shared_ptr<XMLTree> &child : content->children())
        inside += markup ? child->xml() : child->name();
    return type == QLatin1String("text") ? inside.toHtmlEscaped() : inside;
}

void prepare(RSS &feed)
{
    static const QRegularExpression whiteSpace(QStringLiteral("\\s+"));
    const QString description = QStringLiteral("description");
    for (RSS::Item &item : feed.newsItems()) {
        if (feed.isAtomFeed())
            item.insert(description, atomContentAsHtml(item.value(description).toString()));
        RSS::normalizeRSSItem(item);
        for (const QString &key : {QStringLiteral("title"), QStringLiteral("convertedTitle")}) {
            if (item.contains(key))
                item.insert(key, item.value(key).toString().replace(whiteSpace, QStringLiteral(" ")));
        }
    }
}

} // namespace FeedNoteItems
