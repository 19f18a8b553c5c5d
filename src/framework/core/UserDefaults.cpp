#include "UserDefaults.h"

#include "CorruptFile_p.h"
#include "Logging_p.h"
#include "Paths.h"
#include "PropertyList.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLockFile>

#include <sys/stat.h>

namespace {

bool stringIsTrue(const QString &text)
{
    const QString trimmed = text.trimmed();
    if (trimmed.isEmpty())
        return false;
    const QChar first = trimmed.at(0).toLower();
    if (first == QLatin1Char('y') || first == QLatin1Char('t'))
        return true;
    bool isNumber = false;
    const double number = trimmed.toDouble(&isNumber);
    return isNumber && number != 0;
}

} // namespace

QString UserDefaults::applicationDomain()
{
    return QStringLiteral("org.tivaro.Tivaro");
}

UserDefaults::UserDefaults(const QString &domain)
    : m_domain(domain)
{
    refreshDomain(m_domain);
}

void UserDefaults::addSuiteNamed(const QString &suite)
{
    // The own domain is searched first anyway; as a suite too it would only be read twice.
    if (suite.isEmpty() || suite == m_domain || m_suites.contains(suite))
        return;
    m_suites.append(suite);
    refreshDomain(suite);
}

QVariant UserDefaults::objectForKey(const QString &key) const
{
    const auto pending = m_pendingSets.constFind(key);
    if (pending != m_pendingSets.cend())
        return *pending;
    // A pending removal empties only the own domain: the suites still answer, as after synchronize().
    if (!m_pendingRemovals.contains(key)) {
        const QVariant own = m_values.value(m_domain).value(key);
        if (own.isValid())
            return own;
    }
    for (const QString &suite : m_suites) {
        const QVariant value = m_values.value(suite).value(key);
        if (value.isValid())
            return value;
    }
    return {};
}

QString UserDefaults::stringForKey(const QString &key) const
{
    const QVariant value = objectForKey(key);
    return value.metaType().id() == QMetaType::QString ? value.toString() : QString();
}

bool UserDefaults::boolForKey(const QString &key) const
{
    return boolValue(objectForKey(key));
}

bool UserDefaults::boolValue(const QVariant &value)
{
    switch (value.metaType().id()) {
    case QMetaType::Bool:
        return value.toBool();
    case QMetaType::QString:
        return stringIsTrue(value.toString());
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Double:
    case QMetaType::Float:
        return value.toDouble() != 0;
    default:
        return false;
    }
}

qint64 UserDefaults::integerForKey(const QString &key) const
{
    const QVariant value = objectForKey(key);
    if (value.metaType().id() == QMetaType::QString)
        return value.toString().trimmed().toLongLong();
    return value.canConvert<qint64>() ? value.toLongLong() : 0;
}

QVariantMap UserDefaults::dictionaryForKey(const QString &key) const
{
    const QVariant value = objectForKey(key);
    return value.metaType().id() == QMetaType::QVariantMap ? value.toMap() : QVariantMap();
}

void UserDefaults::setObject(const QVariant &value, const QString &key)
{
    if (!value.isValid()) {
        removeObjectForKey(key);
        return;
    }
    m_pendingRemovals.remove(key);
    m_pendingSets.insert(key, value);
}

void UserDefaults::removeObjectForKey(const QString &key)
{
    m_pendingSets.remove(key);
    m_pendingRemovals.insert(key);
}

QVariantMap UserDefaults::persistentDomain() const
{
    QVariantMap values = m_values.value(m_domain);
    for (const QString &key : m_pendingRemovals)
        values.remove(key);
    values.insert(m_pendingSets);
    return values;
}

bool UserDefaults::synchronize(QString *error)
{
    if ((!m_pendingSets.isEmpty() || !m_pendingRemovals.isEmpty()) && !writePendingChanges(error))
        return false;
    refreshDomain(m_domain);
    for (const QString &suite : std::as_const(m_suites))
        refreshDomain(suite);
    return true;
}

void UserDefaults::refreshDomain(const QString &domain)
{
    const QString path = Paths::preferencesFileForDomain(domain);
    struct stat info {};
    FileStamp stamp;
    if (::stat(QFile::encodeName(path).constData(), &info) == 0)
        stamp = FileStamp{quint64(info.st_ino), qint64(info.st_size),
                          qint64(info.st_mtim.tv_sec) * 1000000000 + info.st_mtim.tv_nsec,
                          qint64(info.st_ctim.tv_sec) * 1000000000 + info.st_ctim.tv_nsec};
    const auto known = m_stamps.constFind(domain);
    if (known != m_stamps.cend() && *known == stamp && m_values.contains(domain))
        return;
    m_values.insert(domain, stamp.size < 0 ? QVariantMap() : readDomain(path));
    m_stamps.insert(domain, stamp);
}

QVariantMap UserDefaults::readDomain(const QString &path) const
{
    QString reason;
    const std::optional<QVariant> root = PropertyList::readFile(path, &reason);
    if (!root || root->metaType().id() != QMetaType::QVariantMap) {
        qCWarning(lcCore) << "Ignoring unreadable preferences file" << path << ':'
                          << (root ? QStringLiteral("not a dictionary") : reason);
        return {};
    }
    return root->toMap();
}

bool UserDefaults::writePendingChanges(QString *error)
{
    const QString path = Paths::preferencesFileForDomain(m_domain);
    if (!QDir().mkpath(QFileInfo(path).absolutePath())) {
        if (error)
            *error = QStringLiteral("cannot create the folder of %1").arg(path);
        return false;
    }
    QLockFile lock(path + QStringLiteral(".lock"));
    lock.setStaleLockTime(30000);
    if (!lock.tryLock(10000)) {
        if (error)
            *error = QStringLiteral("%1 is locked by another program").arg(path);
        return false;
    }

    QVariantMap values;
    if (QFileInfo::exists(path)) {
        // A file that cannot be read (permissions, a failing disk) is not corrupt: nothing is written
        // over it, and the changes wait for the next try.
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly)) {
            if (error)
                *error = QStringLiteral("cannot read %1: %2").arg(path, file.errorString());
            return false;
        }
        const std::optional<QVariant> root = PropertyList::fromData(file.readAll());
        // A file that is there but holds no dictionary is moved aside, never overwritten unseen; one
        // that cannot be moved must not be overwritten either.
        if (root && root->metaType().id() == QMetaType::QVariantMap) {
            values = root->toMap();
        } else if (CorruptFile::keepAside(path, lcCore).isNull()) {
            if (error)
                *error = QStringLiteral("%1 is not a property list and cannot be moved aside").arg(path);
            return false;
        }
    }
    for (const QString &key : std::as_const(m_pendingRemovals))
        values.remove(key);
    values.insert(m_pendingSets);

    if (!PropertyList::writeFile(path, values, error))
        return false;
    m_pendingSets.clear();
    m_pendingRemovals.clear();
    return true;
}
