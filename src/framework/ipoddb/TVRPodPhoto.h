#pragma once

#include "tivaro_export.h"

#include "TVRPodPhotoItem.h"

#include <QList>
#include <QString>

#include <memory>

// A photo (or a track's cover art) of the iPod's photo or artwork database, with its stored images.
// An item may sit in two photos at once (the walk carries the last item of one photo over to the next).
class TIVARO_EXPORT TVRPodPhoto
{
public:
    QString name() const { return m_name; }
    void setName(const QString &name) { m_name = name; }
    qint64 ID() const { return m_ID; }
    void setID(qint64 ID) { m_ID = ID; }
    QList<std::shared_ptr<TVRPodPhotoItem>> &imageItems() { return m_imageItems; }
    const QList<std::shared_ptr<TVRPodPhotoItem>> &imageItems() const { return m_imageItems; }

    // The item of the smallest area under 1,000,000 pixels; ties keep the earlier one; null if none.
    std::shared_ptr<TVRPodPhotoItem> getSmallestPhotoItem() const;

    // "name: Beach; items: 4;"
    QString description() const;

private:
    QString m_name;
    qint64 m_ID = 0;
    QList<std::shared_ptr<TVRPodPhotoItem>> m_imageItems;
};
