#include "TVRPodPhoto.h"

std::shared_ptr<TVRPodPhotoItem> TVRPodPhoto::getSmallestPhotoItem() const
{
    qint64 bestArea = 1000000;
    std::shared_ptr<TVRPodPhotoItem> best;
    for (const std::shared_ptr<TVRPodPhotoItem> &item : m_imageItems) {
        // Float product, truncated, as the device's sizes are kept as floats.
        const float area = float(item->size().width()) * float(item->size().height());
        if (qint64(area) < bestArea) {
            bestArea = qint64(area);
            best = item;
        }
    }
    return best;
}

QString TVRPodPhoto::description() const
{
    return QStringLiteral("name: %1; items: %2;")
        .arg(m_name.isNull() ? QStringLiteral("(null)") : m_name)
        .arg(m_imageItems.size());
}
