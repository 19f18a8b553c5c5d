#include "TVRInternalUtils_p.h"

#include "core/Logging_p.h"
#include "core/Paths.h"
#include "core/PropertyList.h"

#include <QFileInfo>
#include <QHash>
#include <QLocale>
#include <QMutex>
#include <QRegularExpression>
#include <QVariantMap>

namespace {

const QString kBaseLocalization = QStringLiteral("English");

// Every table read so far, by path; a missing or unusable table is kept as an empty one so that it
// is not looked for again at every string.
class TableCache
{
public:
    QString lookUp(const QString &path, const QString &key)
    {
        const QMutexLocker locker(&m_mutex);
        auto table = m_tables.constFind(path);
        if (table == m_tables.cend())
            table = m_tables.insert(path, read(path));
        const QVariant value = table->value(key);
        return value.metaType().id() == QMetaType::QString ? value.toString() : QString();
    }

private:
    static QVariantMap read(const QString &path)
    {
        if (!QFileInfo::exists(path))
            return {};
        QString reason;
        const std::optional<QVariant> root = PropertyList::readFile(path, &reason);
        if (!root || root->metaType().id() != QMetaType::QVariantMap) {
            qCWarning(lcPlugins) << "Ignoring the strings table" << path << ':'
                                 << (root ? QStringLiteral("not a dictionary") : reason);
            return {};
        }
        return root->toMap();
    }

    QMutex m_mutex;
    QHash<QString, QVariantMap> m_tables;
};

TableCache &tableCache()
{
    static TableCache cache;
    return cache;
}

} // namespace

QString TVRInternalUtils::TivaroFrameworkResourcesPath()
{
    return Paths::frameworkResourcesFolder();
}

QString TVRInternalUtils::TivaroFrameworkBundlePath()
{
    return Paths::installPrefix();
}

QString TVRInternalUtils::FrameworkLocalizedString(const QString &key)
{
    return localizedString(key, TivaroFrameworkResourcesPath(), QLocale::system().uiLanguages());
}

QString TVRInternalUtils::localizedString(const QString &key, const QString &resourcesFolder,
                                          const QStringList &languages)
{
    for (const QString &name : localizationNames(languages)) {
        const QString path = resourcesFolder + QLatin1Char('/') + name + QStringLiteral(".lproj/Localizable.plist");
        const QString text = tableCache().lookUp(path, key);
        if (!text.isNull())
            return text;
    }
    return key;
}

QStringList TVRInternalUtils::localizationNames(const QStringList &languages)
{
    // Only tags made of letters, digits and dashes can become a folder name; nothing else reaches the
    // file system.
    static const QRegularExpression tag(QStringLiteral("^[A-Za-z0-9]+(-[A-Za-z0-9]+)*$"));
    QStringList names;
    for (const QString &language : languages) {
        if (!tag.match(language).hasMatch())
            continue;
        QStringList parts = language.split(QLatin1Char('-'));
        for (; !parts.isEmpty(); parts.removeLast()) {
            const QString name = parts.join(QLatin1Char('_'));
            if (!names.contains(name))
                names.append(name);
        }
    }
    if (!names.contains(kBaseLocalization))
        names.append(kBaseLocalization);
    return names;
}
