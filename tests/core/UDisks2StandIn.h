#pragma once

#include <QDBusVirtualObject>
#include <QHash>
#include <QList>
#include <QMutex>
#include <QString>
#include <QStringList>
#include <QThread>

#include <memory>

// A stand-in for the UDisks2 daemon on a private bus: it owns "org.freedesktop.UDisks2" on a
// connection of its own and answers, from a thread of its own, the calls VolumeEjector makes, so
// that the client's blocking calls from the test's thread get their replies. It knows drives and
// block devices described by the test, records every Unmount, Eject and PowerOff in order, and can
// be told to fail any call on any object with a given D-Bus error.
//
// Describe everything, then start(); the description must not change afterwards.
class UDisks2StandIn
{
public:
    UDisks2StandIn();
    ~UDisks2StandIn();
    UDisks2StandIn(const UDisks2StandIn &) = delete;
    UDisks2StandIn &operator=(const UDisks2StandIn &) = delete;

    // A drive at /org/freedesktop/UDisks2/drives/<name>.
    void addDrive(const QString &name, bool ejectable, bool canPowerOff);
    // A block device at /org/freedesktop/UDisks2/block_devices/<name>, such as "sdb1" for "/dev/sdb1".
    // An empty `drive` gives the drive path "/", as for loop devices. Without a filesystem (a whole
    // disk) the Filesystem interface is missing.
    void addBlock(const QString &name, const QString &drive, const QStringList &mountPoints, bool hasFilesystem = true);
    // Makes `method` ("Unmount", "Eject", "PowerOff", "GetAll") on the object named `object` answer
    // the error `errorName`.
    void failCall(const QString &method, const QString &object, const QString &errorName);

    // Connects to the system bus (the private one in tests) and takes the service name.
    bool start(QString *error);

    // "Unmount sdb1", "Eject iPod", "PowerOff iPod": each call of those methods as it came, failed or not.
    QStringList calls() const;

private:
    struct Drive {
        QString name;
        bool ejectable = false;
        bool canPowerOff = false;
    };
    struct Block {
        QString name;
        QString drive;
        QStringList mountPoints;
        bool hasFilesystem = true;
    };
    class Service;

    QDBusMessage answer(const QDBusMessage &call);
    QDBusMessage getAll(const QDBusMessage &call, const QString &kind, const QString &name);
    QDBusMessage act(const QDBusMessage &call, const QString &kind, const QString &name);

    mutable QMutex m_mutex;
    QList<Drive> m_drives;
    QList<Block> m_blocks;
    QHash<QString, QString> m_failures;
    QStringList m_calls;

    QString m_connectionName;
    QThread m_thread;
    std::unique_ptr<Service> m_service;
};
