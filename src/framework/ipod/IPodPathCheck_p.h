#pragma once

#include <QString>

struct MountEntry;

// What makes a folder an iPod Tivaro can write to: the checks shared by TVRiPod and the discovery
// (TVRiPodManager), kept apart so that neither needs the other. Pure questions of the file system.
namespace IPodPathCheck {

// A folder the user can write to, holding an "iPod_Control" folder.
bool isiPodAtPath(const QString &path);
// Why isiPodAtPath() refuses `path`, in words for the user; empty when it accepts it.
QString problemWithPath(const QString &path);

bool hasiPodControlFolder(const QString &path);
bool isWritable(const QString &path);
// Why the volume mounted as `entry` (null: not in the mount table) cannot be written to.
QString unusableReason(const MountEntry *entry);

} // namespace IPodPathCheck
