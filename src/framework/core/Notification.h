#pragma once

#include <QString>
#include <QVariant>
#include <QVariantMap>

// One posted notification: its name, its sender (any value, compared by equality; invalid for none)
// and its user information.
struct Notification {
    QString name;
    QVariant object;
    QVariantMap userInfo;
};
