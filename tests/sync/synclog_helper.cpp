// A second process for tst_synclogfile, using the home the test gives it through the environment:
//   synclog_helper <tag> <n>   appends n logs whose text is "<tag>-0" .. "<tag>-<n-1>"
#include "sync/LogManager.h"
#include "sync/SyncLogFile.h"

#include <QCoreApplication>
#include <QTextStream>

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList arguments = app.arguments();
    if (arguments.size() != 3)
        return 2;
    for (int i = 0; i < arguments.at(2).toInt(); ++i) {
        LogManager log;
        log.appendLog(arguments.at(1) + '-' + QString::number(i));
        QString error;
        if (!SyncLogFile::append(log.archive(), &error)) {
            QTextStream(stderr) << error << '\n';
            return 1;
        }
    }
    return 0;
}
