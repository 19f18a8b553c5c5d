#include "Paths.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

namespace {

const QString kTivaro = QStringLiteral("Tivaro");

// An XDG variable counts only when it holds an absolute path, as the XDG rules require.
QString xdgFolder(const char *variable, const QString &fallbackBelowHome)
{
    const QString value = qEnvironmentVariable(variable);
    if (!value.isEmpty() && QDir::isAbsolutePath(value))
        return QDir::cleanPath(value);
    return QDir::cleanPath(Paths::homeFolder() + QLatin1Char('/') + fallbackBelowHome);
}

QString executableFolder()
{
    if (QCoreApplication::instance())
        return QCoreApplication::applicationDirPath();
    return QFileInfo(QStringLiteral("/proc/self/exe")).canonicalFilePath().section(QLatin1Char('/'), 0, -2);
}

} // namespace

namespace Paths {

QString homeFolder()
{
    const QString home = qEnvironmentVariable("HOME");
    return home.isEmpty() ? QDir::homePath() : QDir::cleanPath(home);
}

QString applicationSupportFolder()
{
    return xdgFolder("XDG_DATA_HOME", QStringLiteral(".local/share")) + QLatin1Char('/') + kTivaro;
}

QString preferencesFolder()
{
    return xdgFolder("XDG_CONFIG_HOME", QStringLiteral(".config")) + QLatin1Char('/') + kTivaro;
}

QString preferencesFileForDomain(const QString &domain)
{
    return preferencesFolder() + QLatin1Char('/') + domain + QStringLiteral(".plist");
}

QString cachesFolder()
{
    return xdgFolder("XDG_CACHE_HOME", QStringLiteral(".cache")) + QLatin1Char('/') + kTivaro;
}

QString musicFolder()
{
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::MusicLocation);
    return folder.isEmpty() ? homeFolder() + QStringLiteral("/Music") : folder;
}

QString desktopFolder()
{
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::DesktopLocation);
    return folder.isEmpty() ? homeFolder() + QStringLiteral("/Desktop") : folder;
}

QString installPrefix()
{
    return QDir::cleanPath(executableFolder() + QStringLiteral("/.."));
}

QString frameworkResourcesFolder()
{
    return installPrefix() + QStringLiteral("/share/tivaro");
}

QString builtInPluginsFolder()
{
    return installPrefix() + QStringLiteral("/lib/tivaro/PlugIns");
}

} // namespace Paths
