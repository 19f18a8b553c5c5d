#include "TemporaryHome.h"

#include "core/Paths.h"
#include "core/PropertyList.h"
#include "core/UserDefaults.h"

#include <QDir>

namespace {

const QList<std::pair<QByteArray, QString>> kVariables{
    {"HOME", QString()},
    {"XDG_DATA_HOME", QStringLiteral("/.local/share")},
    {"XDG_CONFIG_HOME", QStringLiteral("/.config")},
    {"XDG_CACHE_HOME", QStringLiteral("/.cache")},
};

} // namespace

TemporaryHome::TemporaryHome()
{
    for (const auto &[name, below] : kVariables) {
        m_saved.insert(name, qgetenv(name.constData()));
        const QString folder = m_folder.path() + below;
        QDir().mkpath(folder);
        qputenv(name.constData(), QFile::encodeName(folder));
    }
}

TemporaryHome::~TemporaryHome()
{
    for (auto it = m_saved.cbegin(); it != m_saved.cend(); ++it) {
        if (it.value().isNull())
            qunsetenv(it.key().constData());
        else
            qputenv(it.key().constData(), it.value());
    }
}

void TemporaryHome::writeApplicationPreferences(const QVariantMap &values) const
{
    const QString file = Paths::preferencesFileForDomain(UserDefaults::applicationDomain());
    QDir().mkpath(QFileInfo(file).absolutePath());
    PropertyList::writeFile(file, values);
}

void TemporaryHome::writePluginPreferences(const QString &identifier, const QVariantMap &values) const
{
    const QString file =
        Paths::applicationSupportFolder() + QStringLiteral("/Preferences/") + identifier + QStringLiteral(".plist");
    QDir().mkpath(QFileInfo(file).absolutePath());
    PropertyList::writeFile(file, values);
}
