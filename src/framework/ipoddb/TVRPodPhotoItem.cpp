#include "TVRPodPhotoItem.h"

QString TVRPodPhotoItem::description() const
{
    return QStringLiteral("size: {%1, %2}; offset: %3; imageSize: %4")
        .arg(QString::number(m_size.width()), QString::number(m_size.height()), QString::number(m_offset, 16).toUpper(),
             QString::number(m_imageSize, 16).toUpper());
}
