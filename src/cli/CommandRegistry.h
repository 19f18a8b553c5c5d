#pragma once

#include "Command.h"

#include <memory>
#include <vector>

// The sub-commands of `tivaro`, chosen by their leading words.
class CommandRegistry
{
public:
    void add(std::unique_ptr<Command> command);
    // Runs the command whose words lead `arguments`, or prints the usage.
    int run(const QStringList &arguments, Console &console);

private:
    void printUsage(Console &console) const;

    std::vector<std::unique_ptr<Command>> m_commands;
};
