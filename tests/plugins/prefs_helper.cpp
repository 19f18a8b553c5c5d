// A second process for tst_prefs, using the home the test gives it through the environment:
//   prefs_helper <bundle folder> <key>...   prints "<key>=<type>:<value>" for each key, read afresh
//                                           from the bundle's preferences file
#include "core/Bundle.h"
#include "plugins/TVRPrefs.h"

#include <QCoreApplication>
#include <QTextStream>

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList arguments = app.arguments();
    if (arguments.size() < 2)
        return 2;
    const std::shared_ptr<Bundle> bundle = Bundle::bundleWithPath(arguments.at(1));
    const std::unique_ptr<TVRPrefs> prefs = TVRPrefs::prefsWithBundle(bundle.get());
    if (!prefs)
        return 1;
    QTextStream out(stdout);
    for (const QString &key : arguments.mid(2)) {
        const QVariant value = prefs->objectForKey(key);
        out << key << '=' << (value.isValid() ? value.typeName() : "invalid") << ':' << value.toString() << '\n';
    }
    return 0;
}
