#pragma once

#include "Command.h"

// `tivaro opml FILE`: the outlines of an OPML file, such as a list of feed subscriptions.
class OpmlCommand : public Command
{
public:
    QStringList words() const override { return {QStringLiteral("opml")}; }
    QString summary() const override { return QStringLiteral("Show the outlines of an OPML file"); }
    int run(const QStringList &arguments, Console &console) override;
};
