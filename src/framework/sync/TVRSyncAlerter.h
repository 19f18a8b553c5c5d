#pragma once

#include <QString>

// The one modal warning a sync may raise, with the sound and the bringing to front that go with it.
class TVRSyncAlerter
{
public:
    virtual ~TVRSyncAlerter() = default;
    virtual void beep() = 0;
    virtual void activateApplication() = 0;
    virtual void runWarning(const QString &title, const QString &message, const QString &button) = 0;
};
