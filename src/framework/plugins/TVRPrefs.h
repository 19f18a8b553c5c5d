#pragma once

#include "tivaro_export.h"

#include "core/ObserverRegistration.h"

#include <QSet>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <QVariantMap>

#include <memory>

class Bundle;
struct Notification;

// The preferences of one plug-in, kept in their own property-list file
// "<Application Support>/Preferences/<bundle identifier>.plist", apart from the application's.
//
// Every object made for the same bundle shares one state: a change is posted as the notification
// "TVRPrefsChanged<identifier>" and applied when it arrives, at once and on the posting thread, by
// every such object, the changing one included. Nothing reaches the disk until synchronize().
//
// Objects of one bundle reach into each other on the thread that changes a value and hold no lock:
// keep all of them on one thread (at a time).
class TIVARO_EXPORT TVRPrefs
{
public:
    // Null when there is no bundle or its Info.plist names no CFBundleIdentifier (or one with a "/",
    // which would lead the file out of its folder). Otherwise the file is read if it exists. The caller
    // owns the object; it must stay where it is, as the notification centre calls back into it until it
    // is destroyed, hence no copies and no moves.
    static std::unique_ptr<TVRPrefs> prefsWithBundle(const Bundle *bundle);
    ~TVRPrefs() = default;
    TVRPrefs(const TVRPrefs &) = delete;
    TVRPrefs &operator=(const TVRPrefs &) = delete;

    QString fullPath() const { return m_fullPath; }
    QString notificationName() const { return m_notificationName; }

    // Every value, as this object holds it now.
    const QVariantMap &dictionary() const { return m_dict; }
    // An invalid QVariant when the key has no value.
    QVariant objectForKey(const QString &key) const;
    // Ignored when the value is invalid or the key null or empty: setting nothing removes nothing,
    // and an empty key is a caller's mistake rather than a setting.
    void setObject(const QVariant &value, const QString &key);
    void removeObjectForKey(const QString &key);

    // Saves the changes made through this object and the others of its bundle since it was made or
    // last synchronized: under the lock UserDefaults takes beside the file, it reads the file afresh,
    // applies those sets and removals over it and replaces it atomically, so keys other programs
    // saved meanwhile stay. Afterwards the object holds what the file holds. The folder is created
    // if need be. A file that holds no property-list dictionary is first kept aside (CorruptFile);
    // a file that cannot be read is never overwritten: false, with the reason in *error, and the
    // changes wait for the next try.
    bool synchronize(QString *error = nullptr);

    // Moves these keys from the application's preferences file into this one: each key found there
    // is set here and removed there, then both files are written. The application's file is updated
    // under the lock UserDefaults takes, so that a value the host writes meanwhile is not lost. When
    // that file is missing, locked for too long or holds no dictionary, nothing changes and false is
    // returned; false also when a write fails (the keys then stay in the application's file).
    bool importKeysFromTivaroPrefs(const QStringList &keys, QString *error = nullptr);

    // Applies a change notification: "set" stores "object" under "key", "remove" removes "key";
    // null and anything else is ignored.
    void handlePrefsChanged(const Notification *notification);

    // The values, readable, for logs.
    QString description() const;

private:
    TVRPrefs(const QString &fullPath, const QString &notificationName);
    void load();
    void postChange(const QVariantMap &userInfo) const;

    QVariantMap m_dict;
    QString m_fullPath;
    QString m_notificationName;
    // The changes not yet saved, as synchronize() applies them over the file.
    QVariantMap m_pendingSets;
    QSet<QString> m_pendingRemovals;
    // Last, so that observing stops before anything else goes away.
    ObserverRegistration m_observer;
};
