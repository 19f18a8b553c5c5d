#include "ObserverRegistration.h"

#include <utility>

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
