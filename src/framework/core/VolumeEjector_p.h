#pragma once

#include "tivaro_export.h"

#include <QDBusConnection>
#include <QString>
#include <QStringList>

// Makes a mounted device safe to unplug, the way Linux desktops do, so that an iPod shows
// "OK to disconnect": flush the volume, unmount every mounted partition of its drive through UDisks2
// (one already unmounted counts as done), then eject the drive when it is ejectable and power it off
// when it can be. When UDisks2 is not there (no system bus, the service absent) or does not know the
// mount, `umount` is the fallback.
//
// Blocking; call it from any one thread. The bus is the system bus unless a test gives another.
class TIVARO_AUTOTEST_EXPORT VolumeEjector
{
public:
    explicit VolumeEjector(const QDBusConnection &bus = QDBusConnection::systemBus());

    // True when the volume mounted at `mountPoint` is unmounted and its drive ejected or powered off
    // where the drive offers it. A path that is not a mount point fails.
    bool unmountAndEject(const QString &mountPoint);

    // Why the last call failed, in words for the user.
    QString errorString() const { return m_errorString; }
    // What the last call did, one line a step ("flush", "unmount /dev/sdb2", "eject", "power-off",
    // "umount"), for logs and tests.
    QStringList steps() const { return m_steps; }

private:
    QDBusConnection m_bus;
    QString m_errorString;
    QStringList m_steps;
};
