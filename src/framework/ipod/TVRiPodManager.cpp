#include "TVRiPodManager.h"

#include "IPodPathCheck_p.h"
#include "SysInfoError.h"
#include "TVRiPod.h"

#include "core/Logging_p.h"
#include "core/MountTable.h"
#include "core/PathUtils.h"
#include "core/UserDefaults.h"

#include <QFileInfo>

#include <algorithm>

namespace {

// Mounts worth probing, without stacked duplicates: only the top mount at a point can be reached.
QList<MountEntry> localMounts()
{
    const QList<MountEntry> table = MountTable::current();
    QList<MountEntry> local;
    for (qsizetype i = 0; i < table.size(); ++i) {
        const MountEntry &entry = table.at(i);
        const bool coveredLater = std::any_of(table.cbegin() + i + 1, table.cend(), [&entry](const MountEntry &later) {
            return later.mountPoint == entry.mountPoint;
        });
        if (entry.isLocal() && !coveredLater)
            local.append(entry);
    }
    return local;
}

template<typename T, typename NameOf> void sortByName(QList<T> &list, NameOf nameOf)
{
    std::stable_sort(list.begin(), list.end(), [&nameOf](const T &a, const T &b) {
        return nameOf(a).compare(nameOf(b), Qt::CaseInsensitive) < 0;
    });
}

} // namespace

bool TVRiPodManager::isiPodAtPath(const QString &path)
{
    return IPodPathCheck::isiPodAtPath(path);
}

QString TVRiPodManager::problemWithPath(const QString &path)
{
    return IPodPathCheck::problemWithPath(path);
}

QList<TVRiPodPtr> TVRiPodManager::connectediPods() const
{
    QList<TVRiPodPtr> iPods;
    for (const MountEntry &entry : localMounts()) {
        if (entry.isReadOnly() || !IPodPathCheck::isiPodAtPath(entry.mountPoint))
            continue;
        // One iPod whose SysInfo cannot be read must not hide the others; scanVolumes() says why.
        try {
            if (TVRiPodPtr iPod = TVRiPod::iPodAtPath(entry.mountPoint))
                iPods.append(iPod);
        } catch (const SysInfoError &error) {
            qCWarning(lcIPod).noquote() << "Left out" << entry.mountPoint << ":" << error.message();
        }
    }
    sortByName(iPods, [](const TVRiPodPtr &iPod) { return iPod->name(); });
    return iPods;
}

std::optional<QList<TVRiPodPtr>> TVRiPodManager::connectedSyncableiPods() const
{
    QList<TVRiPodPtr> syncable;
    for (const TVRiPodPtr &iPod : connectediPods()) {
        if (!iPod->isiPodShuffle())
            syncable.append(iPod);
    }
    if (syncable.isEmpty())
        return std::nullopt;
    return syncable;
}

int TVRiPodManager::numberOfSyncableiPods() const
{
    const std::optional<QList<TVRiPodPtr>> syncable = connectedSyncableiPods();
    return syncable ? int(syncable->size()) : 0;
}

TVRiPodPtr TVRiPodManager::choseniPod() const
{
    for (const TVRiPodPtr &iPod : connectediPods()) {
        if (iPod->syncsWithTivaro())
            return iPod;
    }
    return nullptr;
}

bool TVRiPodManager::userHasChoseniPod()
{
    UserDefaults defaults;
    defaults.addSuiteNamed(UserDefaults::applicationDomain());
    return !defaults.stringForKey(QStringLiteral("TVRSyncSN")).isEmpty();
}

QList<DetectedVolume> TVRiPodManager::scanVolumes() const
{
    QList<DetectedVolume> volumes;
    for (const MountEntry &entry : localMounts()) {
        if (!IPodPathCheck::hasiPodControlFolder(entry.mountPoint))
            continue;
        DetectedVolume volume{entry.mountPoint, entry.fileSystemType, nullptr, QString()};
        if (entry.isReadOnly() || !IPodPathCheck::isWritable(entry.mountPoint)) {
            volume.problem = IPodPathCheck::unusableReason(&entry);
        } else {
            try {
                volume.iPod = TVRiPod::withPath(entry.mountPoint);
            } catch (const SysInfoError &error) {
                volume.problem = QStringLiteral("unreadable SysInfo: %1").arg(error.message());
            }
        }
        volumes.append(volume);
    }
    sortByName(volumes, [](const DetectedVolume &volume) {
        return volume.iPod ? volume.iPod->name() : PathUtils::lastPathComponent(volume.path);
    });
    return volumes;
}

// Here rather than with TVRiPod: it asks the discovery, which TVRiPod itself never needs.
TVRiPodPtr TVRiPod::connectediPod()
{
    const QList<TVRiPodPtr> iPods = TVRiPodManager::sharedManager().connectediPods();
    for (const TVRiPodPtr &iPod : iPods) {
        if (!iPod->isiPodShuffle() && iPod->syncsWithTivaro())
            return iPod;
    }
    return nullptr;
}
