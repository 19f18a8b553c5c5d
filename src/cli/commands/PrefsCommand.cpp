#include "PrefsCommand.h"

#include "Console.h"
#include "ExitCode.h"
#include "preferences/DefaultsTool.h"
#include "preferences/PluginPreferenceStore.h"

#include "core/Bundle.h"
#include "plugins/PluginManager.h"
#include "plugins/TVRPlugin.h"
#include "plugins/TVRPrefs.h"

namespace {

const QString kCommand = QStringLiteral("tivaro prefs PLUGIN");

std::shared_ptr<TVRPlugin> findPlugin(const PluginManager::PluginMap &plugins, const QString &nameOrIdentifier)
{
    if (const auto byName = plugins.value(nameOrIdentifier))
        return byName;
    for (const auto &plugin : plugins) {
        if (plugin->bundle() && plugin->bundle()->bundleIdentifier() == nameOrIdentifier)
            return plugin;
    }
    return nullptr;
}

} // namespace

int PrefsCommand::run(const QStringList &arguments, Console &console)
{
    if (DefaultsTool::isHelpRequest(arguments) || arguments.isEmpty()) {
        console.print(DefaultsTool::usage(kCommand) +
                      QStringLiteral("\nPLUGIN is a plug-in's name as \"tivaro plugins\" lists it, or its bundle "
                                     "identifier."));
        return arguments.isEmpty() ? ExitCode::Usage : ExitCode::Success;
    }
    if (arguments.size() == 1)
        return console.fail(QStringLiteral("read, write or delete is missing\n") + DefaultsTool::usage(kCommand),
                            ExitCode::Usage);
    const std::unique_ptr<PreferenceStore> store = storeFor(arguments.constFirst(), console);
    if (!store)
        return ExitCode::Failure;
    return DefaultsTool(QStringLiteral("tivaro prefs \"%1\"").arg(arguments.constFirst()), *store, console)
        .run(arguments.mid(1));
}

std::unique_ptr<PreferenceStore> PrefsCommand::storeFor(const QString &plugin, Console &console)
{
    const std::unique_ptr<PluginManager> manager = PluginManager::pluginManager();
    const PluginManager::PluginMap plugins = manager->plugins();
    const std::shared_ptr<TVRPlugin> found = findPlugin(plugins, plugin);
    if (!found) {
        const QString known = plugins.isEmpty()
                                  ? QStringLiteral("no plug-ins are installed")
                                  : QStringLiteral("the plug-ins are: ") + plugins.keys().join(QStringLiteral(", "));
        console.fail(QStringLiteral("there is no plug-in \"%1\"; %2").arg(plugin, known), ExitCode::Failure);
        return nullptr;
    }
    std::unique_ptr<TVRPrefs> prefs = TVRPrefs::prefsWithBundle(found->bundle().get());
    if (!prefs) {
        console.fail(QStringLiteral("the plug-in \"%1\" has no bundle identifier, so it keeps no preferences")
                         .arg(found->name()),
                     ExitCode::Failure);
        return nullptr;
    }
    return std::make_unique<PluginPreferenceStore>(found->name(), std::move(prefs));
}
