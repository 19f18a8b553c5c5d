#pragma once

#include <QDBusConnection>
#include <QDBusObjectPath>
#include <QList>
#include <QString>
#include <QVariantMap>

#include <optional>

// The few UDisks2 calls that ejecting a volume needs, made as plain D-Bus messages.
class UDisks2Client
{
public:
    struct Drive {
        QDBusObjectPath path;
        bool ejectable = false;
        bool canPowerOff = false;
    };
    struct Filesystem {
        QDBusObjectPath block;
        QString device;        // "/dev/sdb2"
        QDBusObjectPath drive; // "/" when the block device has no drive
        QStringList mountPoints;
    };

    explicit UDisks2Client(const QDBusConnection &bus);

    // Every block device that carries a filesystem; nullopt when UDisks2 cannot be reached.
    std::optional<QList<Filesystem>> filesystems();
    std::optional<Drive> drive(const QDBusObjectPath &path);

    // Each returns true on success; an unmount of a filesystem that is not mounted succeeds.
    bool unmount(const QDBusObjectPath &block);
    bool eject(const QDBusObjectPath &drive);
    bool powerOff(const QDBusObjectPath &drive);

    QString errorString() const { return m_lastError; }

private:
    std::optional<QVariantMap> properties(const QDBusObjectPath &path, const QString &interface);
    bool callWithOptions(const QDBusObjectPath &path, const QString &interface, const QString &method);

    QDBusConnection m_bus;
    QString m_lastError;
};
