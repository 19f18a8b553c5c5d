#pragma once

#include "tivaro_export.h"

#include <QSizeF>
#include <QString>

// One stored image of a photo: which thumbnail file holds its RGB565 pixels, where, and their layout.
class TIVARO_EXPORT TVRPodPhotoItem
{
public:
    QString thumbPath() const { return m_thumbPath; }
    void setThumbPath(const QString &thumbPath) { m_thumbPath = thumbPath; }
    QSizeF size() const { return m_size; }
    void setSize(QSizeF size) { m_size = size; }
    quint32 offset() const { return m_offset; }
    void setOffset(quint32 offset) { m_offset = offset; }
    quint32 imageSize() const { return m_imageSize; }
    void setImageSize(quint32 imageSize) { m_imageSize = imageSize; }
    // The pixel words are stored little-endian and must be brought to host order.
    bool bytesSwapped() const { return m_bytesSwapped; }
    void setBytesSwapped(bool bytesSwapped) { m_bytesSwapped = bytesSwapped; }

    // "size: {130, 88}; offset: 5960; imageSize: 5960"
    QString description() const;

private:
    QString m_thumbPath;
    QSizeF m_size{0, 0};
    quint32 m_offset = 0;
    quint32 m_imageSize = 0;
    bool m_bytesSwapped = false;
};
