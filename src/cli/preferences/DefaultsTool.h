#pragma once

#include <QString>
#include <QStringList>

class Console;
class PreferenceStore;

// "read [--json] [KEY]", "write KEY VALUE" and "delete [KEY]" over one preferences file, shared by
// `tivaro defaults` (the application's preferences) and `tivaro prefs` (a plug-in's).
class DefaultsTool
{
public:
    // `command` is how usage texts name the command, such as "tivaro defaults".
    DefaultsTool(const QString &command, PreferenceStore &store, Console &console);

    // Runs the verb that leads `arguments`; returns the exit status.
    int run(const QStringList &arguments);

    // Whether the arguments ask for help rather than name a verb.
    static bool isHelpRequest(const QStringList &arguments);
    // The usage text; `command` is how it names the command, such as "tivaro prefs PLUGIN".
    static QString usage(const QString &command);

private:
    int read(const QStringList &arguments);
    int write(const QStringList &arguments);
    int remove(const QStringList &arguments);
    int usageError(const QString &message) const;
    // Saves, saying so when an unreadable file was kept aside for the new one.
    int save(const QString &unreadable);
    // Why the file cannot be read as a dictionary; empty when it can, or does not exist.
    QString fileProblem() const;

    QString m_command;
    PreferenceStore &m_store;
    Console &m_console;
};
