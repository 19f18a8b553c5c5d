#pragma once

#include "tivaro_export.h"

#include <QString>

// Where Tivaro keeps things on a Linux desktop. Every location follows the XDG base-directory
// variables when they are set, so tests and portable setups can point Tivaro at another home.
// All functions are thread-safe and read the environment at each call.
namespace Paths {

TIVARO_EXPORT QString homeFolder();

// "~/Library/Application Support/Tivaro": $XDG_DATA_HOME/Tivaro (default ~/.local/share/Tivaro).
TIVARO_EXPORT QString applicationSupportFolder();
// Folder of the application's preference files: $XDG_CONFIG_HOME/Tivaro (default ~/.config/Tivaro).
TIVARO_EXPORT QString preferencesFolder();
// The plist file of one preferences domain, such as "org.tivaro.Tivaro".
TIVARO_EXPORT QString preferencesFileForDomain(const QString &domain);
// "~/Library/Caches/Tivaro": $XDG_CACHE_HOME/Tivaro (default ~/.cache/Tivaro).
TIVARO_EXPORT QString cachesFolder();
// The user's music and desktop folders, from the XDG user directories.
TIVARO_EXPORT QString musicFolder();
TIVARO_EXPORT QString desktopFolder();

// The folder above the running executable's "bin", whether installed or in the build tree.
TIVARO_EXPORT QString installPrefix();
// <prefix>/share/tivaro
TIVARO_EXPORT QString frameworkResourcesFolder();
// <prefix>/lib/tivaro/PlugIns
TIVARO_EXPORT QString builtInPluginsFolder();

} // namespace Paths
