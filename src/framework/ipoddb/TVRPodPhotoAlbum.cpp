#include "TVRPodPhotoAlbum.h"

QString TVRPodPhotoAlbum::description() const
{
    return QStringLiteral("%1 (%2 photos)")
        .arg(m_name.isNull() ? QStringLiteral("(null)") : m_name)
        .arg(m_photos.size());
}
