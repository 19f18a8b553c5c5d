// The iPod's music database as the reader sees it: any bytes at all. A stop with "position: %X" is
// the designed end of a walk; a crash, a read past the buffer or a hang is a bug.
#include "ipoddb/TDBiPod_p.h"

#include <QByteArray>
#include <QLoggingCategory>

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const bool quiet = [] {
        QLoggingCategory::setFilterRules(QStringLiteral("tivaro.*=false"));
        return true;
    }();
    Q_UNUSED(quiet);
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    TDBiPod reader(QStringLiteral("/media/POD"));
    reader.processiTunesDB(bytes);
    if (size == 0)
        return 0;
    const std::optional<QList<TDBTrackPtr>> tracks = reader.tracks();
    const std::optional<QList<TDBPlaylistPtr>> playlists = reader.playlists();
    if (!tracks || !playlists || reader.currentTrack())
        __builtin_trap();
    // Strings are decoded when read: every kind, including the file path and the 8-bit ones. Each
    // comes from bytes of its own track, at most a character a byte, and every track's record is
    // longer than what description() and location() add (" - ", the mount path and a slash).
    qsizetype characters = 0;
    for (const TDBTrackPtr &track : *tracks)
        characters += track->description().size() + track->location().size() + track->rssURL().size() +
                      track->enclosureURL().size() + track->podcastDescription().size();
    if (characters > 2 * qsizetype(size))
        __builtin_trap();
    // Playlists only ever hold the reader's own tracks, found by UID.
    for (const TDBPlaylistPtr &playlist : *playlists) {
        for (const TDBTrackPtr &track : playlist->tracks()) {
            if (!tracks->contains(track))
                __builtin_trap();
        }
    }
    return 0;
}
