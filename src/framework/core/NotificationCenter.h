#pragma once

#include "tivaro_export.h"

#include "Notification.h"

#include <QMutex>

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

// The process-wide notification centre. Delivery is synchronous, on the posting thread, in the order
// the observers were added. Adding and removing observers is thread-safe and may happen from inside
// a callback. Once removeObserver() returns, the observer is not called again: a call running on
// another thread is waited for, so an object may remove its observer and then go away.
class TIVARO_EXPORT NotificationCenter
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
        Token token = 0;
        QString name;
        QVariant object;
        Callback callback;
        // The threads running the callback right now. No lock is held while it runs, so callbacks
        // may post, add and remove freely; removal waits for the calls on other threads to end.
        std::mutex calls;
        std::condition_variable callEnded;
        std::vector<std::thread::id> callers;
        bool removed = false;
    };

    mutable QMutex m_mutex;
    std::vector<std::shared_ptr<Observer>> m_observers;
    Token m_nextToken = 1;
};
