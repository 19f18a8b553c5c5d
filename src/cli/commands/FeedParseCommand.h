#pragma once

#include "Command.h"

// `tivaro feed parse FILE|URL [--json] [--raw]`: what the feed parser reads from a feed.
class FeedParseCommand : public Command
{
public:
    QStringList words() const override { return {QStringLiteral("feed"), QStringLiteral("parse")}; }
    QString summary() const override { return QStringLiteral("Show the header and items of a news feed"); }
    int run(const QStringList &arguments, Console &console) override;
};
