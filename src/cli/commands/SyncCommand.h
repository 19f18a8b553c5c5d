#pragma once

#include "Command.h"

// `tivaro sync`: one whole sync through the plug-ins, shown live in the terminal.
class SyncCommand : public Command
{
public:
    QStringList words() const override { return {QStringLiteral("sync")}; }
    QString summary() const override { return QStringLiteral("Sync the plug-ins onto an iPod"); }
    int run(const QStringList &arguments, Console &console) override;
};
