#pragma once

#include "TVRiPodPtr.h"

#include <QString>

// A mounted volume that carries an "iPod_Control" folder, as TVRiPodManager::scanVolumes() reports it:
// either a usable iPod, or the reason it cannot be synced.
struct DetectedVolume {
    QString path;
    QString fileSystemType;
    TVRiPodPtr iPod; // null when the volume cannot be used
    QString problem; // why it cannot be used; empty for an iPod
};
