#pragma once

#include "feeds/RSS.h"

#include <QJsonObject>
#include <QStringList>

// How `tivaro feed parse` shows a feed: JSON keyed as the parser keys it, or lines of text.
namespace FeedDescription {

// {"version", "isAtomFeed", "header": {...}, "items": [{...}]}; an enclosure is a nested object.
QJsonObject toJson(const RSS &feed);
// The version and kind, then "header" and "item N" sections of "  key: value" lines.
QStringList toText(const RSS &feed);

} // namespace FeedDescription
