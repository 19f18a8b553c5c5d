// A plug-in bundle's Info.plist and a plug-in's preferences file, both written by strangers: the
// bytes become the bundle's Info.plist and its preferences file, then everything discovery and the
// preferences read from them is asked for.
#include "core/Bundle.h"
#include "core/Paths.h"
#include "plugins/PluginManager.h"
#include "plugins/TVRPrefs.h"
#include "plugins/TVRVersion.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <cstddef>
#include <cstdint>

namespace {

bool writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(bytes) == bytes.size();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static QTemporaryDir home(QDir::tempPath() + QStringLiteral("/fuzz_plugin_info-XXXXXX"));
    static const bool ready = [] {
        qputenv("XDG_DATA_HOME", QFile::encodeName(home.path()));
        return QDir().mkpath(home.path() + QStringLiteral("/Fuzz.tvr"));
    }();
    if (!ready)
        __builtin_trap();
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    const QString bundlePath = home.path() + QStringLiteral("/Fuzz.tvr");
    if (!writeFile(bundlePath + QStringLiteral("/Info.plist"), bytes))
        return 0;

    const std::shared_ptr<Bundle> bundle = Bundle::bundleWithPath(bundlePath);
    if (!bundle || bundle->infoDictionary().has_value() == !bundle->infoProblem().isEmpty())
        __builtin_trap();
    (void)bundle->executablePath();
    const QVariant name = bundle->objectForInfoDictionaryKey(QStringLiteral("pluginName"));
    (void)bundle->pathForResource(name.toString(), QStringLiteral("tif"));
    const QString version = bundle->objectForInfoDictionaryKey(QStringLiteral("pluginVersion")).toString();
    (void)PluginManager::joinedVersionNumber(version);
    if (const std::optional<TVRVersion> parsed = TVRVersion::versionWithString(version)) {
        // The placeholder answers no whatever the versions; equality is reflexive.
        if (parsed->isOlder(*parsed) || !parsed->isEqualToVersion(*parsed))
            __builtin_trap();
    }

    // The same bytes as that plug-in's preferences file, when the Info.plist gave it an identifier.
    if (const std::unique_ptr<TVRPrefs> prefs = TVRPrefs::prefsWithBundle(bundle.get())) {
        QDir().mkpath(QFileInfo(prefs->fullPath()).absolutePath());
        if (writeFile(prefs->fullPath(), bytes)) {
            const std::unique_ptr<TVRPrefs> reread = TVRPrefs::prefsWithBundle(bundle.get());
            if (reread)
                (void)reread->description();
        }
        QFile::remove(prefs->fullPath());
    }
    return 0;
}
