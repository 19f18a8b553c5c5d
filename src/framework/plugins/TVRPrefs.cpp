#include "TVRPrefs.h"

#include "core/Bundle.h"
#include "core/CorruptFile_p.h"
#include "core/Logging_p.h"
#include "core/NotificationCenter.h"
#include "core/Paths.h"
#include "core/PropertyList.h"
#include "core/UserDefaults.h"

#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLockFile>

namespace {

const QString kAction = QStringLiteral("action");
const QString kSet = QStringLiteral("set");
const QString kRemove = QStringLiteral("remove");
const QString kKey = QStringLiteral("key");
const QString kObject = QStringLiteral("object");

bool fail(QString *error, const QString &reason)
{
    if (error)
        *error = reason;
    return false;
}

bool isDictionary(const std::optional<QVariant> &root)
{
    return root && root->metaType().id() == QMetaType::QVariantMap;
}

// The lock UserDefaults::synchronize() takes beside a preferences file: whoever holds it reads,
// merges and replaces the file without anyone writing in between.
bool lockPreferencesFile(QLockFile &lock, const QString &path, QString *error)
{
    lock.setStaleLockTime(30000);
    if (lock.tryLock(10000))
        return true;
    return fail(error, QStringLiteral("%1 is locked by another program").arg(path));
}

} // namespace

std::unique_ptr<TVRPrefs> TVRPrefs::prefsWithBundle(const Bundle *bundle)
{
    if (!bundle || !bundle->infoDictionary())
        return nullptr;
    const QString identifier = bundle->bundleIdentifier();
    if (identifier.isEmpty())
        return nullptr;
    // The identifier becomes a file name; one with a slash would put the file somewhere else.
    if (identifier.contains(QLatin1Char('/')) || identifier.contains(QChar(0))) {
        qCWarning(lcPlugins) << "Bundle" << bundle->bundlePath()
                             << "has an identifier unfit for a file name:" << identifier;
        return nullptr;
    }
    const QString path =
        Paths::applicationSupportFolder() + QStringLiteral("/Preferences/") + identifier + QStringLiteral(".plist");
    return std::unique_ptr<TVRPrefs>(new TVRPrefs(path, QStringLiteral("TVRPrefsChanged") + identifier));
}

TVRPrefs::TVRPrefs(const QString &fullPath, const QString &notificationName)
    : m_fullPath(fullPath)
    , m_notificationName(notificationName)
{
    load();
    m_observer = ObserverRegistration(m_notificationName,
                                      [this](const Notification &notification) { handlePrefsChanged(&notification); });
}

void TVRPrefs::load()
{
    if (!QFileInfo::exists(m_fullPath))
        return;
    QFile file(m_fullPath);
    if (!file.open(QIODevice::ReadOnly)) {
        qCWarning(lcPlugins) << "Cannot read the plug-in preferences" << m_fullPath << ':' << file.errorString()
                             << "- starting without them; the file will not be overwritten";
        return;
    }
    QString reason;
    const std::optional<QVariant> root = PropertyList::fromData(file.readAll(), &reason);
    if (!isDictionary(root)) {
        qCWarning(lcPlugins) << "The plug-in preferences" << m_fullPath
                             << "are corrupt:" << (root ? QStringLiteral("no dictionary") : reason)
                             << "- starting without them; the file will be kept aside when they are saved";
        return;
    }
    m_dict = root->toMap();
}

QVariant TVRPrefs::objectForKey(const QString &key) const
{
    return m_dict.value(key);
}

void TVRPrefs::setObject(const QVariant &value, const QString &key)
{
    if (!value.isValid() || key.isEmpty())
        return;
    postChange({{kAction, kSet}, {kObject, value}, {kKey, key}});
}

void TVRPrefs::removeObjectForKey(const QString &key)
{
    if (key.isEmpty())
        return;
    postChange({{kAction, kRemove}, {kKey, key}});
}

void TVRPrefs::postChange(const QVariantMap &userInfo) const
{
    NotificationCenter::defaultCenter().postNotificationName(m_notificationName, m_fullPath, userInfo);
}

void TVRPrefs::handlePrefsChanged(const Notification *notification)
{
    if (!notification)
        return;
    const QVariantMap &info = notification->userInfo;
    const QString action = info.value(kAction).toString();
    const QString key = info.value(kKey).toString();
    if (key.isEmpty())
        return;
    if (action == kRemove) {
        m_dict.remove(key);
        m_pendingSets.remove(key);
        m_pendingRemovals.insert(key);
    } else if (action == kSet) {
        const QVariant object = info.value(kObject);
        if (!object.isValid())
            return;
        m_dict.insert(key, object);
        m_pendingRemovals.remove(key);
        m_pendingSets.insert(key, object);
    }
}

bool TVRPrefs::synchronize(QString *error)
{
    if (!QDir().mkpath(QFileInfo(m_fullPath).absolutePath()))
        return fail(error, QStringLiteral("cannot create the folder of %1").arg(m_fullPath));
    QLockFile lock(m_fullPath + QStringLiteral(".lock"));
    if (!lockPreferencesFile(lock, m_fullPath, error))
        return false;

    // Read afresh under the lock: what other programs saved meanwhile stays, and only the changes
    // made here since the last synchronize() go over it.
    QVariantMap values;
    if (QFileInfo::exists(m_fullPath)) {
        QFile file(m_fullPath);
        if (!file.open(QIODevice::ReadOnly))
            return fail(
                error,
                QStringLiteral("cannot read %1 (%2), so it is not overwritten").arg(m_fullPath, file.errorString()));
        const std::optional<QVariant> root = PropertyList::fromData(file.readAll());
        file.close();
        if (isDictionary(root))
            values = root->toMap();
        else if (CorruptFile::keepAside(m_fullPath, lcPlugins).isNull())
            return fail(error, QStringLiteral("%1 is not a property list and cannot be moved aside").arg(m_fullPath));
    }
    for (const QString &key : std::as_const(m_pendingRemovals))
        values.remove(key);
    values.insert(m_pendingSets);
    if (!PropertyList::writeFile(m_fullPath, values, error))
        return false;
    m_pendingSets.clear();
    m_pendingRemovals.clear();
    m_dict = values;
    return true;
}

bool TVRPrefs::importKeysFromTivaroPrefs(const QStringList &keys, QString *error)
{
    const QString appPath = Paths::preferencesFileForDomain(UserDefaults::applicationDomain());
    if (!QFileInfo::exists(appPath))
        return fail(error, QStringLiteral("there is no %1").arg(appPath));
    // The lock UserDefaults::synchronize() takes: the host cannot merge its changes into the file
    // between our reading and our writing it.
    QLockFile lock(appPath + QStringLiteral(".lock"));
    if (!lockPreferencesFile(lock, appPath, error))
        return false;
    QString reason;
    const std::optional<QVariant> root = PropertyList::readFile(appPath, &reason);
    if (!isDictionary(root))
        return fail(error, QStringLiteral("cannot read %1 as a dictionary: %2")
                               .arg(appPath, root ? QStringLiteral("it holds another type") : reason));

    QVariantMap appValues = root->toMap();
    bool moved = false;
    for (const QString &key : keys) {
        const auto found = appValues.constFind(key);
        // setObject() ignores an empty key, so it must stay where it is.
        if (key.isEmpty() || found == appValues.cend())
            continue;
        setObject(*found, key);
        appValues.erase(found);
        moved = true;
    }
    // Ours first: should it fail, the values are still in the application's file.
    if (!synchronize(error))
        return false;
    return !moved || PropertyList::writeFile(appPath, appValues, error);
}

QString TVRPrefs::description() const
{
    QString text;
    QDebug(&text).nospace() << "TVRPrefs(" << m_fullPath << ", " << m_dict << ')';
    return text;
}
