#pragma once

#include "NewsSubscription.h"

#include <QByteArray>
#include <QString>

class TVRiPod;

// Turns the bytes of one downloaded feed into notes: the feed's note in the news folder and, when
// the feed asks for article pages, one note per article in the folder the feed's note links into.
class NewsFeedWriter
{
public:
    // The notes folder the news goes into, below the iPod's notes folder.
    static const QString newsFolder; // "News"

    explicit NewsFeedWriter(TVRiPod &iPod)
        : m_iPod(iPod)
    {}

    // The notes written for the feed; nullopt with *error set when the bytes are no feed or a note
    // could not be written.
    std::optional<int> write(const NewsSubscription &feed, const QByteArray &data, QString *error);

    // The note name of an article, as the feed's note links to it.
    static QString articleName(const QString &title);

private:
    int writeArticles(const QList<QVariantMap> &items, QString *error);

    TVRiPod &m_iPod;
};
