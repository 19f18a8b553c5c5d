#pragma once

#include "tivaro_export.h"

#include "TDBMacDate.h"
#include "TDBText.h"
#include "TDBTrackSource.h"

#include <QDateTime>
#include <QString>

#include <memory>

class TDBTrack;
using TDBTrackPtr = std::shared_ptr<TDBTrack>;

// One track of the iPod's music database, as the reader found it. Tracks are shared between the
// reader's track list and the playlists that hold them.
// For Tivaro's programs; plug-ins have no use for it.
class TIVARO_EXPORT TDBTrack
{
public:
    static TDBTrackPtr track() { return std::make_shared<TDBTrack>(); }

    // Seconds since 1904-01-01 00:00 local time, the value taken as unsigned.
    static QDateTime dateFromMacTime(qint32 seconds) { return TDBMacDate::fromMacTime(seconds); }

    qint32 UID() const { return m_UID; }
    void setUID(qint32 value) { m_UID = value; }
    qint8 compilation() const { return m_compilation; }
    void setCompilation(qint8 value) { m_compilation = value; }
    qint32 rating() const { return m_rating; }
    void setRating(qint32 value) { m_rating = value; }
    QDateTime dateAdded() const { return m_dateAdded.date(); }
    void setDateAdded(qint32 macTime) { m_dateAdded.setMacTime(macTime); }
    void setDateAddedDate(const QDateTime &date) { m_dateAdded.setDate(date); }
    qint32 size() const { return m_size; }
    void setSize(qint32 value) { m_size = value; }
    qint32 length() const { return m_length; }
    void setLength(qint32 value) { m_length = value; }
    qint32 trackNumber() const { return m_trackNumber; }
    void setTrackNumber(qint32 value) { m_trackNumber = value; }
    qint32 totalTracks() const { return m_totalTracks; }
    void setTotalTracks(qint32 value) { m_totalTracks = value; }
    qint32 year() const { return m_year; }
    void setYear(qint32 value) { m_year = value; }
    qint32 bitrate() const { return m_bitrate; }
    void setBitrate(qint32 value) { m_bitrate = value; }
    qint32 sampleRate() const { return m_sampleRate; }
    void setSampleRate(qint32 value) { m_sampleRate = value; }
    qint32 volume() const { return m_volume; }
    void setVolume(qint32 value) { m_volume = value; }
    qint32 startTime() const { return m_startTime; }
    void setStartTime(qint32 value) { m_startTime = value; }
    qint32 stopTime() const { return m_stopTime; }
    void setStopTime(qint32 value) { m_stopTime = value; }
    qint32 playCount() const { return m_playCount; }
    void setPlayCount(qint32 value) { m_playCount = value; }
    QDateTime lastPlayedTime() const { return m_lastPlayedTime.date(); }
    void setLastPlayedTime(qint32 macTime) { m_lastPlayedTime.setMacTime(macTime); }
    void setLastPlayedDate(const QDateTime &date) { m_lastPlayedTime.setDate(date); }
    qint32 discNumber() const { return m_discNumber; }
    void setDiscNumber(qint32 value) { m_discNumber = value; }
    qint32 totalDiscs() const { return m_totalDiscs; }
    void setTotalDiscs(qint32 value) { m_totalDiscs = value; }
    QDateTime lastModifiedTime() const { return m_lastModifiedTime.date(); }
    void setLastModifiedTime(qint32 macTime) { m_lastModifiedTime.setMacTime(macTime); }
    void setLastModifiedDate(const QDateTime &date) { m_lastModifiedTime.setDate(date); }
    qint32 bookmarkTime() const { return m_bookmarkTime; }
    void setBookmarkTime(qint32 value) { m_bookmarkTime = value; }
    qint64 dbid() const { return m_dbid; }
    void setDbid(qint64 value) { m_dbid = value; }
    qint8 checked() const { return m_checked; }
    void setChecked(qint8 value) { m_checked = value; }
    qint16 BPM() const { return m_BPM; }
    void setBPM(qint16 value) { m_BPM = value; }
    qint16 artworkCount() const { return m_artworkCount; }
    void setArtworkCount(qint16 value) { m_artworkCount = value; }
    qint32 artworkSize() const { return m_artworkSize; }
    // Takes 16 bits on purpose: the database's 32-bit field is kept only by its low half.
    void setArtworkSize(qint16 value) { m_artworkSize = value; }

    QString title() const { return m_title.text(m_source.get()); }
    void setTitle(const QString &value) { m_title = value; }
    void setTitle(const TDBText &value) { m_title = value; }
    QString location() const { return m_location.text(m_source.get()); }
    void setLocation(const QString &value) { m_location = value; }
    void setLocation(const TDBText &value) { m_location = value; }
    QString album() const { return m_album.text(m_source.get()); }
    void setAlbum(const QString &value) { m_album = value; }
    void setAlbum(const TDBText &value) { m_album = value; }
    QString artist() const { return m_artist.text(m_source.get()); }
    void setArtist(const QString &value) { m_artist = value; }
    void setArtist(const TDBText &value) { m_artist = value; }
    QString genre() const { return m_genre.text(m_source.get()); }
    void setGenre(const QString &value) { m_genre = value; }
    void setGenre(const TDBText &value) { m_genre = value; }
    QString filetype() const { return m_filetype.text(m_source.get()); }
    void setFiletype(const QString &value) { m_filetype = value; }
    void setFiletype(const TDBText &value) { m_filetype = value; }
    QString eqsetting() const { return m_eqsetting.text(m_source.get()); }
    void setEQSetting(const QString &value) { m_eqsetting = value; }
    void setEQSetting(const TDBText &value) { m_eqsetting = value; }
    QString comment() const { return m_comment.text(m_source.get()); }
    void setComment(const QString &value) { m_comment = value; }
    void setComment(const TDBText &value) { m_comment = value; }
    QString composer() const { return m_composer.text(m_source.get()); }
    void setComposer(const QString &value) { m_composer = value; }
    void setComposer(const TDBText &value) { m_composer = value; }
    QString grouping() const { return m_grouping.text(m_source.get()); }
    void setGrouping(const QString &value) { m_grouping = value; }
    void setGrouping(const TDBText &value) { m_grouping = value; }

    QString enclosureURL() const { return m_enclosureURL.text(m_source.get()); }
    void setEnclosureURL(const QString &value) { m_enclosureURL = value; }
    void setEnclosureURL(const TDBText &value) { m_enclosureURL = value; }
    QString rssURL() const { return m_rssURL.text(m_source.get()); }
    void setRssURL(const QString &value) { m_rssURL = value; }
    void setRssURL(const TDBText &value) { m_rssURL = value; }
    QString category() const { return m_category.text(m_source.get()); }
    void setCategory(const QString &value) { m_category = value; }
    void setCategory(const TDBText &value) { m_category = value; }
    QString podcastDescription() const { return m_description.text(m_source.get()); }
    void setPodcastDescription(const QString &value) { m_description = value; }
    void setPodcastDescription(const TDBText &value) { m_description = value; }
    bool isPodcast() const { return m_isPodcast; }
    void setIsPodcast(bool value) { m_isPodcast = value; }
    bool isVideo() const { return m_isVideo; }
    void setVideo(bool value) { m_isVideo = value; }

    quint32 defaultSortOrder() const { return m_defaultSortOrder; }
    void setDefaultSortOrder(quint32 value) { m_defaultSortOrder = value; }
    bool existsIniTunes() const { return m_existsIniTunes; }
    void setExistsIniTunes(bool value) { m_existsIniTunes = value; }
    // The database the track's stored strings are decoded from.
    void setSource(std::shared_ptr<const TDBTrackSource> source) { m_source = std::move(source); }
    std::shared_ptr<void> sourceNode() const { return m_sourceNode; }
    void setSourceNode(std::shared_ptr<void> node) { m_sourceNode = std::move(node); }

    // Ascending by UID: -1, 0 or 1.
    int compareByUID(const TDBTrack &other) const;
    // Same title, artist and album; a missing string equals nothing.
    bool isEqualToTrack(const TDBTrack &other) const;
    // "title - artist".
    QString description() const;

private:
    qint32 m_UID = 0;
    qint8 m_compilation = 0;
    qint32 m_rating = 0;
    TDBMacDate m_dateAdded;
    qint32 m_size = 0;
    qint32 m_length = 0;
    qint32 m_trackNumber = 0;
    qint32 m_totalTracks = 0;
    qint32 m_year = 0;
    qint32 m_bitrate = 0;
    qint32 m_sampleRate = 0;
    qint32 m_volume = 0;
    qint32 m_startTime = 0;
    qint32 m_stopTime = 0;
    qint32 m_playCount = 0;
    TDBMacDate m_lastPlayedTime;
    qint32 m_discNumber = 0;
    qint32 m_totalDiscs = 0;
    TDBMacDate m_lastModifiedTime;
    qint32 m_bookmarkTime = 0;
    qint64 m_dbid = 0;
    qint8 m_checked = 0;
    qint16 m_BPM = 0;
    qint16 m_artworkCount = 0;
    qint32 m_artworkSize = 0;
    TDBText m_title;
    TDBText m_location;
    TDBText m_album;
    TDBText m_artist;
    TDBText m_genre;
    TDBText m_filetype;
    TDBText m_eqsetting;
    TDBText m_comment;
    TDBText m_composer;
    TDBText m_grouping;
    TDBText m_enclosureURL;
    TDBText m_rssURL;
    TDBText m_category;
    TDBText m_description;
    bool m_isPodcast = false;
    bool m_isVideo = false;
    QString m_playlistName; // Never set; kept for the record's shape.
    quint32 m_defaultSortOrder = 0;
    bool m_existsIniTunes = false;
    std::shared_ptr<void> m_sourceNode;
    std::shared_ptr<const TDBTrackSource> m_source;
};
