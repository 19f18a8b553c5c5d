#include "NewsFeedWriter.h"

#include "feeds/FeedNoteItems.h"
#include "feeds/NSStringXtra.h"
#include "feeds/RSS.h"
#include "ipod/TVRiPod.h"

const QString NewsFeedWriter::newsFolder = QStringLiteral("News");

namespace {

QString noteTitle(const NewsSubscription &feed, const RSS &rss)
{
    if (!NSStringXtra::stringIsEmpty(feed.title))
        return NSStringXtra::trimWhiteSpace(feed.title);
    const QString own =
        NSStringXtra::trimWhiteSpace(NSStringXtra::stripHTML(rss.headerItems().value(QStringLiteral("title"))));
    return own.isEmpty() ? feed.url.host() : own;
}

QString articleText(const QVariantMap &item)
{
    const QString title = NSStringXtra::trimWhiteSpace(item.value(QStringLiteral("title")).toString());
    const QString body = NSStringXtra::makeHTMLReadable(item.value(QStringLiteral("description")).toString());
    const QString link = item.value(QStringLiteral("link")).toString();
    QString text = title + QStringLiteral("\r\r") + body;
    if (!link.isEmpty())
        text = NSStringXtra::trimWhiteSpace(text) + QStringLiteral("\r\r") + link;
    return text;
}

} // namespace

QString NewsFeedWriter::articleName(const QString &title)
{
    // The same name formatWithOptions() writes into the link.
    return NSStringXtra::wordsUpTo(NSStringXtra::correctFilename(NSStringXtra::trimWhiteSpace(title)), 40);
}

std::optional<int> NewsFeedWriter::write(const NewsSubscription &feed, const QByteArray &data, QString *error)
{
    std::unique_ptr<RSS> rss = RSS::initWithData(data, true);
    if (!rss) {
        *error = QStringLiteral("\"%1\" (%2) is not a news feed.").arg(feed.title, feed.url.toString());
        return std::nullopt;
    }
    FeedNoteItems::prepare(*rss);
    const QString title = noteTitle(feed, *rss);
    if (!m_iPod.writeNoteToiPod(rss->formatWithOptions(feed.formatOptions), title, newsFolder)) {
        *error = QStringLiteral("Cannot write the note \"%1\": %2").arg(title, m_iPod.lastErrorString());
        return std::nullopt;
    }
    int written = 1;
    if (feed.formatOptions.value(QStringLiteral("withArticles")).toBool())
        written += writeArticles(rss->itemsToFormat(feed.formatOptions), error);
    return error->isEmpty() ? std::optional<int>(written) : std::nullopt;
}

int NewsFeedWriter::writeArticles(const QList<QVariantMap> &items, QString *error)
{
    const QString folder = newsFolder + QLatin1Char('/') + TVRiPod::pagesOverflowDirectory();
    int written = 0;
    for (const QVariantMap &item : items) {
        const QString name = articleName(item.value(QStringLiteral("title")).toString());
        if (!m_iPod.writeNoteToiPod(articleText(item), name, folder)) {
            *error = QStringLiteral("Cannot write the article \"%1\": %2").arg(name, m_iPod.lastErrorString());
            break;
        }
        ++written;
    }
    return written;
}
