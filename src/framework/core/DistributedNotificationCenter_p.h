#pragma once

#include "tivaro_export.h"

#include <QObject>
#include <QString>
#include <QVariantMap>

#include <functional>
#include <memory>

// Notifications between processes, as signals on the session bus: a notification called N is the
// signal N of the interface below on the object path below, with the user information as its one
// a{sv} argument. Anyone on the bus may listen, e.g. with `dbus-monitor "member=NewLogManager"`.
//
// Without a session bus, posting logs a line and does nothing else: nothing a sync does depends on
// someone listening.
class TIVARO_AUTOTEST_EXPORT DistributedNotificationCenter
{
public:
    static const QString objectPath; // "/org/tivaro/Tivaro"
    static const QString interface;  // "org.tivaro.Tivaro.Notifications"

    using Callback = std::function<void(const QVariantMap &userInfo)>;

    // True when the signal was sent. `name` must be a D-Bus member name (letters, digits, "_").
    static bool postNotificationName(const QString &name, const QVariantMap &userInfo);

    // Calls `callback` on `context`'s thread for every notification `name` from any process, for as
    // long as `context` lives. False when there is no session bus.
    static bool addObserver(const QString &name, QObject *context, Callback callback);
};
