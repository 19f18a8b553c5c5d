#pragma once

#include "Command.h"

// `tivaro ipod info PATH`: one iPod, by its mount path.
class IPodInfoCommand : public Command
{
public:
    QStringList words() const override { return {QStringLiteral("ipod"), QStringLiteral("info")}; }
    QString summary() const override { return QStringLiteral("Describe the iPod mounted at a path"); }
    int run(const QStringList &arguments, Console &console) override;
};
