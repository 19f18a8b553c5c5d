#pragma once

#include "tivaro_export.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <optional>

// "SyncLog.plist" in the application support folder: a property-list array with one data element
// per sync, each a LogManager::archive(), oldest first. Nothing is ever removed from it.
//
// Processes share the file through a lock beside it, so syncs started from a script and by hand at
// the same time both keep their entry. All functions may be called from any thread.
// For Tivaro's programs; plug-ins have no use for it.
namespace SyncLogFile {

TIVARO_EXPORT QString path();

// Adds one archived log at the end. A file that is there but is no property-list array is moved
// aside (to "<file>.corrupt-<date>") and a new one begun; a file that cannot be read is never
// written over. False, with *error saying why, when the entry could not be added.
TIVARO_EXPORT bool append(const QByteArray &archivedLog, QString *error = nullptr);

// Moves a file that is there but is no property-list array aside, as append() would, so that the
// caller can say so in the log it is about to add. True with *aside empty when there was nothing to
// move; true with *aside and *problem set when the file was moved; false, with *problem saying
// why, when the file cannot be read or moved (append() would then fail too).
TIVARO_EXPORT bool setAsideIfCorrupt(QString *aside, QString *problem);
// The archived logs, oldest first; empty when there is no file yet. Nullopt, with *error saying
// why, when the file cannot be read or is no property-list array. Elements that are not data are
// left out with a warning on the tivaro.sync logging category.
TIVARO_EXPORT std::optional<QList<QByteArray>> readEntries(QString *error = nullptr);
// The same for the bytes of such a file.
TIVARO_EXPORT std::optional<QList<QByteArray>> entriesFromData(const QByteArray &bytes, QString *error = nullptr);

} // namespace SyncLogFile
