#pragma once

#include "tivaro_export.h"

#include <QStringList>
#include <QVariantMap>

// Turns a stored sync choice ("prefsNormalSync", "prefsiPodConnect") into the names of the plug-ins
// to sync. The choice dictionary holds "syncAll", "syncOnlySelected" or "syncAllButSelected", and
// "tools": one {"tool": name, "sync": marked} per plug-in. Its booleans are read as
// UserDefaults::boolForKey() reads a value, so the text "NO" is false.
class TIVARO_AUTOTEST_EXPORT ConfigureSyncUtils
{
public:
    // All names for an absent or empty choice or "syncAll"; the marked tools (in their order, installed
    // or not) for "syncOnlySelected"; the given names minus the marked ones for "syncAllButSelected";
    // otherwise an empty list, which the sync driver takes to mean every plug-in.
    static QStringList plugins(const QStringList &allPlugins, const QVariantMap &choice);
};
