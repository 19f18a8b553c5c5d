#pragma once

#include "Command.h"

// `tivaro news import FILE`: makes an OPML file of feed subscriptions the one the News plug-in syncs.
class NewsImportCommand : public Command
{
public:
    QStringList words() const override { return {QStringLiteral("news"), QStringLiteral("import")}; }
    QString summary() const override { return QStringLiteral("Choose the news feeds to sync, from an OPML file"); }
    int run(const QStringList &arguments, Console &console) override;

    // Where an imported file is kept: a copy, so the setting outlives the file it came from.
    static QString subscriptionsPath();
};
