#pragma once

#include "tivaro_export.h"

#include <QString>
#include <QVariant>
#include <QVariantMap>

#include <memory>
#include <optional>

class QLibrary;
struct ExportedClass;

// A bundle on disk, the platform's NSBundle: a folder ("Name.tvr" for a plug-in) holding
//     Info.plist       the info dictionary (CFBundleIdentifier, NSPrincipalClass, CFBundleExecutable, ...)
//     Resources/       icons and other resources
//     <executable>     the shared library named by CFBundleExecutable, relative to the folder
// The library is loaded on demand and never unloaded, because objects made from it may live as long
// as the process. A Bundle may be made and used on any thread, one thread at a time.
class TIVARO_EXPORT Bundle
{
public:
    // Null when `path` is not a folder. A folder without a usable Info.plist is still a bundle,
    // one without an info dictionary.
    static std::shared_ptr<Bundle> bundleWithPath(const QString &path);
    ~Bundle();

    QString bundlePath() const { return m_path; }

    // Nullopt when Info.plist is missing or holds no dictionary; infoProblem() says which.
    const std::optional<QVariantMap> &infoDictionary() const { return m_info; }
    QString infoProblem() const { return m_infoProblem; }
    QVariant objectForInfoDictionaryKey(const QString &key) const;
    // CFBundleIdentifier when it is a string, else a null string.
    QString bundleIdentifier() const;

    // "<bundle>/Resources".
    QString resourcePath() const;
    // "<resources>/<name>.<type>" when that file exists, else a null string.
    QString pathForResource(const QString &name, const QString &type) const;
    // The library named by CFBundleExecutable; a null string when the key is missing or not a string.
    QString executablePath() const;

    // Loads the library with every symbol resolved at once, so that a missing symbol is reported here
    // rather than ending the process when first called. False (with errorString()) when it cannot be loaded.
    bool load();
    bool isLoaded() const;
    // Why the last load() or principalClass() failed.
    QString errorString() const { return m_loadError; }

    // The class named by NSPrincipalClass, loading the library if need be. Null, with errorString()
    // saying why, when there is no such key, the library cannot be loaded, it does not export the
    // class, or the class was built for another framework.
    const ExportedClass *principalClass();

private:
    explicit Bundle(const QString &path);
    void readInfoDictionary();

    QString m_path;
    std::optional<QVariantMap> m_info;
    QString m_infoProblem;
    std::unique_ptr<QLibrary> m_library;
    QString m_loadError;
};
