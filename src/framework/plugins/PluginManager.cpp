#include "PluginManager.h"

#include "TVRPlugin.h"

#include "core/Bundle.h"
#include "core/ExportedClass.h"
#include "core/Logging_p.h"
#include "core/Paths.h"
#include "core/PropertyList.h"

#include <QDir>
#include <QFileInfo>

#include <climits>
#include <exception>

namespace {

const QString kPluginsBelowPrefix = QStringLiteral("/lib/tivaro/PlugIns");

// Entries are taken in name order: the file system's own order would differ from disk to disk.
QStringList listing(const QString &folder, QDir::Filters filters)
{
    return QDir(folder).entryList(filters | QDir::NoDotAndDotDot | QDir::Hidden, QDir::Name);
}

// The folder a path is in; the root is its own parent, as the platform's path rules have it.
QString parentFolder(const QString &path)
{
    const qsizetype slash = path.lastIndexOf(QLatin1Char('/'));
    return slash <= 0 ? QStringLiteral("/") : path.left(slash);
}

// What a folder really is, links resolved, so that one reached by two names is searched once. A
// folder not made yet is named through its nearest ancestor that exists.
QString folderIdentity(const QString &folder)
{
    QString existing = QDir::cleanPath(QFileInfo(folder).absoluteFilePath());
    QString rest;
    while (existing != QLatin1String("/") && !QFileInfo(existing).isDir()) {
        rest.prepend(existing.mid(existing.lastIndexOf(QLatin1Char('/'))));
        existing = parentFolder(existing);
    }
    const QString canonical = QFileInfo(existing).canonicalFilePath();
    return (canonical.isEmpty() ? existing : canonical) + rest;
}

// Adds `folder` unless it is one already listed under another name.
void appendOnce(QStringList &folders, QStringList &identities, const QString &folder)
{
    const QString identity = folderIdentity(folder);
    if (identities.contains(identity))
        return;
    folders.append(folder);
    identities.append(identity);
}

QString userPluginsFolder()
{
    const QString support = Paths::applicationSupportFolder();
    for (const QString &entry : listing(support, QDir::Dirs)) {
        if (entry.toLower() == QLatin1String("plugins"))
            return support + QLatin1Char('/') + entry;
    }
    return {};
}

QString stringValue(const Bundle &bundle, const QString &key)
{
    const QVariant value = bundle.objectForInfoDictionaryKey(key);
    return value.metaType().id() == QMetaType::QString ? value.toString() : QString();
}

} // namespace

std::unique_ptr<PluginManager> PluginManager::pluginManager()
{
    return std::make_unique<PluginManager>(Paths::installPrefix());
}

PluginManager::PluginManager(const QString &mainPrefix)
    : m_mainPrefix(QDir::cleanPath(mainPrefix))
{}

std::optional<QStringList> PluginManager::defaultPlugins()
{
    const QString path = Paths::frameworkResourcesFolder() + QStringLiteral("/DefaultPlugins.plist");
    QString reason;
    const std::optional<QVariant> root = PropertyList::readFile(path, &reason);
    if (!root || root->metaType().id() != QMetaType::QVariantList) {
        qCWarning(lcPlugins) << "Cannot read the default plug-ins" << path << ':'
                             << (root ? QStringLiteral("not an array") : reason);
        return std::nullopt;
    }
    QStringList names;
    for (const QVariant &name : root->toList())
        names.append(name.toString());
    return names;
}

QStringList PluginManager::searchFolders() const
{
    // A prefix that is a folder always has a built-in plug-ins folder, there or not yet, as every
    // application bundle has one; only a prefix that is no folder at all ends the list.
    // A folder reached twice (on Debian /lib is /usr/lib, so for an install to /usr the outer
    // prefix's folder is the built-in one) is listed once, where it comes first.
    QStringList folders;
    QStringList identities;
    if (!QFileInfo(m_mainPrefix).isDir())
        return folders;
    appendOnce(folders, identities, m_mainPrefix + kPluginsBelowPrefix);

    QString outerPrefix = m_mainPrefix;
    for (int level = 0; level < 3; ++level)
        outerPrefix = parentFolder(outerPrefix);
    if (!QFileInfo(outerPrefix).isDir())
        return folders;
    appendOnce(folders, identities,
               outerPrefix == QLatin1String("/") ? kPluginsBelowPrefix : outerPrefix + kPluginsBelowPrefix);

    const QString user = userPluginsFolder();
    if (!user.isEmpty())
        appendOnce(folders, identities, user);
    return folders;
}

PluginManager::PluginMap PluginManager::plugins()
{
    m_rejections.clear();
    QMap<QString, Candidate> kept;
    QStringList order;
    for (const QString &folder : searchFolders()) {
        if (QFileInfo(folder).isDir())
            scanFolder(folder, kept, order);
    }

    PluginMap result;
    for (const QString &name : std::as_const(order)) {
        QString whyNot;
        if (std::shared_ptr<TVRPlugin> plugin = validPlugin(kept.value(name).bundle, &whyNot))
            result.insert(name, plugin);
        else
            reject(kept.value(name).bundle->bundlePath(), whyNot);
    }
    m_plugins = result;
    return result;
}

void PluginManager::scanFolder(const QString &folder, QMap<QString, Candidate> &kept, QStringList &order)
{
    for (const QString &entry : listing(folder, QDir::Dirs | QDir::Files)) {
        // Exactly "tvr": a bundle called "X.TVR" is not a plug-in.
        if (QFileInfo(entry).suffix() != QLatin1String("tvr"))
            continue;
        const QString path = folder + QLatin1Char('/') + entry;
        const std::shared_ptr<Bundle> bundle = Bundle::bundleWithPath(path);
        if (!bundle) {
            reject(path, QStringLiteral("not a folder"));
            continue;
        }
        if (!bundle->infoDictionary()) {
            reject(path, bundle->infoProblem());
            continue;
        }
        const QString name = stringValue(*bundle, QStringLiteral("pluginName"));
        if (name.isEmpty()) {
            reject(path, QStringLiteral("Info.plist has no \"pluginName\""));
            continue;
        }
        const QVariant versionValue = bundle->objectForInfoDictionaryKey(QStringLiteral("pluginVersion"));
        // A version that is not a string counts as no version at all.
        Candidate candidate{bundle, versionValue.toString(), versionValue.metaType().id() == QMetaType::QString};

        const auto known = kept.find(name);
        if (known == kept.end()) {
            kept.insert(name, candidate);
            order.append(name);
            continue;
        }
        // Without a version on either side, and on equal numbers, the bundle found first stays.
        const bool newer = candidate.hasVersion && known->hasVersion &&
                           joinedVersionNumber(candidate.version) > joinedVersionNumber(known->version);
        if (newer) {
            reject(known->bundle->bundlePath(),
                   QStringLiteral("replaced by version %1 at %2").arg(candidate.version, path));
            *known = candidate;
        } else {
            reject(path, QStringLiteral("\"%1\" is already provided by %2").arg(name, known->bundle->bundlePath()));
        }
    }
}

std::shared_ptr<TVRPlugin> PluginManager::validPlugin(const std::shared_ptr<Bundle> &bundle, QString *whyNot)
{
    const ExportedClass *principal = bundle ? bundle->principalClass() : nullptr;
    if (!principal) {
        if (whyNot)
            *whyNot = bundle ? bundle->errorString() : QStringLiteral("no bundle");
        return nullptr;
    }
    std::unique_ptr<QObject> object;
    try {
        object.reset(principal->create());
    } catch (const std::exception &error) {
        if (whyNot)
            *whyNot = QStringLiteral("the class %1 failed to start: %2")
                          .arg(QLatin1String(principal->className), QString::fromLocal8Bit(error.what()));
        return nullptr;
    }
    // Only a TVRPlugin answers sync(); anything else is not a plug-in.
    auto *plugin = qobject_cast<TVRPlugin *>(object.get());
    if (!plugin) {
        if (whyNot)
            *whyNot =
                QStringLiteral("the class %1 is not a plug-in (no TVRPlugin)").arg(QLatin1String(principal->className));
        return nullptr;
    }
    object.release();
    std::shared_ptr<TVRPlugin> shared(plugin);
    if (!shared->initWithBundle(bundle)) {
        if (whyNot)
            *whyNot = QStringLiteral("the plug-in could not read its bundle");
        return nullptr;
    }
    return shared;
}

QStringList PluginManager::otherPlugins() const
{
    const QStringList defaults = defaultPlugins().value_or(QStringList());
    QStringList others;
    for (auto it = m_plugins.cbegin(); it != m_plugins.cend(); ++it) {
        if (!defaults.contains(it.key()))
            others.append(it.key());
    }
    return others;
}

qint64 PluginManager::joinedVersionNumber(const QString &version)
{
    QString joined = version;
    if (joined.count(QLatin1Char('.')) == 1)
        joined += QStringLiteral(".0");
    joined.remove(QLatin1Char('.'));

    // Read as the platform's intValue reads: leading blanks, a sign, then digits; saturated to 32 bits.
    qsizetype i = 0;
    while (i < joined.size() && joined.at(i).isSpace())
        ++i;
    bool negative = false;
    if (i < joined.size() && (joined.at(i) == QLatin1Char('-') || joined.at(i) == QLatin1Char('+')))
        negative = joined.at(i++) == QLatin1Char('-');
    qint64 value = 0;
    for (; i < joined.size() && joined.at(i) >= QLatin1Char('0') && joined.at(i) <= QLatin1Char('9'); ++i)
        value = std::min<qint64>(value * 10 + (joined.at(i).unicode() - '0'), qint64(INT_MAX) + 1);
    value = negative ? -value : std::min<qint64>(value, INT_MAX);
    return std::max<qint64>(value, INT_MIN);
}

void PluginManager::reject(const QString &path, const QString &reason)
{
    qCWarning(lcPlugins) << "Plug-in" << path << "left out:" << reason;
    m_rejections.append(Rejection{path, reason});
}
