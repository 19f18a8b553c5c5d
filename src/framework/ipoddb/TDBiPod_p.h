#pragma once

#include "tivaro_export.h"

#include "TDBPhotoDatabase.h"
#include "TDBPlaylist.h"
#include "TDBTrack.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QHash>
#include <QList>
#include <QString>

#include <optional>

// Reads the music database and the device name that the iPod's own firmware keeps; it never writes.
// The database is loaded at the first call of tracks() or playlists(). One thread at a time.
class TIVARO_AUTOTEST_EXPORT TDBiPod
{
public:
    // `mountPath` is the volume's mount point.
    explicit TDBiPod(const QString &mountPath);

    // Every track in file order; nullopt while no database could be read.
    std::optional<QList<TDBTrackPtr>> tracks();
    // The visible playlists, sorted by type then name; nullopt while no database could be read.
    std::optional<QList<TDBPlaylistPtr>> playlists();
    // Podcast tracks are never gathered apart: always nullopt, after loading like tracks().
    std::optional<QList<TDBTrackPtr>> podcasts();

    // (Re-)reads iPod_Control/iTunes/iTunesDB.
    void loadTracks();
    // Parses a whole database; empty data, or data of 2 GB or more, changes nothing. The tracks share `data` (they
    // decode their strings from it when asked), so it stays in memory while any of them does.
    void processiTunesDB(const QByteArray &data);

    TDBTrackPtr trackWithUID(qint32 uid) const;
    TDBTrackPtr trackWithDBID(qint64 dbid) const;
    TDBTrackPtr currentTrack() const { return m_currentTrack; }
    void setCurrentTrack(const TDBTrackPtr &track) { m_currentTrack = track; }

    // The user's name for the iPod from iPod_Control/iTunes/DeviceInfo; null while that cannot be read.
    QString name();
    void loadName();
    // A 16-bit count N, then N UTF-16LE units; empty data changes nothing.
    void processDeviceInfo(const QByteArray &data);

    // The shuffle database and the play state are deliberately not interpreted.
    void processiTunesSD(const QByteArray &data) { Q_UNUSED(data); }
    void processiTunesPState(const QByteArray &data) { Q_UNUSED(data); }

    // The photo and album artwork databases of the same iPod, read on demand.
    TDBPhotoDatabase &photoDatabase() { return m_photoDatabase; }
    const QList<std::shared_ptr<TVRPodPhoto>> &photos() const { return m_photoDatabase.photos(); }
    const QList<std::shared_ptr<TVRPodPhotoAlbum>> &photoAlbums() const { return m_photoDatabase.photoAlbums(); }
    // The artwork diagnostic, logging the track of the entry it looks at; loads the music database first.
    bool loadArtwork(const QString &outputFolder = {});

private:
    // One top-level chunk at `cursor`; the next cursor, or nullopt to stop the walk.
    std::optional<qint64> processChunk(QByteArrayView data, qint64 cursor);
    std::optional<qint64> processTrackList(QByteArrayView data, qint64 cursor, qint64 headerLength);
    std::optional<qint64> processPlaylist(QByteArrayView data, qint64 cursor, qint64 headerLength);
    // A track record; its total length, or nullopt when it does not fit the buffer.
    std::optional<qint64> processMHIT(QByteArrayView data, qint64 position);
    void readTrackHeader(QByteArrayView data, qint64 position, TDBTrack &track) const;
    // `count` children from `position`, none past `end`.
    void processChildren(QByteArrayView data, qint64 position, qint64 end, qint64 count);
    // A child of a track or playlist; its total length, or nullopt when it does not fit before `end`.
    std::optional<qint64> processMHODOrMHIP(QByteArrayView data, qint64 position, qint64 end);
    void processMHIP(QByteArrayView data, qint64 position);
    void processMHOD(QByteArrayView data, qint64 position, qint64 total);
    void applyString(qint32 type, const TDBText &text);
    void stop(qint64 cursor) const;

    QString m_mountPath;
    // The database being read, shared with its tracks, which decode their strings from it.
    std::shared_ptr<const TDBTrackSource> m_source;
    TDBPhotoDatabase m_photoDatabase;
    QString m_name;
    std::optional<QList<TDBTrackPtr>> m_tracks;
    QHash<qint32, TDBTrackPtr> m_tracksByUID;
    std::optional<QList<TDBTrackPtr>> m_podcasts;
    std::optional<QList<TDBPlaylistPtr>> m_playlists;
    TDBTrackPtr m_currentTrack;
    TDBPlaylistPtr m_currentPlaylist;
    qint64 m_maxPosition = 0;
};
