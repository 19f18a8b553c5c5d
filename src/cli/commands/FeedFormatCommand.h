#pragma once

#include "Command.h"

// `tivaro feed format FILE|URL [--articles N] [--with-articles] [--no-summary]`: a feed as note text.
class FeedFormatCommand : public Command
{
public:
    QStringList words() const override { return {QStringLiteral("feed"), QStringLiteral("format")}; }
    QString summary() const override { return QStringLiteral("Turn a news feed into note text"); }
    int run(const QStringList &arguments, Console &console) override;
};
