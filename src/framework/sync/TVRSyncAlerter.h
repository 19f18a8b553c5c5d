#pragma once

#include "tivaro_export.h"

#include <QString>

// The one modal warning a sync may raise, with the sound and the bringing to front that go with it.
// For Tivaro's programs; plug-ins have no use for it.
class TIVARO_EXPORT TVRSyncAlerter
{
public:
    virtual ~TVRSyncAlerter() = default;
    virtual void beep() = 0;
    virtual void activateApplication() = 0;
    virtual void runWarning(const QString &title, const QString &message, const QString &button) = 0;
};
