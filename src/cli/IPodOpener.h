#pragma once

#include "ipod/TVRiPod.h"

class Console;

namespace IPodOpener {

// The iPod at `path`, or null after printing why the path is no iPod.
TVRiPodPtr open(const QString &path, Console &console);
// The same, and the UTF-8 text of `input` (a file, or standard input for "-" or none) into *text;
// null after printing why either cannot be had.
TVRiPodPtr openWithText(const QString &path, const QString &input, Console &console, QString *text);
// The owner the record of Tivaro's files gives what the commands write: no plug-in's, so that no
// plug-in's clean-up ever removes it.
QString commandLineOwner();

} // namespace IPodOpener
