#pragma once

#include "tivaro_export.h"

#include <QHash>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QVariant>

// Preferences kept as one property-list file per domain in Paths::preferencesFolder(), read and
// written like the Mac's user defaults: a value is looked up in the object's own domain first,
// then in each added suite in turn. Changes are held in memory until synchronize(), which merges
// them into the file under a lock (other keys another process wrote stay) and re-reads every domain,
// so a change made by another process is seen afterwards.
//
// An object may be made on any thread but belongs to that thread; objects on different threads
// (or in different processes) share only the files.
class TIVARO_EXPORT UserDefaults
{
public:
    // The application's preferences domain, its bundle identifier.
    static QString applicationDomain();

    explicit UserDefaults(const QString &domain = applicationDomain());

    QString domain() const { return m_domain; }

    // Adds a domain whose values are found after this object's own; the file is read at once.
    void addSuiteNamed(const QString &suite);

    // The first value found for the key, or an invalid QVariant.
    QVariant objectForKey(const QString &key) const;
    // A null QString unless a string is stored.
    QString stringForKey(const QString &key) const;
    // Booleans, non-zero numbers and strings such as "YES", "true" or "1" are true.
    bool boolForKey(const QString &key) const;
    // A stored value read as boolForKey() reads it ("NO" is false), for values found inside
    // dictionaries and arrays.
    static bool boolValue(const QVariant &value);
    qint64 integerForKey(const QString &key) const;
    // Empty unless a dictionary is stored.
    QVariantMap dictionaryForKey(const QString &key) const;

    // Changes this object's own domain; written by the next synchronize().
    void setObject(const QVariant &value, const QString &key);
    void removeObjectForKey(const QString &key);

    // The values of this object's own domain as last read, with pending changes applied.
    QVariantMap persistentDomain() const;

    // Writes pending changes, then re-reads every domain. False (and *error) when the file could not
    // be written; the pending changes are kept for the next try.
    bool synchronize(QString *error = nullptr);

private:
    // Reads a domain's file again unless it is the very file last read (same inode, size and times).
    void refreshDomain(const QString &domain);
    QVariantMap readDomain(const QString &path) const;
    bool writePendingChanges(QString *error);

    QString m_domain;
    QStringList m_suites;
    struct FileStamp {
        quint64 inode = 0;
        qint64 size = -1;
        qint64 modifiedNs = -1;
        qint64 changedNs = -1;
        bool operator==(const FileStamp &) const = default;
    };

    QHash<QString, QVariantMap> m_values;
    QHash<QString, FileStamp> m_stamps;
    QVariantMap m_pendingSets;
    QSet<QString> m_pendingRemovals;
};
