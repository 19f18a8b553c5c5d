#pragma once

#include "tivaro_export.h"

#include <QtGlobal>

// How long and how large one download may be, from the application's preferences. A value that is
// absent, 0 or below, or not a number means the default.
struct TIVARO_EXPORT DownloadLimits {
    static constexpr double kDefaultTimeoutSeconds = 20;
    // Feeds and pages are a few hundred kilobytes; this leaves room for the largest.
    static constexpr qint64 kDefaultMaximumBytes = 32 * 1024 * 1024;
    // Time for the largest answer on a slow line, not for one that never ends.
    static constexpr double kDefaultDeadlineSeconds = 180;

    // The watchdog's time-out without data ("DownloadTimeout", whole seconds).
    double timeoutSeconds = kDefaultTimeoutSeconds;
    // The most body bytes a download may bring ("DownloadMaximumBytes").
    qint64 maximumBytes = kDefaultMaximumBytes;
    // The longest a download may take from its start ("DownloadDeadline", whole seconds).
    double deadlineSeconds = kDefaultDeadlineSeconds;

    // Read now, on the calling thread.
    static DownloadLimits fromPreferences();
};
