#pragma once

#include "Command.h"

// `tivaro music playlists --ipod PATH`: the playlists of the iPod's music database.
class MusicPlaylistsCommand : public Command
{
public:
    QStringList words() const override { return {QStringLiteral("music"), QStringLiteral("playlists")}; }
    QString summary() const override
    {
        return QStringLiteral("List the playlists of the iPod's music database with their tracks");
    }
    int run(const QStringList &arguments, Console &console) override;
};
