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
    m_observers.push_back(std::make_shared<Observer>(Observer{token, name, object, std::move(callback)}));
    return token;
}

void NotificationCenter::removeObserver(Token token)
{
    const QMutexLocker locker(&m_mutex);
    const auto found = std::find_if(m_observers.begin(), m_observers.end(),
                                    [token](const auto &observer) { return observer->token == token; });
    if (found == m_observers.end())
        return;
    (*found)->removed = true;
    m_observers.erase(found);
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
    for (const auto &observer : receivers) {
        bool removed = false;
        {
            const QMutexLocker locker(&m_mutex);
            removed = observer->removed;
        }
        if (!removed)
            observer->callback(notification);
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

ObserverRegistration::ObserverRegistration(const QString &name, NotificationCenter::Callback callback,
                                           const QVariant &object, NotificationCenter &center)
    : m_center(&center)
    , m_token(center.addObserver(name, std::move(callback), object))
{}

ObserverRegistration::ObserverRegistration(ObserverRegistration &&other) noexcept
    : m_center(std::exchange(other.m_center, nullptr))
    , m_token(std::exchange(other.m_token, 0))
{}

ObserverRegistration &ObserverRegistration::operator=(ObserverRegistration &&other) noexcept
{
    if (this != &other) {
        reset();
        m_center = std::exchange(other.m_center, nullptr);
        m_token = std::exchange(other.m_token, 0);
    }
    return *this;
}

ObserverRegistration::~ObserverRegistration()
{
    reset();
}

void ObserverRegistration::reset()
{
    if (m_center)
        m_center->removeObserver(m_token);
    m_center = nullptr;
    m_token = 0;
}
