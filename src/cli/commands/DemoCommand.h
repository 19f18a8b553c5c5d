#pragma once

#include "Command.h"

#include <QProcessEnvironment>

// `tivaro demo`: a real news sync onto a demo iPod, with no iPod, network or set-up needed. It makes a
// demo iPod folder, imports sample feeds that come with Tivaro, syncs them with the News plug-in and
// shows the notes written. Settings and logs of the demo stay inside its folder.
class DemoCommand : public Command
{
public:
    QStringList words() const override { return {QStringLiteral("demo")}; }
    QString summary() const override { return QStringLiteral("Sync sample news feeds onto a demo iPod"); }
    int run(const QStringList &arguments, Console &console) override;

private:
    // The demo folder made ready; false after saying why.
    static bool prepareFolder(const QString &folder, Console &console);
    static bool createDemoIPod(const QString &iPod, Console &console);
    // The subscriptions file naming the sample feeds; false after saying why.
    static bool writeSubscriptions(const QString &path, Console &console);
    // Settings, logs and caches of the demo go into the demo folder, never the user's own.
    static QProcessEnvironment demoEnvironment(const QString &folder);
    // Runs `tivaro ARGUMENTS` on this terminal; its exit status.
    static int runTivaro(const QStringList &arguments, const QProcessEnvironment &environment);
    static void printNotes(const QString &notesFolder, Console &console);
};
