#include "NewsSubscription.h"

#include "feeds/TVROPMLDocument.h"
#include "feeds/TVROPMLNode.h"

#include <QFile>
#include <QFileInfo>

const QStringList NewsSubscription::optionAttributes{QStringLiteral("numberOfArticles"), QStringLiteral("withArticles"),
                                                     QStringLiteral("showSummary")};

namespace {

QString attribute(const TVROPMLNode &outline, const QString &name)
{
    for (const auto &[key, value] : outline.attributes()) {
        if (key == name)
            return value;
    }
    return QString();
}

// "true", "yes" and "1" are true; anything else is false. Numbers stay numbers.
QVariant optionValue(const QString &name, const QString &text)
{
    if (name == QLatin1String("numberOfArticles"))
        return text.trimmed().toInt();
    const QString word = text.trimmed().toLower();
    return word == QLatin1String("true") || word == QLatin1String("yes") || word == QLatin1String("1");
}

QUrl feedUrl(const QString &text)
{
    const QString trimmed = text.trimmed();
    if (trimmed.startsWith(QLatin1Char('/')))
        return QUrl::fromLocalFile(trimmed);
    return QUrl(trimmed);
}

void collect(const Node &parent, const QVariantMap &defaults, QList<NewsSubscription> &feeds)
{
    for (const std::shared_ptr<Node> &child : parent.children()) {
        const auto &outline = static_cast<const TVROPMLNode &>(*child);
        QString address = attribute(outline, QStringLiteral("xmlUrl"));
        if (address.isEmpty() && outline.type() == QLatin1String("rss"))
            address = outline.url();
        if (!address.trimmed().isEmpty()) {
            NewsSubscription feed;
            feed.title = outline.text().isEmpty() ? attribute(outline, QStringLiteral("title")) : outline.text();
            feed.url = feedUrl(address);
            feed.formatOptions = defaults;
            for (const QString &name : NewsSubscription::optionAttributes) {
                const QString value = attribute(outline, name);
                if (!value.isNull())
                    feed.formatOptions.insert(name, optionValue(name, value));
            }
            feeds.append(feed);
        }
        collect(*child, defaults, feeds);
    }
}

} // namespace

QList<NewsSubscription> NewsSubscription::fromOutline(const Node &root, const QVariantMap &defaults)
{
    QList<NewsSubscription> feeds;
    collect(root, defaults, feeds);
    return feeds;
}

std::optional<QList<NewsSubscription>> NewsSubscription::fromOPMLFile(const QString &path, const QVariantMap &defaults,
                                                                      QString *problem)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        *problem = QStringLiteral("Cannot read the subscriptions file %1: %2").arg(path, file.errorString());
        return std::nullopt;
    }
    const std::shared_ptr<TVROPMLDocument> document = TVROPMLDocument::documentWithData(file.readAll());
    if (!document || !document->rootNode()) {
        *problem = QStringLiteral("The subscriptions file %1 is not an OPML file.").arg(path);
        return std::nullopt;
    }
    return fromOutline(*document->rootNode(), defaults);
}
