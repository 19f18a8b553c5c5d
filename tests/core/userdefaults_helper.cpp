// A second process for tst_userdefaults: it reads and writes preferences through UserDefaults, as
// another Tivaro program would, in the home the test gives it through the environment.
//
//   userdefaults_helper <domain> set <key> <value>   sets a string and synchronizes
//   userdefaults_helper <domain> get <key>           prints the value as a string
//   userdefaults_helper <domain> count <prefix> <n>  sets <prefix>0 .. <prefix>n-1, synchronizing each
#include "core/UserDefaults.h"

#include <QCoreApplication>
#include <QTextStream>

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList arguments = app.arguments();
    if (arguments.size() < 4)
        return 2;
    UserDefaults defaults(arguments.at(1));
    const QString command = arguments.at(2);
    QString error;
    if (command == QLatin1String("set") && arguments.size() == 5) {
        defaults.setObject(arguments.at(4), arguments.at(3));
        return defaults.synchronize(&error) ? 0 : 1;
    }
    if (command == QLatin1String("get")) {
        QTextStream(stdout) << defaults.objectForKey(arguments.at(3)).toString();
        return 0;
    }
    if (command == QLatin1String("count") && arguments.size() == 5) {
        const int count = arguments.at(4).toInt();
        for (int i = 0; i < count; ++i) {
            defaults.setObject(qint64(i), arguments.at(3) + QString::number(i));
            if (!defaults.synchronize(&error)) {
                QTextStream(stderr) << error << '\n';
                return 1;
            }
        }
        return 0;
    }
    return 2;
}
