// The iPod's music database as the reader sees it: any bytes at all. A stop with "position: %X" is
// the designed end of a walk; a crash, a read past the buffer or a hang is a bug.
#include "ipoddb/TDBiPod.h"

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
    // Strings are decoded when read: every kind, including the file path and the 8-bit ones. The sum
    // only keeps the reads from being optimised away.
    qsizetype characters = 0;
    for (const TDBTrackPtr &track : *tracks)
        characters += track->description().size() + track->location().size() + track->rssURL().size() +
                      track->enclosureURL().size() + track->podcastDescription().size();
    static volatile qsizetype decoded = 0;
    decoded = characters;
    // Playlists only ever hold the reader's own tracks, found by UID.
    for (const TDBPlaylistPtr &playlist : *playlists) {
        for (const TDBTrackPtr &track : playlist->tracks()) {
            if (!tracks->contains(track))
                __builtin_trap();
        }
    }
    return 0;
}
