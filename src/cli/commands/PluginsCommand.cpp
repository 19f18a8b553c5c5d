#include "PluginsCommand.h"

#include "ArgumentParser.h"
#include "Console.h"
#include "ExitCode.h"

#include "plugins/PluginManager.h"
#include "plugins/TVRAppsPlugin.h"
#include "plugins/TVRPlugin.h"
#include "plugins/TVRUtilityPlugin.h"

#include <QJsonArray>
#include <QJsonObject>

namespace {

QString kindOf(const TVRPlugin &plugin)
{
    if (qobject_cast<const TVRAppsPlugin *>(&plugin))
        return QStringLiteral("apps");
    if (qobject_cast<const TVRUtilityPlugin *>(&plugin))
        return QStringLiteral("utility");
    return QStringLiteral("plugin");
}

QJsonObject toJson(const TVRPlugin &plugin, bool isDefault)
{
    return QJsonObject{{QStringLiteral("name"), plugin.name()},  {QStringLiteral("version"), plugin.version()},
                       {QStringLiteral("path"), plugin.path()},  {QStringLiteral("kind"), kindOf(plugin)},
                       {QStringLiteral("isDefault"), isDefault}, {QStringLiteral("hasSettings"), plugin.hasSettings()}};
}

QString toText(const TVRPlugin &plugin, bool isDefault)
{
    QStringList traits{kindOf(plugin) == QLatin1String("plugin") ? QStringLiteral("plug-in")
                                                                 : kindOf(plugin) + QStringLiteral(" plug-in")};
    traits.append(isDefault ? QStringLiteral("comes with Tivaro") : QStringLiteral("added"));
    if (plugin.hasSettings())
        traits.append(QStringLiteral("has settings"));
    const QString version = plugin.version().isEmpty() ? QStringLiteral("(no version)") : plugin.version();
    return QStringLiteral("%1 %2: %3\n    %4")
        .arg(plugin.name(), version, traits.join(QStringLiteral(", ")), plugin.path());
}

} // namespace

int PluginsCommand::run(const QStringList &arguments, Console &console)
{
    ArgumentParser options(*this, QStringLiteral("Lists the plug-ins found in the built-in and the user's plug-in "
                                                 "folders, and the bundles that were left out, with the reason."));
    const QCommandLineOption json(
        QStringLiteral("json"),
        QStringLiteral("Print JSON: {\"plugins\": [...], \"leftOut\": [...], \"folders\": [...]}."));
    options.addOption(json);
    if (const std::optional<int> exit = options.parse(arguments, console))
        return *exit;
    if (!options.parser().positionalArguments().isEmpty())
        return console.fail(QStringLiteral("plugins takes no arguments"), ExitCode::Usage);

    const std::unique_ptr<PluginManager> manager = PluginManager::pluginManager();
    const PluginManager::PluginMap plugins = manager->plugins();
    const std::optional<QStringList> defaults = PluginManager::defaultPlugins();
    if (!defaults)
        console.warn(QStringLiteral("cannot read the list of plug-ins that come with Tivaro"));

    if (options.parser().isSet(json)) {
        QJsonArray found;
        for (const auto &plugin : plugins)
            found.append(toJson(*plugin, defaults && defaults->contains(plugin->name())));
        QJsonArray leftOut;
        for (const PluginManager::Rejection &rejection : manager->rejections())
            leftOut.append(
                QJsonObject{{QStringLiteral("path"), rejection.path}, {QStringLiteral("reason"), rejection.reason}});
        console.printJson(
            QJsonObject{{QStringLiteral("plugins"), found},
                        {QStringLiteral("leftOut"), leftOut},
                        {QStringLiteral("folders"), QJsonArray::fromStringList(manager->searchFolders())}});
        return ExitCode::Success;
    }

    const QStringList folders = manager->searchFolders();
    if (folders.isEmpty())
        console.print(QStringLiteral("No plug-ins found: the built-in plug-ins folder is missing."));
    else if (plugins.isEmpty())
        console.print(QStringLiteral("No plug-ins found in: %1").arg(folders.join(QStringLiteral(", "))));
    for (const auto &plugin : plugins)
        console.print(toText(*plugin, defaults && defaults->contains(plugin->name())));
    if (!manager->rejections().isEmpty()) {
        console.print(QStringLiteral("\nThese bundles were left out:"));
        for (const PluginManager::Rejection &rejection : manager->rejections())
            console.print(QStringLiteral("  %1: %2").arg(rejection.path, rejection.reason));
    }
    return ExitCode::Success;
}
