#pragma once

#include "tivaro_export.h"

#include "DetectedVolume.h"
#include "TVRiPodPtr.h"

#include <QList>
#include <QString>

#include <optional>

// Finds the iPods mounted as disks. It keeps no state: every question reads the mount table again
// and makes new TVRiPod objects. Any thread.
// For Tivaro's programs; plug-ins have no use for it.
class TIVARO_EXPORT TVRiPodManager
{
public:
    // A new manager at every call; the name stays for callers used to a shared one.
    static TVRiPodManager sharedManager() { return TVRiPodManager(); }

    // A folder the user can write to, holding an "iPod_Control" folder.
    static bool isiPodAtPath(const QString &path);
    // Why isiPodAtPath() refuses `path`, in words for the user; empty when it accepts it.
    static QString problemWithPath(const QString &path);

    // The iPods on local, writable mounts, sorted by name ignoring case.
    // Throws SysInfoError when one of them has a malformed SysInfo.
    QList<TVRiPodPtr> connectediPods() const;
    // The connected iPods that are not shuffles; nullopt (not an empty list) when there is none.
    std::optional<QList<TVRiPodPtr>> connectedSyncableiPods() const;
    int numberOfSyncableiPods() const;
    // The first connected iPod that syncs with Tivaro (shuffles included), or null.
    TVRiPodPtr choseniPod() const;
    // Whether the preference "TVRSyncSN" names an iPod.
    static bool userHasChoseniPod();

    // Every local mount with an "iPod_Control" folder, usable or not, each with the reason when it
    // cannot be synced (read-only, Mac-formatted, malformed SysInfo), sorted like connectediPods().
    // Never throws: this is what tells the user why an iPod they see does not sync.
    QList<DetectedVolume> scanVolumes() const;
};
