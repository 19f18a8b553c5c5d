#pragma once

#include "Command.h"

// `tivaro contacts remove`: the contacts file that `contacts write` made.
class ContactsRemoveCommand : public Command
{
public:
    QStringList words() const override { return {QStringLiteral("contacts"), QStringLiteral("remove")}; }
    QString summary() const override { return QStringLiteral("Remove a contacts file written by Tivaro"); }
    int run(const QStringList &arguments, Console &console) override;
};
