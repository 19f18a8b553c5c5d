#include "MusicTracksCommand.h"

#include "ArgumentParser.h"
#include "MusicOptions.h"

int MusicTracksCommand::run(const QStringList &arguments, Console &console)
{
    ArgumentParser options(*this, QStringLiteral("Lists the tracks of the iPod's music database in the database's "
                                                 "order: UID, title - artist and length."));
    return MusicOptions(options).list(arguments, console, [](TVRiPod &iPod) { return iPod.tracks(); });
}
