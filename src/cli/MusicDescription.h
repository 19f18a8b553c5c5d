#pragma once

#include "ipoddb/TDBPlaylist.h"
#include "ipoddb/TDBTrack.h"

#include <QJsonObject>
#include <QString>

// Tracks and playlists of the iPod's music database as JSON (keys named after the accessors, dates in
// ISO 8601) and as one line of text each.
namespace MusicDescription {

QJsonObject toJson(const TDBTrack &track);
// With the type's text and the UIDs of its tracks, in order.
QJsonObject toJson(const TDBPlaylist &playlist);
QString toText(const TDBTrack &track);
QString toText(const TDBPlaylist &playlist);

} // namespace MusicDescription
