#include "ArgumentParser.h"

#include "Command.h"
#include "Console.h"
#include "ExitCode.h"

ArgumentParser::ArgumentParser(const Command &command, const QString &description)
    : m_commandName(QStringLiteral("tivaro ") + command.words().join(QLatin1Char(' ')))
{
    m_parser.setApplicationDescription(description);
    m_parser.addHelpOption();
}

void ArgumentParser::addPositional(const QString &name, const QString &description, const QString &syntax)
{
    m_parser.addPositionalArgument(name, description, syntax);
}

std::optional<int> ArgumentParser::parse(const QStringList &arguments, Console &console)
{
    if (!m_parser.parse(QStringList{m_commandName} + arguments))
        return console.fail(m_parser.errorText() + QStringLiteral(" (see \"%1 --help\")").arg(m_commandName),
                            ExitCode::Usage);
    if (m_parser.isSet(QStringLiteral("help"))) {
        // Qt names the program binary in the usage line; name the sub-command instead.
        QString help = m_parser.helpText();
        const qsizetype programEnd = help.indexOf(QLatin1Char(' '), help.indexOf(QLatin1Char(' ')) + 1);
        if (help.startsWith(QLatin1String("Usage: ")) && programEnd > 0)
            help.replace(0, programEnd, QStringLiteral("Usage: ") + m_commandName);
        console.print(help.trimmed());
        return ExitCode::Success;
    }
    return std::nullopt;
}

std::optional<int> ArgumentParser::require(const QStringList &names, Console &console) const
{
    for (const QString &name : names) {
        if (!m_parser.isSet(name) || m_parser.value(name).isEmpty())
            return console.fail(QStringLiteral("%1 needs --%2 (see \"%1 --help\")").arg(m_commandName, name),
                                ExitCode::Usage);
    }
    return std::nullopt;
}
