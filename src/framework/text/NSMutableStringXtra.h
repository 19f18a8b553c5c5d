#pragma once

#include "tivaro_export.h"

#include <QString>

// Helpers on text changed in place.
namespace NSMutableStringXtra {

// Replaces every occurrence of `target` in one case-sensitive pass; returns how many there were.
// An empty target replaces nothing.
TIVARO_EXPORT qsizetype replaceOccurrencesOfString(QString &text, const QString &target, const QString &replacement);

} // namespace NSMutableStringXtra
