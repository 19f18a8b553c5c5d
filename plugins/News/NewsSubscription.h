#pragma once

#include <QList>
#include <QString>
#include <QUrl>
#include <QVariantMap>

#include <optional>

class Node;

// One feed the News plug-in syncs: where it is, the note it becomes, and how that note is made.
struct NewsSubscription {
    // The name of the feed's note; when the outline has none, the feed's own title is used.
    QString title;
    QUrl url;
    // The options of RSS::formatWithOptions(): "numberOfArticles", "withArticles", "showSummary".
    QVariantMap formatOptions;

    // The outline attributes that set a feed's options, beside "text", "title" and "xmlUrl".
    static const QStringList optionAttributes;

    // The feeds of an OPML outline, in document order through its folders. An outline's own option
    // attributes win over `defaults`. A feed URL may be http(s), feed://, file: or a plain path.
    static QList<NewsSubscription> fromOutline(const Node &root, const QVariantMap &defaults);
    // Null with *problem saying why when the file cannot be read as OPML.
    static std::optional<QList<NewsSubscription>> fromOPMLFile(const QString &path, const QVariantMap &defaults,
                                                               QString *problem);
};
