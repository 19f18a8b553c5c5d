#include "CommandRegistry.h"

#include "Console.h"
#include "ExitCode.h"

void CommandRegistry::add(std::unique_ptr<Command> command)
{
    m_commands.push_back(std::move(command));
}

int CommandRegistry::run(const QStringList &arguments, Console &console)
{
    if (arguments.isEmpty() || arguments.constFirst() == QLatin1String("help") ||
        arguments.constFirst() == QLatin1String("--help") || arguments.constFirst() == QLatin1String("-h")) {
        printUsage(console);
        return arguments.isEmpty() ? ExitCode::Usage : ExitCode::Success;
    }
    // The longest match wins, so "ipod info" is not taken for "ipods" or the other way round.
    Command *chosen = nullptr;
    for (const auto &command : m_commands) {
        const QStringList words = command->words();
        if (arguments.size() >= words.size() && arguments.mid(0, words.size()) == words &&
            (!chosen || words.size() > chosen->words().size()))
            chosen = command.get();
    }
    if (!chosen) {
        console.fail(QStringLiteral("unknown command \"%1\"; \"tivaro help\" lists the commands")
                         .arg(arguments.join(QLatin1Char(' '))),
                     ExitCode::Usage);
        return ExitCode::Usage;
    }
    return chosen->run(arguments.mid(chosen->words().size()), console);
}

void CommandRegistry::printUsage(Console &console) const
{
    console.print(QStringLiteral("Usage: tivaro COMMAND [OPTIONS]\n\nCommands:"));
    for (const auto &command : m_commands)
        console.print(QStringLiteral("  %1  %2")
                          .arg(command->words().join(QLatin1Char(' ')).leftJustified(18), command->summary()));
    console.print(QStringLiteral("\n\"tivaro COMMAND --help\" describes one command."));
}
