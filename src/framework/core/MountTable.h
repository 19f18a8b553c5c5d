#pragma once

#include "MountEntry.h"

#include <QList>
#include <QString>

// The mount table. The kernel's list is read without blocking on any file system.
namespace MountTable {

// The table of this process. The variable TIVARO_MOUNTINFO may name another file in the same
// format, so that discovery can be tried against a described set of mounts.
QList<MountEntry> current();
QString currentSourcePath();

// Parses the text of a mountinfo file; malformed lines are skipped.
QList<MountEntry> parse(const QByteArray &mountinfo);

// The entry mounted exactly at `path` (the last one when mounts are stacked), or nullptr.
const MountEntry *entryForMountPoint(const QList<MountEntry> &table, const QString &path);

} // namespace MountTable
