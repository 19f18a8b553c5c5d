#include "NewsFeedWriter.h"

#include "feeds/FeedNoteItems.h"
#include "feeds/RSS.h"
#include "ipod/TVRiPod.h"
#include "text/NSStringXtra.h"

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

std::optional<NewsFeedWriter::Written> NewsFeedWriter::write(const NewsSubscription &feed, const QByteArray &data,
                                                             QString *error)
{
    QString problem;
    std::unique_ptr<RSS> rss = RSS::initWithData(data, true, &problem);
    if (!rss) {
        *error = QStringLiteral("\"%1\" (%2) is not a news feed: %3.").arg(feed.title, feed.url.toString(), problem);
        return std::nullopt;
    }
    FeedNoteItems::prepare(*rss);
    const QString title = noteTitle(feed, *rss);
    if (!m_iPod.writeNoteToiPod(rss->formatWithOptions(feed.formatOptions), title, newsFolder)) {
        *error = QStringLiteral("Cannot write the note \"%1\": %2").arg(title, m_iPod.errorString());
        return std::nullopt;
    }
    Written written;
    written.notes = 1;
    if (feed.formatOptions.value(QStringLiteral("withArticles")).toBool()) {
        const QList<QVariantMap> items = rss->itemsToFormat(feed.formatOptions);
        writeArticles(title, items, RSS::articlePageNames(items), written);
    }
    return written;
}

void NewsFeedWriter::writeArticles(const QString &feedTitle, const QList<QVariantMap> &items, const QStringList &names,
                                   Written &written)
{
    // The pages go where the feed's note links them, under the names its links give.
    const QString folder = newsFolder + QLatin1Char('/') + TVRiPod::pagesOverflowDirectory();
    for (qsizetype i = 0; i < items.size(); ++i) {
        if (m_iPod.writeNoteToiPod(articleText(items.at(i)), names.at(i), folder))
            ++written.notes;
        else
            written.failedArticles.append(QStringLiteral("Cannot write the article \"%1\" of \"%2\": %3")
                                              .arg(names.at(i), feedTitle, m_iPod.errorString()));
    }
}
