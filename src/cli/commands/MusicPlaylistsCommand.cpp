#include "MusicPlaylistsCommand.h"

#include "ArgumentParser.h"
#include "Console.h"
#include "ExitCode.h"
#include "MusicDescription.h"
#include "MusicOptions.h"

#include <QJsonArray>

int MusicPlaylistsCommand::run(const QStringList &arguments, Console &console)
{
    ArgumentParser options(*this,
                           QStringLiteral("Lists the visible playlists of the iPod's music database, sorted "
                                          "by type and name: name, [type] and the UIDs of their tracks in order."));
    const MusicOptions music(options);
    if (const std::optional<int> exit = options.parse(arguments, console))
        return *exit;
    if (const std::optional<int> exit = music.requireiPod(options, console))
        return *exit;
    const TVRiPodPtr iPod = music.openiPod(options, console);
    if (!iPod)
        return ExitCode::Failure;
    const std::optional<QList<TDBPlaylistPtr>> playlists = iPod->playlists();
    if (!playlists)
        return MusicOptions::failNoDatabase(*iPod, console);
    if (music.json(options)) {
        QJsonArray array;
        for (const TDBPlaylistPtr &playlist : *playlists)
            array.append(MusicDescription::toJson(*playlist));
        console.printJson(array);
    } else {
        for (const TDBPlaylistPtr &playlist : *playlists)
            console.print(MusicDescription::toText(*playlist));
    }
    return ExitCode::Success;
}
