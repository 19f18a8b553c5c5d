#pragma once

#include "tivaro_export.h"

#include <QString>
#include <QStringList>

// Where the framework's own files are, and its user-visible strings in the user's language.
// Static operations only; all are thread-safe.
class TIVARO_AUTOTEST_EXPORT TVRInternalUtils
{
public:
    TVRInternalUtils() = delete;

    // <prefix>/share/tivaro: the framework's images, tables and default plug-in list.
    static QString TivaroFrameworkResourcesPath();
    // The folder the framework is installed in, the prefix holding bin/, lib/ and share/tivaro (the
    // build tree when run from there). It stands in for the framework bundle of the classic system.
    static QString TivaroFrameworkBundlePath();

    // The framework's text for `key` in the user's UI languages, or `key` itself when no table has it
    // (the keys are the English texts).
    static QString FrameworkLocalizedString(const QString &key);

    // The lookup behind FrameworkLocalizedString, for any resources folder and languages (BCP 47,
    // most preferred first): "<folder>/<name>.lproj/Localizable.plist", an XML or binary property-list
    // dictionary, for each name of localizationNames(languages) in turn; the first table with a string
    // for the key answers, so a partial translation falls back key by key. Tables are read once and
    // kept for the life of the process.
    static QString localizedString(const QString &key, const QString &resourcesFolder, const QStringList &languages);
    // The .lproj names to search for these languages: "fr-FR" gives "fr_FR" then "fr"; "English",
    // the table every translation starts from, comes last. Entries that are no language tag are skipped.
    static QStringList localizationNames(const QStringList &languages);
};
