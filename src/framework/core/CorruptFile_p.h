#pragma once

#include <QLoggingCategory>
#include <QString>

// Files that should hold a property list but do not. Such a file is moved aside rather than
// overwritten, so that whatever it held can still be looked at or recovered by hand.
namespace CorruptFile {

// Renames `path` to "<path>.corrupt-<yyyyMMdd-HHmmss>" (with "-2", "-3", ... when that name is taken)
// and logs a warning in `category`. Returns the new path, or a null string when the file could not be
// moved: then it must not be overwritten either. May be called from any thread.
QString keepAside(const QString &path, QMessageLogger::CategoryFunction category);

} // namespace CorruptFile
