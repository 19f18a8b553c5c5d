#include "SyncCommand.h"

#include "ArgumentParser.h"
#include "Console.h"
#include "ExitCode.h"
#include "IPodOpener.h"
#include "SyncRun.h"

#include "plugins/PluginManager.h"

#include <algorithm>

namespace {

std::optional<TVRSyncer::SyncType> syncTypeNamed(const QString &name)
{
    if (name == QLatin1String("normal"))
        return TVRSyncer::SyncType::Normal;
    if (name == QLatin1String("connect"))
        return TVRSyncer::SyncType::Connect;
    if (name == QLatin1String("eject"))
        return TVRSyncer::SyncType::NormalThenEject;
    return std::nullopt;
}

TVRiPodPtr chosenIPod(const QString &path, Console &console)
{
    if (!path.isEmpty())
        return IPodOpener::open(path, console);
    TVRiPodPtr iPod = TVRiPod::connectediPod();
    if (!iPod)
        console.fail(QStringLiteral("no iPod to sync: none is connected, or none is the one chosen with \"TVRSyncSN\" "
                                    "(see `tivaro ipods`); give one with --ipod PATH"),
                     ExitCode::Failure);
    return iPod;
}

} // namespace

int SyncCommand::run(const QStringList &arguments, Console &console)
{
    ArgumentParser options(*this, QStringLiteral("Runs the plug-ins one after the other onto an iPod, showing what "
                                                 "each does. Ctrl-C (or SIGTERM, SIGHUP) stops after the running "
                                                 "plug-in; a second stops at once. After the sync it cancels a "
                                                 "waiting eject."));
    const QCommandLineOption ipod(QStringLiteral("ipod"),
                                  QStringLiteral("Mount path of the iPod; the connected, chosen iPod by default."),
                                  QStringLiteral("PATH"));
    const QCommandLineOption type(QStringLiteral("type"),
                                  QStringLiteral("normal (the plug-ins of \"prefsNormalSync\"), connect (those of "
                                                 "\"prefsiPodConnect\") or eject (normal, then eject)."),
                                  QStringLiteral("TYPE"), QStringLiteral("normal"));
    const QCommandLineOption plugins(QStringLiteral("plugins"),
                                     QStringLiteral("Sync exactly these plug-ins, by name, separated by commas."),
                                     QStringLiteral("NAME,..."));
    const QCommandLineOption quick(QStringLiteral("quick"), QStringLiteral("Sync this one plug-in only."),
                                   QStringLiteral("NAME"));
    const QCommandLineOption eject(
        QStringLiteral("eject"), QStringLiteral("Eject the iPod when the sync is done, whatever the preference says."));
    const QCommandLineOption noEject(QStringLiteral("no-eject"),
                                     QStringLiteral("Leave the iPod mounted, whatever the preference says."));
    for (const QCommandLineOption &option : {ipod, type, plugins, quick, eject, noEject})
        options.addOption(option);
    if (const std::optional<int> exit = options.parse(arguments, console))
        return *exit;
    const QCommandLineParser &parser = options.parser();
    if (!parser.positionalArguments().isEmpty())
        return console.fail(QStringLiteral("sync takes no arguments besides its options"), ExitCode::Usage);
    if (int(parser.isSet(type)) + int(parser.isSet(plugins)) + int(parser.isSet(quick)) > 1)
        return console.fail(QStringLiteral("give one of --type, --plugins and --quick"), ExitCode::Usage);

    if (parser.isSet(eject) && parser.isSet(noEject))
        return console.fail(QStringLiteral("give one of --eject and --no-eject"), ExitCode::Usage);

    SyncRun::Request request;
    if (parser.isSet(eject) || parser.isSet(noEject))
        request.eject = parser.isSet(eject);
    if (parser.isSet(quick)) {
        request.type = TVRSyncer::SyncType::Quick;
        request.plugins = {parser.value(quick)};
    } else if (parser.isSet(plugins)) {
        request.type = TVRSyncer::SyncType::List;
        request.plugins = parser.value(plugins).split(QLatin1Char(','), Qt::SkipEmptyParts);
        for (QString &name : request.plugins)
            name = name.trimmed();
        if (request.plugins.isEmpty())
            return console.fail(QStringLiteral("--plugins names no plug-in"), ExitCode::Usage);
    } else if (const std::optional<TVRSyncer::SyncType> chosen = syncTypeNamed(parser.value(type))) {
        request.type = *chosen;
        if (request.type == TVRSyncer::SyncType::NormalThenEject && request.eject == false)
            return console.fail(
                QStringLiteral("--type eject always ejects; leave out --no-eject, or use --type normal"),
                ExitCode::Usage);
    } else {
        return console.fail(QStringLiteral("--type is normal, connect or eject, not \"%1\"").arg(parser.value(type)),
                            ExitCode::Usage);
    }

    request.iPod = chosenIPod(parser.value(ipod), console);
    if (!request.iPod)
        return ExitCode::Failure;

    const TVRSyncer::PluginMap installed = PluginManager::pluginManager()->plugins();
    // When none is installed the sync itself logs it as an error, and the summary lists it.
    const bool someInstalled = std::any_of(request.plugins.cbegin(), request.plugins.cend(),
                                           [&](const QString &name) { return installed.contains(name); });
    for (const QString &name : std::as_const(request.plugins)) {
        if (someInstalled && !installed.contains(name))
            console.warn(
                QStringLiteral("the plug-in \"%1\" is not installed (see `tivaro plugins`); it is left out").arg(name));
    }
    SyncRun run(installed, console);
    return run.exec(request);
}
