#pragma once

#include "tivaro_export.h"

#include <QString>

// Path-string operations in the manner of the Mac's: they never touch the file system.
namespace PathUtils {

// "a" + "b" gives "a/b"; "a/" + "b" gives "a/b"; an empty component gives the path unchanged.
TIVARO_EXPORT QString appendingPathComponent(const QString &path, const QString &component);
// The part after the last "/" (trailing slashes ignored); "/" for the root.
TIVARO_EXPORT QString lastPathComponent(const QString &path);
// The name without its last ".extension"; a leading dot does not start an extension.
TIVARO_EXPORT QString deletingPathExtension(const QString &path);

} // namespace PathUtils
