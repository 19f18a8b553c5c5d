#include "MusicPlaylistsCommand.h"

#include "ArgumentParser.h"
#include "MusicOptions.h"

int MusicPlaylistsCommand::run(const QStringList &arguments, Console &console)
{
    ArgumentParser options(*this,
                           QStringLiteral("Lists the visible playlists of the iPod's music database, sorted "
                                          "by type and name: name, [type] and the UIDs of their tracks in order."));
    return MusicOptions(options).list(arguments, console, [](TVRiPod &iPod) { return iPod.playlists(); });
}
