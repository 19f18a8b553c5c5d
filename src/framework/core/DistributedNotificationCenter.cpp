#include "DistributedNotificationCenter_p.h"

#include "Logging_p.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QRegularExpression>

const QString DistributedNotificationCenter::objectPath = QStringLiteral("/org/tivaro/Tivaro");
const QString DistributedNotificationCenter::interface = QStringLiteral("org.tivaro.Tivaro.Notifications");

namespace {

bool isMemberName(const QString &name)
{
    static const QRegularExpression member(QStringLiteral("^[A-Za-z_][A-Za-z0-9_]{0,254}$"));
    return member.match(name).hasMatch();
}

// Receives the signals of one observer; a child of the observer's context, so it dies with it.
class SignalReceiver : public QObject
{
    Q_OBJECT

public:
    SignalReceiver(QObject *context, DistributedNotificationCenter::Callback callback)
        : QObject(context)
        , m_callback(std::move(callback))
    {}

public Q_SLOTS:
    void receive(const QDBusMessage &message)
    {
        QVariantMap userInfo;
        const QVariantList arguments = message.arguments();
        if (!arguments.isEmpty() && arguments.first().canConvert<QDBusArgument>())
            userInfo = qdbus_cast<QVariantMap>(arguments.first().value<QDBusArgument>());
        m_callback(userInfo);
    }

private:
    DistributedNotificationCenter::Callback m_callback;
};

} // namespace

bool DistributedNotificationCenter::postNotificationName(const QString &name, const QVariantMap &userInfo)
{
    if (!isMemberName(name)) {
        qCWarning(lcCore) << "Not posted between processes, not a D-Bus member name:" << name;
        return false;
    }
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        qCInfo(lcCore) << "No session bus; notification" << name << "not posted:" << bus.lastError().message();
        return false;
    }
    QDBusMessage signal = QDBusMessage::createSignal(objectPath, interface, name);
    signal << userInfo;
    if (!bus.send(signal)) {
        qCWarning(lcCore) << "Notification" << name << "not posted:" << bus.lastError().message();
        return false;
    }
    return true;
}

bool DistributedNotificationCenter::addObserver(const QString &name, QObject *context, Callback callback)
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected() || !isMemberName(name))
        return false;
    auto *receiver = new SignalReceiver(context, std::move(callback));
    return bus.connect(QString(), objectPath, interface, name, receiver, SLOT(receive(QDBusMessage)));
}

#include "DistributedNotificationCenter.moc"
