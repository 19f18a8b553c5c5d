#pragma once

#include "Notification.h"

#include <QMutex>

#include <functional>
#include <memory>
#include <vector>

// The process-wide notification centre. Delivery is synchronous, on the posting thread, in the order
// the observers were added. Adding and removing observers is thread-safe and may happen from inside
// a callback; an observer removed before its turn in a delivery is not called.
class NotificationCenter
{
public:
    using Callback = std::function<void(const Notification &)>;
    using Token = quint64;

    static NotificationCenter &defaultCenter();

    // Observes notifications called `name` (every name when empty) sent by `object` (any sender when
    // invalid). Returns the token that removes the observer.
    Token addObserver(const QString &name, Callback callback, const QVariant &object = {});
    void removeObserver(Token token);

    void postNotification(const Notification &notification);
    void postNotificationName(const QString &name, const QVariant &object = {}, const QVariantMap &userInfo = {});

    // The number of observers, for diagnostics and tests.
    int observerCount() const;

private:
    struct Observer {
        Token token;
        QString name;
        QVariant object;
        Callback callback;
        bool removed = false;
    };

    mutable QMutex m_mutex;
    std::vector<std::shared_ptr<Observer>> m_observers;
    Token m_nextToken = 1;
};

// Removes its observer when it goes out of scope; movable, not copyable.
class ObserverRegistration
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
