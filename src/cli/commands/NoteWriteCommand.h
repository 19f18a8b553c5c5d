#pragma once

#include "Command.h"

// `tivaro note write`: one note onto an iPod, through the note writer.
class NoteWriteCommand : public Command
{
public:
    QStringList words() const override { return {QStringLiteral("note"), QStringLiteral("write")}; }
    QString summary() const override { return QStringLiteral("Write a note (in linked pages) onto an iPod"); }
    int run(const QStringList &arguments, Console &console) override;
};
