#pragma once

#include "Command.h"

// `tivaro defaults read|write|delete [KEY [VALUE]]`: the application's preferences, as the Mac's
// `defaults` tool reads and writes a domain.
class DefaultsCommand : public Command
{
public:
    QStringList words() const override { return {QStringLiteral("defaults")}; }
    QString summary() const override { return QStringLiteral("Read, write or delete Tivaro's preferences"); }
    int run(const QStringList &arguments, Console &console) override;
};
