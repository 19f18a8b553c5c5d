#include "UDisks2StandIn.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusObjectPath>
#include <QDBusVirtualObject>

#include <algorithm>
#include <atomic>
#include <utility>

namespace {

const QString kService = QStringLiteral("org.freedesktop.UDisks2");
const QString kRoot = QStringLiteral("/org/freedesktop/UDisks2");
const QString kManagerPath = QStringLiteral("/org/freedesktop/UDisks2/Manager");
const QString kBlockPrefix = QStringLiteral("/org/freedesktop/UDisks2/block_devices/");
const QString kDrivePrefix = QStringLiteral("/org/freedesktop/UDisks2/drives/");
const QString kBlockInterface = QStringLiteral("org.freedesktop.UDisks2.Block");
const QString kFilesystemInterface = QStringLiteral("org.freedesktop.UDisks2.Filesystem");
const QString kDriveInterface = QStringLiteral("org.freedesktop.UDisks2.Drive");

// UDisks2 sends paths and device names as byte strings with their terminating NUL.
QByteArray nulTerminated(const QString &text)
{
    return text.toLocal8Bit() + '\0';
}

} // namespace

class UDisks2StandIn::Service : public QDBusVirtualObject
{
public:
    explicit Service(UDisks2StandIn *owner)
        : m_owner(owner)
    {}
    QString introspect(const QString &) const override { return {}; }
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override
    {
        if (message.type() != QDBusMessage::MethodCallMessage)
            return false;
        return m_owner->hold(message) || connection.send(m_owner->answer(message));
    }

private:
    UDisks2StandIn *m_owner;
};

UDisks2StandIn::UDisks2StandIn()
{
    static std::atomic<int> counter{0};
    m_connectionName = QStringLiteral("udisks2-standin-%1").arg(counter++);
}

UDisks2StandIn::~UDisks2StandIn()
{
    // A client still waiting gets its answer rather than a time-out a minute later.
    releaseHeldCall();
    if (m_service) {
        QDBusConnection connection(m_connectionName);
        connection.unregisterService(kService);
        connection.unregisterObject(kRoot, QDBusConnection::UnregisterTree);
    }
    QDBusConnection::disconnectFromBus(m_connectionName);
    m_thread.quit();
    m_thread.wait();
}

bool UDisks2StandIn::start(QString *error)
{
    QDBusConnection connection = QDBusConnection::connectToBus(QDBusConnection::SystemBus, m_connectionName);
    m_service = std::make_unique<Service>(this);
    if (!connection.isConnected() ||
        !connection.registerVirtualObject(kRoot, m_service.get(), QDBusConnection::SubPath)) {
        *error = connection.lastError().message();
        return false;
    }
    // Calls arrive in the service's thread, which must not be the test's. Moved after registering so
    // that what registration creates beside it moves along; no call comes before the name is taken.
    m_thread.start();
    m_service->moveToThread(&m_thread);
    if (!connection.registerService(kService)) {
        *error = connection.lastError().message();
        return false;
    }
    return true;
}

bool UDisks2StandIn::hold(const QDBusMessage &call)
{
    const QMutexLocker locker(&m_mutex);
    if (m_released || m_holdCall.isEmpty() || m_held.type() != QDBusMessage::InvalidMessage ||
        call.member() + QLatin1Char(' ') + call.path().section(QLatin1Char('/'), -1) != m_holdCall)
        return false;
    m_held = call;
    return true;
}

void UDisks2StandIn::releaseHeldCall()
{
    QDBusMessage held;
    {
        const QMutexLocker locker(&m_mutex);
        m_released = true;
        std::swap(held, m_held);
    }
    if (held.type() == QDBusMessage::MethodCallMessage)
        QDBusConnection(m_connectionName).send(answer(held));
}

QDBusMessage UDisks2StandIn::answer(const QDBusMessage &call)
{
    const QMutexLocker locker(&m_mutex);
    const QString member = call.member();
    const bool getAll = call.interface() == QLatin1String("org.freedesktop.DBus.Properties") && member == u"GetAll";
    const QDBusMessage wrongArguments = call.createErrorReply(
        QDBusError::InvalidArgs, QStringLiteral("Type of message, \"(%1)\", does not match").arg(call.signature()));
    if (call.path() == kManagerPath) {
        if (call.interface() != QLatin1String("org.freedesktop.UDisks2.Manager") || member != u"GetBlockDevices")
            return call.createErrorReply(QDBusError::UnknownMethod, member);
        if (call.signature() != u"a{sv}")
            return wrongArguments;
        QList<QDBusObjectPath> blocks;
        for (const Object &object : std::as_const(m_objects)) {
            if (!object.isDrive)
                blocks.append(QDBusObjectPath(kBlockPrefix + object.name));
        }
        return call.createReply(QVariant::fromValue(blocks));
    }

    const auto object = std::find_if(m_objects.begin(), m_objects.end(), [&](const Object &o) {
        return call.path() == (o.isDrive ? kDrivePrefix : kBlockPrefix) + o.name;
    });
    if (object == m_objects.end())
        return call.createErrorReply(QDBusError::UnknownObject, QStringLiteral("No such object ") + call.path());
    const bool unmount =
        !object->isDrive && object->hasFilesystem && call.interface() == kFilesystemInterface && member == u"Unmount";
    const bool ejectOrPowerOff =
        object->isDrive && call.interface() == kDriveInterface && (member == u"Eject" || member == u"PowerOff");
    if (!getAll && !unmount && !ejectOrPowerOff)
        return call.createErrorReply(QDBusError::UnknownMethod, QStringLiteral("No such method ") + member);
    if (call.signature() != (getAll ? QStringLiteral("s") : QStringLiteral("a{sv}")))
        return wrongArguments;

    const QString key = member + QLatin1Char(' ') + object->name;
    if (!getAll)
        m_calls.append(key);
    if (m_failures.contains(key))
        return call.createErrorReply(m_failures.value(key), key + QStringLiteral(" failed as the test asked"));
    if (unmount)
        object->mountPoints.clear();
    if (!getAll)
        return call.createReply();

    const QString interface = call.arguments().constFirst().toString();
    QVariantMap properties;
    if (object->isDrive && interface == kDriveInterface) {
        properties = {{QStringLiteral("Ejectable"), object->ejectable},
                      {QStringLiteral("CanPowerOff"), object->canPowerOff}};
    } else if (!object->isDrive && interface == kBlockInterface) {
        const QString drive = object->drive.isEmpty() ? QStringLiteral("/") : kDrivePrefix + object->drive;
        properties = {{QStringLiteral("Device"), nulTerminated(QStringLiteral("/dev/") + object->name)},
                      {QStringLiteral("Drive"), QVariant::fromValue(QDBusObjectPath(drive))}};
    } else if (!object->isDrive && interface == kFilesystemInterface && object->hasFilesystem) {
        QDBusArgument mountPoints;
        mountPoints.beginArray(QMetaType::fromType<QByteArray>());
        for (const QString &mountPoint : std::as_const(object->mountPoints))
            mountPoints << nulTerminated(mountPoint);
        mountPoints.endArray();
        properties = {{QStringLiteral("MountPoints"), QVariant::fromValue(mountPoints)}};
    }
    // As GDBus-based services do, an interface the object lacks is an error.
    if (properties.isEmpty())
        return call.createErrorReply(QDBusError::InvalidArgs, QStringLiteral("No such interface ") + interface);
    return call.createReply(QVariant::fromValue(properties));
}
