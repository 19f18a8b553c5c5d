#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

// One run of a command-line program as a user runs it: a real process, its exit status and output.
struct CliRun {
    // -1 when the program could not start, crashed or ran for over a minute; `err` then begins with why.
    int exitCode = -1;
    QString out;
    QString err;

    // Runs `program` (by default the `tivaro` the build made, named by TIVARO_CLI) with `arguments`
    // and `input` on standard input.
    static CliRun run(const QStringList &arguments, const QByteArray &input = {}, const QString &program = {});
};
