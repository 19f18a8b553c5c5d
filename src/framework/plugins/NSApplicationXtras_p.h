#pragma once

#include "tivaro_export.h"

#include <QString>
#include <QtGlobal>

// Which system the framework runs on, in the shape the classic system reported its version: a
// binary-coded-decimal number 0xMMMmp, where the digits above the last two are the major version
// (in BCD, so 10 is 0x10), then one digit of minor version and one of patch level, each clamped to 9.
// 10.4.11 is 0x1049 and 6.1.0 is 0x0610. All functions are thread-safe.
namespace NSApplicationXtras {

// On Linux the running kernel's release (uname -r), so "6.1.0-18-amd64" gives 0x0610.
TIVARO_AUTOTEST_EXPORT quint32 MacOSVersion();
// The encoding of a release string "major[.minor[.patch]][anything]"; 0 when it does not start with
// a number. A major version above 999999 is clamped to it, the most that fits in 32 bits.
TIVARO_AUTOTEST_EXPORT quint32 versionFromRelease(const QString &release);

// 10.2.x, 10.3.x and 10.4.x in the encoding above.
TIVARO_AUTOTEST_EXPORT bool runningOnJaguar(quint32 version = MacOSVersion());
TIVARO_AUTOTEST_EXPORT bool runningOnPanther(quint32 version = MacOSVersion());
TIVARO_AUTOTEST_EXPORT bool runningOnTiger(quint32 version = MacOSVersion());

} // namespace NSApplicationXtras
