#pragma once

#include "tivaro_export.h"

#include <QString>
#include <QVariant>
#include <QVariantMap>

// One posted notification: its name, its sender (any value, compared by equality; invalid for none)
// and its user information.
struct TIVARO_EXPORT Notification {
    QString name;
    QVariant object;
    QVariantMap userInfo;
};
