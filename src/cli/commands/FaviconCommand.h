#pragma once

#include "Command.h"

// `tivaro favicon URL [--output FILE]`: the site icon shown beside a feed, as a sync finds it.
class FaviconCommand : public Command
{
public:
    QStringList words() const override { return {QStringLiteral("favicon")}; }
    QString summary() const override { return QStringLiteral("Fetch the site icon of a web address"); }
    int run(const QStringList &arguments, Console &console) override;
};
