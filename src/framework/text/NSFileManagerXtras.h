#pragma once

#include <QString>

// File-manager helpers shared across Tivaro.
namespace NSFileManagerXtras {

// Creates every missing folder along `path`, one component at a time, ignoring failures.
// Returns whether the whole path exists afterwards (as a folder or anything else).
bool buildPath(const QString &path);

} // namespace NSFileManagerXtras
