#include "MusicDescription.h"

#include <QJsonArray>

namespace {

QJsonValue orNull(const QString &text)
{
    return text.isNull() ? QJsonValue(QJsonValue::Null) : QJsonValue(text);
}

QJsonValue date(const QDateTime &when)
{
    return when.isValid() ? QJsonValue(when.toString(Qt::ISODate)) : QJsonValue(QJsonValue::Null);
}

QString uidList(const TDBPlaylist &playlist)
{
    QStringList uids;
    for (const TDBTrackPtr &track : playlist.tracks())
        uids << QString::number(track->UID());
    return uids.join(QLatin1Char(' '));
}

} // namespace

namespace MusicDescription {

QJsonObject toJson(const TDBTrack &t)
{
    return {
        {QStringLiteral("UID"), t.UID()},
        {QStringLiteral("title"), orNull(t.title())},
        {QStringLiteral("artist"), orNull(t.artist())},
        {QStringLiteral("album"), orNull(t.album())},
        {QStringLiteral("genre"), orNull(t.genre())},
        {QStringLiteral("composer"), orNull(t.composer())},
        {QStringLiteral("comment"), orNull(t.comment())},
        {QStringLiteral("location"), orNull(t.location())},
        {QStringLiteral("compilation"), t.compilation()},
        {QStringLiteral("rating"), t.rating()},
        {QStringLiteral("dateAdded"), date(t.dateAdded())},
        {QStringLiteral("size"), t.size()},
        {QStringLiteral("length"), t.length()},
        {QStringLiteral("trackNumber"), t.trackNumber()},
        {QStringLiteral("totalTracks"), t.totalTracks()},
        {QStringLiteral("year"), t.year()},
        {QStringLiteral("bitrate"), t.bitrate()},
        {QStringLiteral("sampleRate"), t.sampleRate()},
        {QStringLiteral("volume"), t.volume()},
        {QStringLiteral("startTime"), t.startTime()},
        {QStringLiteral("stopTime"), t.stopTime()},
        {QStringLiteral("playCount"), t.playCount()},
        {QStringLiteral("lastPlayedTime"), date(t.lastPlayedTime())},
        {QStringLiteral("discNumber"), t.discNumber()},
        {QStringLiteral("totalDiscs"), t.totalDiscs()},
        {QStringLiteral("lastModifiedTime"), date(t.lastModifiedTime())},
        {QStringLiteral("bookmarkTime"), t.bookmarkTime()},
        // As text: JSON numbers lose 64-bit precision in most readers.
        {QStringLiteral("dbid"), QString::number(t.dbid())},
        {QStringLiteral("checked"), t.checked()},
        {QStringLiteral("BPM"), t.BPM()},
        {QStringLiteral("artworkCount"), t.artworkCount()},
        {QStringLiteral("artworkSize"), t.artworkSize()},
        {QStringLiteral("category"), orNull(t.category())},
        {QStringLiteral("podcastDescription"), orNull(t.podcastDescription())},
        {QStringLiteral("rssURL"), orNull(t.rssURL())},
        {QStringLiteral("enclosureURL"), orNull(t.enclosureURL())},
        {QStringLiteral("isPodcast"), t.isPodcast()},
        {QStringLiteral("isVideo"), t.isVideo()},
    };
}

QJsonObject toJson(const TDBPlaylist &playlist)
{
    QJsonArray uids;
    for (const TDBTrackPtr &track : playlist.tracks())
        uids.append(track->UID());
    return {
        {QStringLiteral("name"), orNull(playlist.name())},
        {QStringLiteral("type"), playlist.type()},
        {QStringLiteral("typeString"), orNull(TDBPlaylist::stringForType(playlist.type()))},
        {QStringLiteral("tracks"), uids},
    };
}

QString toText(const TDBTrack &track)
{
    return QStringLiteral("%1  %2 - %3  (%4:%5)")
        .arg(track.UID())
        .arg(track.title(), track.artist())
        .arg(track.length() / 60)
        .arg(track.length() % 60, 2, 10, QLatin1Char('0'));
}

QString toText(const TDBPlaylist &playlist)
{
    return QStringLiteral("%1 [%2]: %3")
        .arg(playlist.name(), TDBPlaylist::stringForType(playlist.type()), uidList(playlist));
}

} // namespace MusicDescription
