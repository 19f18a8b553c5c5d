#include "NotificationCenter.h"

#include <QMutexLocker>

#include <algorithm>

NotificationCenter &NotificationCenter::defaultCenter()
{
    static NotificationCenter center;
    return center;
}

NotificationCenter::Token NotificationCenter::addObserver(const QString &name, Callback callback,
                                                          const QVariant &object)
{
    const QMutexLocker locker(&m_mutex);
    const Token token = m_nextToken++;
    auto observer = std::make_shared<Observer>();
    observer->token = token;
    observer->name = name;
    observer->object = object;
    observer->callback = std::move(callback);
    m_observers.push_back(std::move(observer));
    return token;
}

void NotificationCenter::removeObserver(Token token)
{
    std::shared_ptr<Observer> removed;
    {
        const QMutexLocker locker(&m_mutex);
        const auto found = std::find_if(m_observers.begin(), m_observers.end(),
                                        [token](const auto &observer) { return observer->token == token; });
        if (found == m_observers.end())
            return;
        removed = *found;
        m_observers.erase(found);
    }
    // Outside the centre's lock, so that running callbacks may add or remove observers meanwhile.
    std::unique_lock<std::mutex> calls(removed->calls);
    removed->removed = true;
    const std::thread::id self = std::this_thread::get_id();
    removed->callEnded.wait(calls, [&removed, self] {
        return std::all_of(removed->callers.cbegin(), removed->callers.cend(),
                           [self](std::thread::id caller) { return caller == self; });
    });
}

void NotificationCenter::postNotification(const Notification &notification)
{
    std::vector<std::shared_ptr<Observer>> receivers;
    {
        const QMutexLocker locker(&m_mutex);
        for (const auto &observer : m_observers) {
            const bool nameMatches = observer->name.isEmpty() || observer->name == notification.name;
            const bool senderMatches = !observer->object.isValid() || observer->object == notification.object;
            if (nameMatches && senderMatches)
                receivers.push_back(observer);
        }
    }
    const std::thread::id self = std::this_thread::get_id();
    for (const auto &observer : receivers) {
        {
            const std::lock_guard<std::mutex> calls(observer->calls);
            if (observer->removed)
                continue;
            observer->callers.push_back(self);
        }
        observer->callback(notification);
        const std::lock_guard<std::mutex> calls(observer->calls);
        observer->callers.erase(std::find(observer->callers.begin(), observer->callers.end(), self));
        observer->callEnded.notify_all();
    }
}

void NotificationCenter::postNotificationName(const QString &name, const QVariant &object, const QVariantMap &userInfo)
{
    postNotification(Notification{name, object, userInfo});
}

int NotificationCenter::observerCount() const
{
    const QMutexLocker locker(&m_mutex);
    return int(m_observers.size());
}
