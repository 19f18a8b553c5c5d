#pragma once

#include "tivaro_export.h"

#include "TDBTrack.h"

#include <QList>
#include <QString>

#include <memory>

class TDBPlaylist;
using TDBPlaylistPtr = std::shared_ptr<TDBPlaylist>;

// One visible playlist of the iPod's music database; its tracks are the reader's own objects.
// For Tivaro's programs; plug-ins have no use for it.
class TIVARO_EXPORT TDBPlaylist
{
public:
    static constexpr qint32 kTypePodcast = 0;
    static constexpr qint32 kTypePurchasedMusic = 1;
    static constexpr qint32 kTypeSmart = 2;
    static constexpr qint32 kTypePlain = 3;

    QString name() const { return m_name; }
    void setName(const QString &name) { m_name = name; }
    qint32 ID() const { return m_ID; }
    void setID(qint32 value) { m_ID = value; }
    qint32 type() const { return m_type; }
    void setType(qint32 value) { m_type = value; }
    const QList<TDBTrackPtr> &tracks() const { return m_tracks; }

    quint32 numberOfTracks() const { return quint32(m_tracks.size()); }
    // Throws std::out_of_range for an index past the end.
    TDBTrackPtr trackAtIndex(quint32 index) const;
    void addTrack(const TDBTrackPtr &track) { m_tracks.append(track); }
    // Throws std::out_of_range for an index past the end.
    void insertTrack(const TDBTrackPtr &track, quint32 index);

    // "Podcast", "Purchased Music", "Smart Playlist", "Playlist"; a null string for any other type.
    static QString stringForType(qint32 type);
    // By type, then by name without regard to case: -1, 0 or 1.
    int compare(const TDBPlaylist &other) const;
    // "name (N tracks)".
    QString description() const;

private:
    QString m_name;
    QList<TDBTrackPtr> m_tracks;
    qint32 m_ID = 0;
    qint32 m_type = kTypePlain;
};
