#pragma once

#include "ipod/TVRiPod.h"

class Console;

namespace IPodOpener {

// The iPod at `path`, or null after printing why the path is no iPod.
TVRiPodPtr open(const QString &path, Console &console);
// The same, and the UTF-8 text of `input` (a file, or standard input for "-" or none) into *text;
// null after printing why either cannot be had.
TVRiPodPtr openWithText(const QString &path, const QString &input, Console &console, QString *text);

} // namespace IPodOpener
