#include "IPodsCommand.h"

#include "ArgumentParser.h"
#include "Console.h"
#include "ExitCode.h"
#include "IPodDescription.h"

#include "core/MountTable.h"
#include "ipod/TVRiPodManager.h"

#include <QJsonArray>

int IPodsCommand::run(const QStringList &arguments, Console &console)
{
    ArgumentParser options(*this, QStringLiteral("Lists the iPods mounted as disks, sorted by name."));
    const QCommandLineOption json(QStringLiteral("json"),
                                  QStringLiteral("Print JSON: {\"iPods\": [...], \"unusableVolumes\": [...]}."));
    options.addOption(json);
    if (const std::optional<int> exit = options.parse(arguments, console))
        return *exit;

    if (!options.parser().positionalArguments().isEmpty())
        return console.fail(QStringLiteral("ipods takes no arguments"), ExitCode::Usage);
    // Every system mounts something; an empty table means it could not be read.
    if (MountTable::current().isEmpty())
        return console.fail(QStringLiteral("cannot read the mount table %1").arg(MountTable::currentSourcePath()),
                            ExitCode::Failure);
    const QList<DetectedVolume> volumes = TVRiPodManager::sharedManager().scanVolumes();
    QList<DetectedVolume> unusable;
    QJsonArray iPods;
    QStringList lines;
    for (const DetectedVolume &volume : volumes) {
        if (!volume.iPod) {
            unusable.append(volume);
            continue;
        }
        iPods.append(IPodDescription::toJson(*volume.iPod));
        lines += IPodDescription::toText(*volume.iPod);
    }

    if (options.parser().isSet(json)) {
        QJsonArray unusableJson;
        for (const DetectedVolume &volume : std::as_const(unusable))
            unusableJson.append(IPodDescription::toJson(volume));
        console.printJson(
            QJsonObject{{QStringLiteral("iPods"), iPods}, {QStringLiteral("unusableVolumes"), unusableJson}});
        return ExitCode::Success;
    }

    console.print(iPods.isEmpty() ? QStringLiteral("No iPod found.") : lines.join(QLatin1Char('\n')));
    if (!unusable.isEmpty()) {
        console.print(QStringLiteral("\nThese volumes hold an iPod but cannot be synced:"));
        for (const DetectedVolume &volume : std::as_const(unusable))
            console.print(QStringLiteral("  %1 (%2): %3").arg(volume.path, volume.fileSystemType, volume.problem));
    }
    return ExitCode::Success;
}
