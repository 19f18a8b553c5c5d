#pragma once

#include "tivaro_export.h"

#include "NotificationCenter.h"

// Removes its observer when it goes out of scope; movable, not copyable.
class TIVARO_EXPORT ObserverRegistration
{
public:
    ObserverRegistration() = default;
    ObserverRegistration(const QString &name, NotificationCenter::Callback callback, const QVariant &object = {},
                         NotificationCenter &center = NotificationCenter::defaultCenter());
    ObserverRegistration(ObserverRegistration &&other) noexcept;
    ObserverRegistration &operator=(ObserverRegistration &&other) noexcept;
    ObserverRegistration(const ObserverRegistration &) = delete;
    ObserverRegistration &operator=(const ObserverRegistration &) = delete;
    ~ObserverRegistration();

    void reset();

private:
    NotificationCenter *m_center = nullptr;
    NotificationCenter::Token m_token = 0;
};
