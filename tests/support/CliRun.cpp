#include "CliRun.h"

#include <QProcess>

CliRun CliRun::run(const QStringList &arguments, const QByteArray &input, const QString &program)
{
    QProcess process;
    process.start(program.isEmpty() ? qEnvironmentVariable("TIVARO_CLI") : program, arguments);
    process.write(input);
    process.closeWriteChannel();
    if (!process.waitForFinished(60000))
        return {};
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
            QString::fromUtf8(process.readAllStandardOutput()), QString::fromUtf8(process.readAllStandardError())};
}
