#include "CliRun.h"

#include <QProcess>

CliRun CliRun::run(const QStringList &arguments, const QByteArray &input, const QString &program)
{
    QProcess process;
    process.start(program.isEmpty() ? qEnvironmentVariable("TIVARO_CLI") : program, arguments);
    if (!process.waitForStarted())
        return {-1, {}, QStringLiteral("could not start: %1").arg(process.errorString())};
    process.write(input);
    process.closeWriteChannel();
    if (!process.waitForFinished(60000)) {
        process.kill();
        process.waitForFinished();
        return {-1, QString::fromUtf8(process.readAllStandardOutput()),
                QStringLiteral("still running after a minute; killed\n") +
                    QString::fromUtf8(process.readAllStandardError())};
    }
    QString err = QString::fromUtf8(process.readAllStandardError());
    // A crash says so, so that a failing test shows what happened along with what was printed.
    if (process.exitStatus() == QProcess::CrashExit)
        err.prepend(QStringLiteral("crashed (%1)\n").arg(process.errorString()));
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
            QString::fromUtf8(process.readAllStandardOutput()), err};
}
