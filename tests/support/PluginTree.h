#pragma once

#include <QString>
#include <QTemporaryDir>

// An install tree for discovery tests, with the three plug-in folders:
//   <root>/outer/lib/tivaro/PlugIns                       the outer application's built-in folder
//   <root>/outer/lib/tivaro/helper/lib/tivaro/PlugIns     the built-in folder of a helper's prefix
//   <application support>/<user folder>                   the user's plug-ins
// Fixture bundles (built into TIVARO_TEST_PLUGINS_DIR) are copied in by name.
class PluginTree
{
public:
    PluginTree();

    bool isValid() const { return m_root.isValid(); }
    // The prefix a PluginManager is given: the helper's, three levels below the outer one.
    QString prefix() const;
    QString builtInFolder() const;
    QString outerFolder() const;
    // A second prefix, <root>/merged/a/b/c, whose outer prefix three levels up has a "lib" that is a
    // symbolic link to the prefix's own "lib", as /lib is /usr/lib on Debian: both built-in folders
    // are one. Its built-in folder is made.
    QString prefixWithLinkedOuterLib() const;
    // Makes the user's folder under the application-support folder, under this name.
    QString userFolder(const QString &name = QStringLiteral("PlugIns")) const;

    // Copies the fixture bundle `fixture` (e.g. "Hello.tvr") into `folder` as `as` (default: same
    // name); returns the new bundle's path, or an empty string when the copy failed.
    static QString install(const QString &fixture, const QString &folder, const QString &as = {});
    // Rewrites one key of an installed bundle's Info.plist.
    static bool setInfo(const QString &bundle, const QString &key, const QVariant &value);

private:
    QTemporaryDir m_root;
};
