#pragma once

#include "Command.h"

// `tivaro music tracks --ipod PATH`: the tracks of the iPod's music database.
class MusicTracksCommand : public Command
{
public:
    QStringList words() const override { return {QStringLiteral("music"), QStringLiteral("tracks")}; }
    QString summary() const override { return QStringLiteral("List the tracks of the iPod's music database"); }
    int run(const QStringList &arguments, Console &console) override;
};
