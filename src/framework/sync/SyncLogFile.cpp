#include "SyncLogFile.h"

#include "core/CorruptFile_p.h"
#include "core/Logging_p.h"
#include "core/Paths.h"
#include "core/PropertyList.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLockFile>
#include <QVariant>

namespace {

void setError(QString *error, const QString &reason)
{
    if (error)
        *error = reason;
}

std::optional<QVariantList> arrayFrom(const QByteArray &bytes, QString *error)
{
    QString reason;
    const std::optional<QVariant> root = PropertyList::fromData(bytes, &reason);
    if (!root) {
        const QString what = QStringLiteral("not a property list");
        setError(error, reason == what ? what : QStringLiteral("%1 (%2)").arg(what, reason));
        return std::nullopt;
    }
    if (root->metaType().id() != QMetaType::QVariantList) {
        setError(error, QStringLiteral("a property list, but not an array"));
        return std::nullopt;
    }
    return root->toList();
}

} // namespace

namespace SyncLogFile {

QString path()
{
    return Paths::applicationSupportFolder() + QStringLiteral("/SyncLog.plist");
}

namespace {

// Read, change and write back happen under one lock: another process appending at the same moment
// waits, and then finds this entry in the file.
class LockedLogFile
{
public:
    explicit LockedLogFile(QString *error)
        : m_file(path())
        , m_lock(m_file + QStringLiteral(".lock"))
    {
        if (!QDir().mkpath(QFileInfo(m_file).absolutePath())) {
            setError(error, QStringLiteral("cannot create the folder of %1").arg(m_file));
            return;
        }
        m_lock.setStaleLockTime(30000);
        if (!m_lock.tryLock(30000)) {
            setError(error, QStringLiteral("%1 is locked by another program").arg(m_file));
            return;
        }
        m_locked = true;
    }

    bool isLocked() const { return m_locked; }
    QString file() const { return m_file; }

    // The entries in the file; empty for no file. A file that is no array is moved aside (*aside
    // says where, *reason why) and counts as none. Nullopt when the file can be neither read nor
    // moved: it is then never written over.
    std::optional<QVariantList> readMovingCorruptAside(QString *aside, QString *reason, QString *error) const
    {
        if (!QFileInfo::exists(m_file))
            return QVariantList();
        // Unreadable (permissions, a failing disk) is not corrupt: nothing is written over it.
        QFile existing(m_file);
        if (!existing.open(QIODevice::ReadOnly)) {
            setError(error, QStringLiteral("cannot read %1: %2").arg(m_file, existing.errorString()));
            return std::nullopt;
        }
        if (std::optional<QVariantList> array = arrayFrom(existing.readAll(), reason))
            return array;
        const QString movedTo = CorruptFile::keepAside(m_file, lcSync);
        if (movedTo.isNull()) {
            setError(error, QStringLiteral("%1 is %2 and cannot be moved aside").arg(m_file, *reason));
            return std::nullopt;
        }
        *aside = movedTo;
        return QVariantList();
    }

private:
    QString m_file;
    QLockFile m_lock;
    bool m_locked = false;
};

} // namespace

bool append(const QByteArray &archivedLog, QString *error)
{
    LockedLogFile log(error);
    if (!log.isLocked())
        return false;
    QString aside;
    QString reason;
    std::optional<QVariantList> entries = log.readMovingCorruptAside(&aside, &reason, error);
    if (!entries)
        return false;
    entries->append(archivedLog);
    if (!PropertyList::writeFile(log.file(), *entries, &reason)) {
        setError(error, QStringLiteral("cannot write %1: %2").arg(log.file(), reason));
        return false;
    }
    return true;
}

bool setAsideIfCorrupt(QString *aside, QString *problem)
{
    aside->clear();
    LockedLogFile log(problem);
    if (!log.isLocked())
        return false;
    return log.readMovingCorruptAside(aside, problem, problem).has_value();
}

std::optional<QList<QByteArray>> readEntries(QString *error)
{
    const QString file = path();
    if (!QFileInfo::exists(file))
        return QList<QByteArray>();
    // Entries are written by replacing the whole file, so a reader never sees half of one and
    // needs no lock.
    QFile existing(file);
    if (!existing.open(QIODevice::ReadOnly)) {
        setError(error, QStringLiteral("cannot read %1: %2").arg(file, existing.errorString()));
        return std::nullopt;
    }
    QString reason;
    std::optional<QList<QByteArray>> entries = entriesFromData(existing.readAll(), &reason);
    if (!entries)
        setError(error, QStringLiteral("%1 is not a sync log: %2").arg(file, reason));
    return entries;
}

std::optional<QList<QByteArray>> entriesFromData(const QByteArray &bytes, QString *error)
{
    const std::optional<QVariantList> array = arrayFrom(bytes, error);
    if (!array)
        return std::nullopt;
    QList<QByteArray> entries;
    entries.reserve(array->size());
    for (qsizetype i = 0; i < array->size(); ++i) {
        const QVariant &element = array->at(i);
        if (element.metaType().id() == QMetaType::QByteArray)
            entries.append(element.toByteArray());
        else
            qCWarning(lcSync) << "Sync log element" << i << "is no archived log but" << element.typeName()
                              << "- left out";
    }
    return entries;
}

} // namespace SyncLogFile
