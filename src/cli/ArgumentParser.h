#pragma once

#include <QCommandLineParser>
#include <QString>
#include <QStringList>

#include <optional>

class Command;
class Console;

// Option parsing for one sub-command, with "--help" built in.
class ArgumentParser
{
public:
    ArgumentParser(const Command &command, const QString &description);

    QCommandLineParser &parser() { return m_parser; }
    void addOption(const QCommandLineOption &option) { m_parser.addOption(option); }
    void addPositional(const QString &name, const QString &description, const QString &syntax);

    // Parses; nullopt to go on, or the exit status when help was printed or the line was wrong.
    std::optional<int> parse(const QStringList &arguments, Console &console);
    // Fails with a usage error unless every option in `names` was given.
    std::optional<int> require(const QStringList &names, Console &console) const;

private:
    QString m_commandName;
    QCommandLineParser m_parser;
};
