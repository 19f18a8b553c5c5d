#pragma once

#include "tivaro_export.h"

#include <QString>

// File-manager helpers shared across Tivaro.
namespace NSFileManagerXtras {

// Creates every missing folder along `path`, one component at a time, ignoring failures.
// Returns whether the whole path exists afterwards (as a folder or anything else).
TIVARO_EXPORT bool buildPath(const QString &path);

} // namespace NSFileManagerXtras
