#include "SyncLogFile.h"

#include "core/CorruptFile.h"
#include "core/Logging.h"
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

bool append(const QByteArray &archivedLog, QString *error)
{
    const QString file = path();
    if (!QDir().mkpath(QFileInfo(file).absolutePath())) {
        setError(error, QStringLiteral("cannot create the folder of %1").arg(file));
        return false;
    }
    // Read, append and write back as one step: another process appending at the same moment
    // waits, and then finds this entry in the file.
    QLockFile lock(file + QStringLiteral(".lock"));
    lock.setStaleLockTime(30000);
    if (!lock.tryLock(30000)) {
        setError(error, QStringLiteral("%1 is locked by another program").arg(file));
        return false;
    }

    QVariantList entries;
    if (QFileInfo::exists(file)) {
        // Unreadable (permissions, a failing disk) is not corrupt: nothing is written over it.
        QFile existing(file);
        if (!existing.open(QIODevice::ReadOnly)) {
            setError(error, QStringLiteral("cannot read %1: %2").arg(file, existing.errorString()));
            return false;
        }
        QString reason;
        // Anything but an array is moved aside, never overwritten unseen; what cannot be moved is not
        // overwritten at all.
        if (const std::optional<QVariantList> array = arrayFrom(existing.readAll(), &reason)) {
            entries = *array;
        } else if (CorruptFile::keepAside(file, lcSync).isNull()) {
            setError(error, QStringLiteral("%1 is %2 and cannot be moved aside").arg(file, reason));
            return false;
        }
    }
    entries.append(archivedLog);
    QString reason;
    if (!PropertyList::writeFile(file, entries, &reason)) {
        setError(error, QStringLiteral("cannot write %1: %2").arg(file, reason));
        return false;
    }
    return true;
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
