#pragma once

#include "Command.h"

// `tivaro contacts write`: text as a contact card file on an iPod.
class ContactsWriteCommand : public Command
{
public:
    QStringList words() const override { return {QStringLiteral("contacts"), QStringLiteral("write")}; }
    QString summary() const override { return QStringLiteral("Write text as a contact card onto an iPod"); }
    int run(const QStringList &arguments, Console &console) override;
};
