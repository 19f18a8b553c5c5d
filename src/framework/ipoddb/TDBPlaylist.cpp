#include "TDBPlaylist.h"

#include <stdexcept>

TDBTrackPtr TDBPlaylist::trackAtIndex(quint32 index) const
{
    if (index >= quint32(m_tracks.size()))
        throw std::out_of_range("TDBPlaylist::trackAtIndex: index beyond the tracks");
    return m_tracks.at(index);
}

void TDBPlaylist::insertTrack(const TDBTrackPtr &track, quint32 index)
{
    if (index > quint32(m_tracks.size()))
        throw std::out_of_range("TDBPlaylist::insertTrack: index beyond the tracks");
    m_tracks.insert(index, track);
}

QString TDBPlaylist::stringForType(qint32 type)
{
    switch (type) {
    case kTypePodcast:
        return QStringLiteral("Podcast");
    case kTypePurchasedMusic:
        return QStringLiteral("Purchased Music");
    case kTypeSmart:
        return QStringLiteral("Smart Playlist");
    case kTypePlain:
        return QStringLiteral("Playlist");
    default:
        return {};
    }
}

int TDBPlaylist::compare(const TDBPlaylist &other) const
{
    if (m_type != other.m_type)
        return m_type < other.m_type ? -1 : 1;
    const int order = m_name.compare(other.m_name, Qt::CaseInsensitive);
    return order < 0 ? -1 : (order > 0 ? 1 : 0);
}

QString TDBPlaylist::description() const
{
    return QStringLiteral("%1 (%2 tracks)").arg(m_name).arg(m_tracks.size());
}
