#pragma once

#include "Command.h"

// `tivaro plugins [--json]`: the plug-ins discovery finds, and the bundles it left out with the reason.
class PluginsCommand : public Command
{
public:
    QStringList words() const override { return {QStringLiteral("plugins")}; }
    QString summary() const override { return QStringLiteral("List the installed plug-ins"); }
    int run(const QStringList &arguments, Console &console) override;
};
