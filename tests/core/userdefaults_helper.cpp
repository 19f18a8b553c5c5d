// A second process for tst_userdefaults, using the home the test gives it through the environment:
//   userdefaults_helper <domain> set <key> <value>   sets a string and synchronizes
//   userdefaults_helper <domain> count <prefix> <n>  sets <prefix>0 .. <prefix>n-1, synchronizing each
#include "core/UserDefaults.h"

#include <QCoreApplication>
#include <QTextStream>

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList arguments = app.arguments();
    if (arguments.size() != 5)
        return 2;
    UserDefaults defaults(arguments.at(1));
    const bool set = arguments.at(2) == QLatin1String("set");
    const int count = set ? 1 : arguments.at(4).toInt();
    for (int i = 0; i < count; ++i) {
        if (set)
            defaults.setObject(arguments.at(4), arguments.at(3));
        else
            defaults.setObject(qint64(i), arguments.at(3) + QString::number(i));
        QString error;
        if (!defaults.synchronize(&error)) {
            QTextStream(stderr) << error << '\n';
            return 1;
        }
    }
    return 0;
}
