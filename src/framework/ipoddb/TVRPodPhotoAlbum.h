#pragma once

#include "tivaro_export.h"

#include "TVRPodPhoto.h"

#include <QList>
#include <QString>

#include <memory>

// A photo album of the iPod's photo database; its photos are shared with the database's photo list.
class TIVARO_EXPORT TVRPodPhotoAlbum
{
public:
    QString name() const { return m_name; }
    void setName(const QString &name) { m_name = name; }
    QList<std::shared_ptr<TVRPodPhoto>> &photos() { return m_photos; }
    const QList<std::shared_ptr<TVRPodPhoto>> &photos() const { return m_photos; }

    // "Family (2 photos)"
    QString description() const;

private:
    QString m_name;
    QList<std::shared_ptr<TVRPodPhoto>> m_photos;
};
