#include "MusicTracksCommand.h"

#include "ArgumentParser.h"
#include "Console.h"
#include "ExitCode.h"
#include "MusicDescription.h"
#include "MusicOptions.h"

#include <QJsonArray>

int MusicTracksCommand::run(const QStringList &arguments, Console &console)
{
    ArgumentParser options(*this, QStringLiteral("Lists the tracks of the iPod's music database in the database's "
                                                 "order: UID, title - artist and length."));
    const MusicOptions music(options);
    if (const std::optional<int> exit = options.parse(arguments, console))
        return *exit;
    if (const std::optional<int> exit = music.requireiPod(options, console))
        return *exit;
    const TVRiPodPtr iPod = music.openiPod(options, console);
    if (!iPod)
        return ExitCode::Failure;
    const std::optional<QList<TDBTrackPtr>> tracks = iPod->tracks();
    if (!tracks)
        return MusicOptions::failNoDatabase(*iPod, console);
    if (music.json(options)) {
        QJsonArray array;
        for (const TDBTrackPtr &track : *tracks)
            array.append(MusicDescription::toJson(*track));
        console.printJson(array);
    } else {
        for (const TDBTrackPtr &track : *tracks)
            console.print(MusicDescription::toText(*track));
    }
    return ExitCode::Success;
}
