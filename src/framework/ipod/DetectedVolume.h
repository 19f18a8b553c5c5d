#pragma once

#include "tivaro_export.h"

#include "TVRiPodPtr.h"

#include <QString>

// A mounted volume that carries an "iPod_Control" folder, as TVRiPodManager::scanVolumes() reports it:
// either a usable iPod, or the reason it cannot be synced.
// For Tivaro's programs; plug-ins have no use for it.
struct TIVARO_EXPORT DetectedVolume {
    QString path;
    QString fileSystemType;
    TVRiPodPtr iPod; // null when the volume cannot be used
    QString problem; // why it cannot be used; empty for an iPod
};
