#pragma once

#include "Command.h"

// `tivaro log`: the logs of past syncs from the sync log file, oldest first.
class LogCommand : public Command
{
public:
    QStringList words() const override { return {QStringLiteral("log")}; }
    QString summary() const override { return QStringLiteral("Show the logs of past syncs"); }
    int run(const QStringList &arguments, Console &console) override;
};
