#pragma once

#include "ipod/TVRiPod.h"

class Console;

namespace IPodOpener {

// The iPod at `path`, or null after printing why the path is no iPod.
TVRiPodPtr open(const QString &path, Console &console);

} // namespace IPodOpener
