#include "FeedDescription.h"

#include <QJsonArray>

namespace {

QString kindOf(const RSS &feed)
{
    if (feed.isAtomFeed())
        return QStringLiteral("Atom");
    return feed.isRdf() ? QStringLiteral("RDF") : QStringLiteral("RSS");
}

// An enclosure as "name=value" pairs; any other value as its text.
QString valueText(const QVariant &value)
{
    if (value.typeId() != QMetaType::QVariantMap)
        return value.toString();
    QStringList pairs;
    const QVariantMap attributes = value.toMap();
    for (auto it = attributes.cbegin(); it != attributes.cend(); ++it)
        pairs.append(it.key() + u'=' + it.value().toString());
    return pairs.join(u' ');
}

// "  key: value"; the lines after the first of a value that has several are indented below the key.
QString keyLine(const QString &key, const QString &value)
{
    QString text = value;
    text.replace(QStringLiteral("\r\n"), QStringLiteral("\n")).replace(u'\r', u'\n');
    return QStringLiteral("  ") + key + QStringLiteral(": ") + text.replace(u'\n', QStringLiteral("\n    "));
}

} // namespace

namespace FeedDescription {

QJsonObject toJson(const RSS &feed)
{
    QJsonObject header;
    for (auto it = feed.headerItems().cbegin(); it != feed.headerItems().cend(); ++it)
        header.insert(it.key(), it.value());
    QJsonArray items;
    for (const RSS::Item &item : feed.newsItems())
        items.append(QJsonObject::fromVariantMap(item));
    return QJsonObject{
        {QStringLiteral("version"), feed.version().isNull() ? QJsonValue(QJsonValue::Null) : feed.version()},
        {QStringLiteral("isAtomFeed"), feed.isAtomFeed()},
        {QStringLiteral("header"), header},
        {QStringLiteral("items"), items},
    };
}

QStringList toText(const RSS &feed)
{
    QStringList lines{
        QStringLiteral("version: ") + (feed.version().isNull() ? QStringLiteral("(none)") : feed.version()),
        QStringLiteral("kind: ") + kindOf(feed),
        QString(),
        QStringLiteral("header"),
    };
    for (auto it = feed.headerItems().cbegin(); it != feed.headerItems().cend(); ++it)
        lines.append(keyLine(it.key(), it.value()));
    for (qsizetype i = 0; i < feed.newsItems().size(); ++i) {
        lines.append(QString());
        lines.append(QStringLiteral("item %1").arg(i + 1));
        const RSS::Item &item = feed.newsItems().at(i);
        for (auto it = item.cbegin(); it != item.cend(); ++it)
            lines.append(keyLine(it.key(), valueText(it.value())));
    }
    return lines;
}

} // namespace FeedDescription
