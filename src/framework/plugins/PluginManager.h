#pragma once

#include "tivaro_export.h"

#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <memory>
#include <optional>

class Bundle;
class TVRPlugin;

// Finds the plug-in bundles ("*.tvr") on disk, keeps one bundle per plug-in name (the newest by
// version), checks that each really is a plug-in and makes an instance of each.
//
// The folders, in order:
//   1. the built-in plug-ins folder of the install prefix, <prefix>/lib/tivaro/PlugIns;
//   2. the same folder of the prefix three levels up, so that a helper program installed inside
//      the application's own tree finds the application's plug-ins;
//   3. in the application-support folder, the first sub-folder whose name lower-cased is "plugins".
// The list ends at the first that cannot be named: a prefix that is no folder gives none at all,
// and without a user folder there are two. A folder that is another one of the list under another
// name (through a symbolic link) is searched once, where it comes first.
//
// Not shared: every pluginManager() is a new object, and every plugins() makes new instances.
// Use on the main thread (plug-in libraries are loaded and plug-in objects made there).
// For Tivaro's programs; plug-ins have no use for it.
class TIVARO_EXPORT PluginManager
{
public:
    using PluginMap = QMap<QString, std::shared_ptr<TVRPlugin>>;

    // Why a bundle found in the folders is not in plugins().
    struct Rejection {
        QString path;
        QString reason;
    };

    static std::unique_ptr<PluginManager> pluginManager();
    // A manager that takes `mainPrefix` as the install prefix, for hosts and tests that live elsewhere.
    explicit PluginManager(const QString &mainPrefix);

    // The names in the framework's "DefaultPlugins.plist": the plug-ins that come with Tivaro.
    // Nullopt when the file cannot be read as an array.
    static std::optional<QStringList> defaultPlugins();

    // Scans afresh and returns name → plug-in. Every call makes new plug-in objects.
    PluginMap plugins();
    // The plug-in instance for the bundle, or null when its principal class is missing, is no
    // TVRPlugin or cannot be set up.
    std::shared_ptr<TVRPlugin> validPlugin(const std::shared_ptr<Bundle> &bundle, QString *whyNot = nullptr);
    // The names of the last scan that are not default plug-ins: the ones the user added.
    QStringList otherPlugins() const;

    // The folders the scan looks at, in order, as the rules above give them.
    QStringList searchFolders() const;
    // The bundles the last scan left out, and why: no Info.plist, no "pluginName", an older version
    // of a plug-in found twice, a library that cannot be loaded, a principal class that is no plug-in.
    const QList<Rejection> &rejections() const { return m_rejections; }

    // The digit-joining version number discovery compares: "1.2" → "1.2.0" → 120, "1.10" → 1100.
    static qint64 joinedVersionNumber(const QString &version);

private:
    struct Candidate {
        std::shared_ptr<Bundle> bundle;
        QString version;
        bool hasVersion = false;
    };
    void scanFolder(const QString &folder, QMap<QString, Candidate> &kept, QStringList &order);
    void reject(const QString &path, const QString &reason);

    QString m_mainPrefix;
    PluginMap m_plugins;
    QList<Rejection> m_rejections;
};
