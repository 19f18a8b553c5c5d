#pragma once

#include "NewsSubscription.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <optional>

class TVRiPod;

// Turns the bytes of one downloaded feed into notes: the feed's note in the news folder and, when
// the feed asks for article pages, one note per article in the folder the feed's note links into.
class NewsFeedWriter
{
public:
    // The notes folder the news goes into, below the iPod's notes folder.
    static const QString newsFolder; // "News"

    // What was written of a feed whose note was written.
    struct Written {
        // The feed's note and the article pages written.
        int notes = 0;
        // One line for each article page that could not be written; the others are written still.
        QStringList failedArticles;
    };

    explicit NewsFeedWriter(TVRiPod &iPod)
        : m_iPod(iPod)
    {}

    // Nullopt with *error set when the bytes are no feed or the feed's note could not be written.
    std::optional<Written> write(const NewsSubscription &feed, const QByteArray &data, QString *error);

private:
    void writeArticles(const QString &feedTitle, const QList<QVariantMap> &items, const QStringList &names,
                       Written &written);

    TVRiPod &m_iPod;
};
