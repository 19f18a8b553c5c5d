#pragma once

#include "ipod/DetectedVolume.h"
#include "ipod/TVRiPod.h"

#include <QJsonObject>
#include <QStringList>

// How `tivaro` shows an iPod: JSON keyed by the accessor names, or lines of text.
namespace IPodDescription {

QJsonObject toJson(const TVRiPod &iPod);
QJsonObject toJson(const DetectedVolume &unusableVolume);
QStringList toText(const TVRiPod &iPod);

} // namespace IPodDescription
