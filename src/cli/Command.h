#pragma once

#include <QString>
#include <QStringList>

class Console;

// One sub-command of `tivaro`, such as "ipods" or "note write".
class Command
{
public:
    virtual ~Command() = default;

    // The words that select the command, such as {"note", "write"}.
    virtual QStringList words() const = 0;
    // One line for the command list.
    virtual QString summary() const = 0;
    // Runs with the arguments that follow the command's words; returns the exit status.
    virtual int run(const QStringList &arguments, Console &console) = 0;
};
