#pragma once

#include <QDBusMessage>
#include <QHash>
#include <QList>
#include <QMutex>
#include <QMutexLocker>
#include <QString>
#include <QStringList>
#include <QThread>

#include <memory>

// A stand-in for the UDisks2 daemon on the private test bus. It owns "org.freedesktop.UDisks2" on a
// connection of its own and answers from a thread of its own, so that the client's blocking calls get
// their replies. Describe drives and block devices, then start(); the description is fixed afterwards.
class UDisks2StandIn
{
public:
    UDisks2StandIn();
    ~UDisks2StandIn();
    UDisks2StandIn(const UDisks2StandIn &) = delete;
    UDisks2StandIn &operator=(const UDisks2StandIn &) = delete;

    void addDrive(const QString &name, bool ejectable, bool canPowerOff)
    {
        m_objects.append(Object{name, true, {}, {}, false, ejectable, canPowerOff});
    }
    // A block device "/dev/<name>". An empty `drive` gives the drive path "/", as for loop devices; a
    // whole disk has no Filesystem interface.
    void addBlock(const QString &name, const QString &drive, const QStringList &mountPoints, bool hasFilesystem = true)
    {
        m_objects.append(Object{name, false, drive, mountPoints, hasFilesystem});
    }
    // Makes `call` ("Unmount sdb1", "Eject iPod", "GetAll iPod", ...) answer the D-Bus error `errorName`.
    void failCall(const QString &call, const QString &errorName) { m_failures.insert(call, errorName); }
    // Makes the first `call` wait for its answer until releaseHeldCall(), as a slow disk does.
    void holdCall(const QString &call) { m_holdCall = call; }
    // Whether that call has come and waits.
    bool isHoldingCall() const
    {
        const QMutexLocker locker(&m_mutex);
        return m_held.type() == QDBusMessage::MethodCallMessage;
    }
    // Answers the held call now, or at once when it comes. Any thread.
    void releaseHeldCall();
    bool start(QString *error);
    // Each Unmount, Eject and PowerOff as it came, failed or not: "Unmount sdb1", "Eject iPod".
    QStringList calls() const
    {
        const QMutexLocker locker(&m_mutex);
        return m_calls;
    }

private:
    struct Object {
        QString name;
        bool isDrive = false;
        QString drive;
        QStringList mountPoints;
        bool hasFilesystem = false;
        bool ejectable = false;
        bool canPowerOff = false;
    };
    class Service;

    QDBusMessage answer(const QDBusMessage &call);
    // True when `call` is the one to hold: it is kept, and answered by releaseHeldCall().
    bool hold(const QDBusMessage &call);

    mutable QMutex m_mutex;
    QList<Object> m_objects;
    QHash<QString, QString> m_failures;
    QStringList m_calls;
    QString m_holdCall;
    QDBusMessage m_held;
    bool m_released = false;
    QString m_connectionName;
    QThread m_thread;
    std::unique_ptr<Service> m_service;
};
