#include "TDBiPod_p.h"

#include "TDBBytes_p.h"
#include "TDBFormat_p.h"

#include "core/Logging_p.h"
#include "core/VolumeRoot_p.h"
#include "text/NSStringXtra.h"

#include <algorithm>
#include <limits>

using namespace TDBBytes;
using namespace TDBFormat;

namespace {

qint64 longAt(QByteArrayView data, qint64 offset)
{
    return readLong(data, offset).value_or(0);
}

bool fitsIn(qint64 position, qint64 length, qint64 end)
{
    // The smallest chunk that can advance a walk: tag, header length and total length (or count).
    return length >= ChunkField::End && length <= end - position;
}

// A real music database of 100,000 tracks is under 200 MB; a larger file (or a device) is not read.
constexpr qint64 kMaximumDatabaseBytes = 256 * 1024 * 1024;
constexpr qint64 kMaximumDeviceInfoBytes = 64 * 1024;

// The file at `relativePath` of the iPod, when it is a regular file below it of at most `maxBytes`.
QByteArray readFile(const QString &mountPath, const char *relativePath, qint64 maxBytes)
{
    QString problem;
    const std::unique_ptr<VolumeRoot> volume = VolumeRoot::open(mountPath, &problem);
    if (!volume || volume->entry(relativePath).kind == VolumeRoot::Kind::Missing)
        return QByteArray();
    std::optional<QByteArray> data = volume->readFile(relativePath, maxBytes, &problem);
    if (!data)
        qCWarning(lcIPodDb).noquote() << "Not read:" << problem;
    return data.value_or(QByteArray());
}

} // namespace

TDBiPod::TDBiPod(const QString &mountPath)
    : m_mountPath(mountPath)
    , m_photoDatabase(mountPath)
{}

std::optional<QList<TDBTrackPtr>> TDBiPod::tracks()
{
    if (!m_tracks)
        loadTracks();
    return m_tracks;
}

std::optional<QList<TDBPlaylistPtr>> TDBiPod::playlists()
{
    if (!m_tracks)
        loadTracks();
    return m_playlists;
}

std::optional<QList<TDBTrackPtr>> TDBiPod::podcasts()
{
    if (!m_tracks)
        loadTracks();
    return m_podcasts;
}

void TDBiPod::loadTracks()
{
    processiTunesDB(readFile(m_mountPath, "iPod_Control/iTunes/iTunesDB", kMaximumDatabaseBytes));
}

void TDBiPod::processiTunesDB(const QByteArray &data)
{
    if (data.isEmpty())
        return;
    // Tracks note where their strings lie in 32 bits; a real database is a few dozen megabytes.
    if (data.size() > std::numeric_limits<qint32>::max()) {
        qCWarning(lcIPodDb) << "the music database is too large to read:" << data.size() << "bytes";
        return;
    }
    // The tracks keep the bytes to decode their strings from; bytes borrowed with fromRawData are copied.
    QByteArray bytes = data;
    if (!bytes.data_ptr().isMutable())
        bytes = QByteArray(data.constData(), data.size());
    m_source = std::make_shared<const TDBTrackSource>(TDBTrackSource{bytes, m_mountPath});
    m_tracks.emplace();
    m_tracksByUID.clear();
    m_playlists.emplace();
    m_maxPosition = data.size();
    // A loop where each chunk hands on the next cursor; the order of tracks and playlists is the file's.
    std::optional<qint64> cursor = 0;
    while (cursor && *cursor < m_maxPosition)
        cursor = processChunk(data, *cursor);
    m_currentTrack.reset();
    m_currentPlaylist.reset();
    std::stable_sort(m_playlists->begin(), m_playlists->end(),
                     [](const TDBPlaylistPtr &a, const TDBPlaylistPtr &b) { return a->compare(*b) < 0; });
}

void TDBiPod::stop(qint64 cursor) const
{
    qCWarning(lcIPodDb).noquote() << QStringLiteral("position: %1").arg(QString::number(cursor, 16).toUpper());
}

std::optional<qint64> TDBiPod::processChunk(QByteArrayView data, qint64 cursor)
{
    const qint64 headerLength = longAt(data, cursor + ChunkField::HeaderLength);
    // Stepping into a chunk must move forward by at least a chunk header and stay inside the buffer.
    const bool headerFits = fitsIn(cursor, headerLength, m_maxPosition);
    std::optional<qint64> next;
    if (headerFits && (hasTag(data, cursor, Chunk::Database) || hasTag(data, cursor, Chunk::PlaylistList))) {
        next = cursor + headerLength;
    } else if (headerFits && hasTag(data, cursor, Chunk::DataSet) && readLong(data, cursor + DataSetField::Type)) {
        const qint64 total = longAt(data, cursor + ChunkField::TotalLength);
        if (fitsIn(cursor, total, m_maxPosition))
            next = longAt(data, cursor + DataSetField::Type) == DataSetType::PodcastPlaylists ? cursor + total
                                                                                              : cursor + headerLength;
    } else if (headerFits && hasTag(data, cursor, Chunk::TrackList)) {
        next = processTrackList(data, cursor, headerLength);
    } else if (headerFits && hasTag(data, cursor, Chunk::Playlist)) {
        next = processPlaylist(data, cursor, headerLength);
    }
    if (!next)
        stop(cursor);
    return next;
}

std::optional<qint64> TDBiPod::processTrackList(QByteArrayView data, qint64 cursor, qint64 headerLength)
{
    // The count is trusted only as far as the buffer holds tracks: each one advances or ends the list.
    const qint64 count = quint32(longAt(data, cursor + ChunkField::ChildCount));
    qint64 position = cursor + headerLength;
    // Room for as many tracks as the rest of the buffer can hold, however large the count claims to be.
    const qint64 room = std::min(count, (m_maxPosition - position) / TrackField::End);
    m_tracks->reserve(m_tracks->size() + room);
    m_tracksByUID.reserve(m_tracksByUID.size() + room);
    for (qint64 i = 0; i < count; ++i) {
        const std::optional<qint64> length = processMHIT(data, position);
        if (!length)
            return std::nullopt;
        position += *length;
    }
    return position;
}

std::optional<qint64> TDBiPod::processMHIT(QByteArrayView data, qint64 position)
{
    const qint64 headerLength = longAt(data, position + ChunkField::HeaderLength);
    const qint64 total = longAt(data, position + ChunkField::TotalLength);
    // The track header is read up to its artwork size.
    if (!fitsIn(position, total, m_maxPosition) || total < TrackField::End || headerLength < ChunkField::End ||
        headerLength > total)
        return std::nullopt;
    m_currentTrack = TDBTrack::track();
    m_currentTrack->setSource(m_source);
    readTrackHeader(data, position, *m_currentTrack);
    processChildren(data, position + headerLength, position + total,
                    quint32(longAt(data, position + TrackField::DataObjectCount)));
    m_tracks->append(m_currentTrack);
    // The first of several tracks with one UID is the one playlists find.
    if (TDBTrackPtr &byUID = m_tracksByUID[m_currentTrack->UID()]; !byUID)
        byUID = m_currentTrack;
    m_currentTrack.reset();
    return total;
}

void TDBiPod::readTrackHeader(QByteArrayView data, qint64 p, TDBTrack &track) const
{
    const auto byte = [&](qint64 offset) { return qint8(data[p + offset]); };
    const auto word = [&](qint64 offset) { return readShort(data, p + offset).value_or(0); };
    const auto value = [&](qint64 offset) { return qint32(longAt(data, p + offset)); };
    track.setUID(value(TrackField::UID));
    track.setCompilation(byte(TrackField::Compilation));
    track.setRating(byte(TrackField::Rating));
    track.setLastModifiedTime(value(TrackField::LastModified));
    track.setSize(value(TrackField::Size));
    track.setLength(value(TrackField::Length) / 1000);
    track.setTrackNumber(value(TrackField::TrackNumber));
    track.setTotalTracks(value(TrackField::TotalTracks));
    track.setYear(value(TrackField::Year));
    track.setBitrate(value(TrackField::Bitrate));
    track.setSampleRate(quint16(word(TrackField::SampleRateHertz)));
    track.setVolume(value(TrackField::Volume));
    track.setStartTime(value(TrackField::StartTime));
    track.setStopTime(value(TrackField::StopTime));
    track.setPlayCount(value(TrackField::PlayCount));
    track.setLastPlayedTime(value(TrackField::LastPlayed));
    track.setDiscNumber(value(TrackField::DiscNumber));
    track.setTotalDiscs(value(TrackField::TotalDiscs));
    track.setDateAdded(value(TrackField::DateAdded));
    track.setBookmarkTime(value(TrackField::BookmarkTime));
    track.setDbid(readLongLong(data, p + TrackField::Dbid).value_or(0));
    track.setChecked(byte(TrackField::Checked));
    track.setBPM(word(TrackField::BPM));
    track.setArtworkCount(word(TrackField::ArtworkCount));
    track.setArtworkSize(qint16(value(TrackField::ArtworkSize)));
}

std::optional<qint64> TDBiPod::processPlaylist(QByteArrayView data, qint64 cursor, qint64 headerLength)
{
    const qint64 total = longAt(data, cursor + ChunkField::TotalLength);
    if (!fitsIn(cursor, total, m_maxPosition) || total < PlaylistField::End || headerLength > total)
        return std::nullopt;
    if (longAt(data, cursor + PlaylistField::Hidden) == HiddenMasterPlaylist)
        return cursor + total;
    m_currentPlaylist = std::make_shared<TDBPlaylist>();
    // Each item was once followed by its own data object; writers since iTunes 4.9 nest it inside the
    // item, so the playlist's end bounds the walk as well.
    const qint64 steps = qint64(quint32(longAt(data, cursor + PlaylistField::DataObjectCount))) +
                         2 * qint64(quint32(longAt(data, cursor + PlaylistField::ItemCount)));
    processChildren(data, cursor + headerLength, cursor + total, steps);
    if (m_currentPlaylist->name() == QLatin1String("Purchased Music"))
        m_currentPlaylist->setType(TDBPlaylist::kTypePurchasedMusic);
    else if (m_currentPlaylist->name() == QLatin1String("Podcasts"))
        m_currentPlaylist->setType(TDBPlaylist::kTypePodcast);
    m_playlists->append(m_currentPlaylist);
    m_currentPlaylist.reset();
    return cursor + total;
}

void TDBiPod::processChildren(QByteArrayView data, qint64 position, qint64 end, qint64 count)
{
    for (qint64 i = 0; i < count && position < end; ++i) {
        const std::optional<qint64> length = processMHODOrMHIP(data, position, end);
        if (!length)
            return;
        position += *length;
    }
}

std::optional<qint64> TDBiPod::processMHODOrMHIP(QByteArrayView data, qint64 position, qint64 end)
{
    const qint64 total = longAt(data, position + ChunkField::TotalLength);
    if (!fitsIn(position, total, end))
        return std::nullopt;
    if (hasTag(data, position, Chunk::PlaylistItem))
        processMHIP(data, position);
    else if (hasTag(data, position, Chunk::DataObject))
        processMHOD(data, position, total);
    return total;
}

void TDBiPod::processMHIP(QByteArrayView data, qint64 position)
{
    const std::optional<qint32> uid = readLong(data, position + PlaylistItemField::TrackUID);
    if (!uid || !m_currentPlaylist)
        return;
    // Looked up in place: a copy of the pointer for the lookup alone costs as much as the lookup.
    if (const auto found = m_tracksByUID.constFind(*uid); found != m_tracksByUID.cend())
        m_currentPlaylist->addTrack(*found);
}

void TDBiPod::processMHOD(QByteArrayView data, qint64 position, qint64 total)
{
    const qint32 type = qint32(longAt(data, position + DataObjectField::Type));
    if (type == DataObjectType::SmartPlaylistData || type == DataObjectType::SmartPlaylistRules) {
        if (m_currentPlaylist)
            m_currentPlaylist->setType(TDBPlaylist::kTypeSmart);
        return;
    }
    if (type == DataObjectType::PlaylistPosition)
        return;
    // Where the text lies; it is decoded only when asked for.
    std::optional<TDBText> text;
    if (type == DataObjectType::RssURL || type == DataObjectType::EnclosureURL) {
        const qint64 headerLength = longAt(data, position + ChunkField::HeaderLength);
        if (headerLength >= 0 && headerLength <= total)
            text = TDBText::stored(position + headerLength, total - headerLength, TDBText::Encoding::Bytes);
    } else if (total >= DataObjectField::End) {
        const qint64 length = longAt(data, position + DataObjectField::StringLength);
        // The string ends the chunk; an odd length reads one byte beyond it, as the format's readers always have.
        const qint64 offset = position + total - length;
        const qint64 count = (length + 1) / 2;
        if (length >= 0 && length <= total && count * 2 <= data.size() - offset)
            text = TDBText::stored(offset, count,
                                   type == DataObjectType::Location ? TDBText::Encoding::iPodPath
                                                                    : TDBText::Encoding::Utf16);
    }
    if (text)
        applyString(type, *text);
}

void TDBiPod::applyString(qint32 type, const TDBText &text)
{
    TDBTrack *track = m_currentTrack.get();
    const auto onTrack = [track](auto apply) {
        if (track)
            apply(*track);
    };
    const auto set = [&](void (TDBTrack::*setter)(const TDBText &)) {
        onTrack([&](TDBTrack &t) { (t.*setter)(text); });
    };
    const auto podcast = [&](void (TDBTrack::*setter)(const TDBText &)) {
        onTrack([&](TDBTrack &t) {
            (t.*setter)(text);
            t.setIsPodcast(true);
        });
    };
    switch (type) {
    case DataObjectType::Title:
        if (m_currentPlaylist)
            m_currentPlaylist->setName(text.text(m_source.get()));
        else
            set(&TDBTrack::setTitle);
        break;
    case DataObjectType::Location:
        set(&TDBTrack::setLocation);
        break;
    case DataObjectType::Album:
        set(&TDBTrack::setAlbum);
        break;
    case DataObjectType::Artist:
        set(&TDBTrack::setArtist);
        break;
    case DataObjectType::Genre:
        set(&TDBTrack::setGenre);
        break;
    case DataObjectType::FileType:
        if (track && text.isAnyOf(m_source.get(),
                                  {QLatin1StringView("MPEG-4 video file"), QLatin1StringView("QuickTime movie file")}))
            track->setVideo(true);
        break;
    case DataObjectType::Comment:
        set(&TDBTrack::setComment);
        break;
    case DataObjectType::Category:
        podcast(&TDBTrack::setCategory);
        break;
    case DataObjectType::Composer:
        set(&TDBTrack::setComposer);
        break;
    case DataObjectType::Description:
        podcast(&TDBTrack::setPodcastDescription);
        break;
    case DataObjectType::RssURL:
        podcast(&TDBTrack::setRssURL);
        break;
    case DataObjectType::EnclosureURL:
        podcast(&TDBTrack::setEnclosureURL);
        break;
    default: // EQ setting, grouping and unknown types are dropped on purpose
        break;
    }
}

TDBTrackPtr TDBiPod::trackWithUID(qint32 uid) const
{
    return m_tracksByUID.value(uid);
}

TDBTrackPtr TDBiPod::trackWithDBID(qint64 dbid) const
{
    if (!m_tracks)
        return {};
    const auto it =
        std::find_if(m_tracks->cbegin(), m_tracks->cend(), [dbid](const TDBTrackPtr &t) { return t->dbid() == dbid; });
    return it == m_tracks->cend() ? TDBTrackPtr() : *it;
}

QString TDBiPod::name()
{
    if (m_name.isNull())
        loadName();
    return m_name;
}

void TDBiPod::loadName()
{
    processDeviceInfo(readFile(m_mountPath, "iPod_Control/iTunes/DeviceInfo", kMaximumDeviceInfoBytes));
}

void TDBiPod::processDeviceInfo(const QByteArray &data)
{
    if (data.isEmpty())
        return;
    // A count beyond the file (or a negative one, read unsigned) stops at the file's end.
    const qint64 count = quint16(readShort(data, DeviceInfoField::NameLength).value_or(0));
    const qint64 available = std::max<qint64>(0, (data.size() - DeviceInfoField::Name) / 2);
    m_name = readUtf16(data, DeviceInfoField::Name, std::min(count, available)).value_or(QString());
    if (m_name.isNull())
        m_name = QStringLiteral(""); // a count of 0 names the iPod with nothing, which is not "no name"
}

bool TDBiPod::loadArtwork(const QString &outputFolder)
{
    tracks();
    return m_photoDatabase.loadArtwork(outputFolder, [this](qint64 dbid) { return trackWithDBID(dbid); });
}
