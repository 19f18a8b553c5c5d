#pragma once

#include "tivaro_export.h"

#include "MountEntry.h"

#include <QList>
#include <QString>

// The mount table. The kernel's list is read without blocking on any file system.
// For Tivaro's programs; plug-ins have no use for it.
namespace MountTable {

// The table of this process. The variable TIVARO_MOUNTINFO may name another file in the same
// format, so that discovery can be tried against a described set of mounts.
TIVARO_EXPORT QList<MountEntry> current();
TIVARO_EXPORT QString currentSourcePath();

// Parses the text of a mountinfo file; malformed lines are skipped.
TIVARO_EXPORT QList<MountEntry> parse(const QByteArray &mountinfo);

// The entry mounted exactly at `path` (the last one when mounts are stacked), or nullptr.
TIVARO_EXPORT const MountEntry *entryForMountPoint(const QList<MountEntry> &table, const QString &path);

} // namespace MountTable
