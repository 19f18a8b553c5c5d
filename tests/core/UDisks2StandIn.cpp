#include "UDisks2StandIn.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QMutexLocker>

#include <algorithm>
#include <atomic>

namespace {

const QString kService = QStringLiteral("org.freedesktop.UDisks2");
const QString kRoot = QStringLiteral("/org/freedesktop/UDisks2");
const QString kManagerPath = QStringLiteral("/org/freedesktop/UDisks2/Manager");
const QString kBlockPrefix = QStringLiteral("/org/freedesktop/UDisks2/block_devices/");
const QString kDrivePrefix = QStringLiteral("/org/freedesktop/UDisks2/drives/");
const QString kBlockInterface = QStringLiteral("org.freedesktop.UDisks2.Block");
const QString kFilesystemInterface = QStringLiteral("org.freedesktop.UDisks2.Filesystem");
const QString kDriveInterface = QStringLiteral("org.freedesktop.UDisks2.Drive");
const QString kPropertiesInterface = QStringLiteral("org.freedesktop.DBus.Properties");
const QString kOptionsSignature = QStringLiteral("a{sv}");

// UDisks2 sends paths and device names as byte strings with their terminating NUL.
QByteArray nulTerminated(const QString &text)
{
    QByteArray bytes = text.toLocal8Bit();
    bytes.append('\0');
    return bytes;
}

QDBusArgument byteStrings(const QStringList &texts)
{
    QDBusArgument array;
    array.beginArray(QMetaType::fromType<QByteArray>());
    for (const QString &text : texts)
        array << nulTerminated(text);
    array.endArray();
    return array;
}

QDBusMessage invalidArguments(const QDBusMessage &call)
{
    return call.createErrorReply(QDBusError::InvalidArgs, QStringLiteral("Type of message, \"(%1)\", does not match "
                                                                         "the expected type")
                                                              .arg(call.signature()));
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
        return connection.send(m_owner->answer(message));
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
    if (m_service) {
        QDBusConnection connection(m_connectionName);
        connection.unregisterService(kService);
        connection.unregisterObject(kRoot, QDBusConnection::UnregisterTree);
    }
    QDBusConnection::disconnectFromBus(m_connectionName);
    m_thread.quit();
    m_thread.wait();
    m_service.reset();
}

void UDisks2StandIn::addDrive(const QString &name, bool ejectable, bool canPowerOff)
{
    const QMutexLocker locker(&m_mutex);
    m_drives.append(Drive{name, ejectable, canPowerOff});
}

void UDisks2StandIn::addBlock(const QString &name, const QString &drive, const QStringList &mountPoints,
                              bool hasFilesystem)
{
    const QMutexLocker locker(&m_mutex);
    m_blocks.append(Block{name, drive, mountPoints, hasFilesystem});
}

void UDisks2StandIn::failCall(const QString &method, const QString &object, const QString &errorName)
{
    const QMutexLocker locker(&m_mutex);
    m_failures.insert(method + QLatin1Char(' ') + object, errorName);
}

bool UDisks2StandIn::start(QString *error)
{
    QDBusConnection connection = QDBusConnection::connectToBus(QDBusConnection::SystemBus, m_connectionName);
    if (!connection.isConnected()) {
        *error = QStringLiteral("no system bus: ") + connection.lastError().message();
        return false;
    }
    m_service = std::make_unique<Service>(this);
    if (!connection.registerVirtualObject(kRoot, m_service.get(), QDBusConnection::SubPath)) {
        *error = QStringLiteral("cannot register the objects: ") + connection.lastError().message();
        return false;
    }
    // Calls are delivered in the thread the object lives in, which must not be the test's. Moved after
    // registering, so that what registration creates beside it moves along; no call comes before the
    // service name is taken below.
    m_thread.setObjectName(QStringLiteral("UDisks2StandIn"));
    m_thread.start();
    m_service->moveToThread(&m_thread);
    if (!connection.registerService(kService)) {
        *error = QStringLiteral("cannot own %1: %2").arg(kService, connection.lastError().message());
        return false;
    }
    return true;
}

QStringList UDisks2StandIn::calls() const
{
    const QMutexLocker locker(&m_mutex);
    return m_calls;
}

QDBusMessage UDisks2StandIn::answer(const QDBusMessage &call)
{
    const QMutexLocker locker(&m_mutex);
    const QString path = call.path();
    if (path == kManagerPath) {
        if (call.interface() != QLatin1String("org.freedesktop.UDisks2.Manager") ||
            call.member() != QLatin1String("GetBlockDevices"))
            return call.createErrorReply(QDBusError::UnknownMethod, call.member());
        if (call.signature() != kOptionsSignature)
            return invalidArguments(call);
        QList<QDBusObjectPath> blocks;
        for (const Block &block : std::as_const(m_blocks))
            blocks.append(QDBusObjectPath(kBlockPrefix + block.name));
        return call.createReply(QVariant::fromValue(blocks));
    }

    QString kind;
    QString name;
    if (path.startsWith(kBlockPrefix)) {
        kind = QStringLiteral("block");
        name = path.mid(kBlockPrefix.size());
    } else if (path.startsWith(kDrivePrefix)) {
        kind = QStringLiteral("drive");
        name = path.mid(kDrivePrefix.size());
    }
    const bool known =
        (kind == QLatin1String("block") &&
         std::any_of(m_blocks.cbegin(), m_blocks.cend(), [&](const Block &b) { return b.name == name; })) ||
        (kind == QLatin1String("drive") &&
         std::any_of(m_drives.cbegin(), m_drives.cend(), [&](const Drive &d) { return d.name == name; }));
    if (!known)
        return call.createErrorReply(QDBusError::UnknownObject, QStringLiteral("No such object path ") + path);

    if (call.interface() == kPropertiesInterface && call.member() == QLatin1String("GetAll"))
        return getAll(call, kind, name);
    return act(call, kind, name);
}

QDBusMessage UDisks2StandIn::getAll(const QDBusMessage &call, const QString &kind, const QString &name)
{
    if (call.signature() != QLatin1String("s"))
        return invalidArguments(call);
    const QString failure = m_failures.value(QStringLiteral("GetAll ") + name);
    if (!failure.isEmpty())
        return call.createErrorReply(failure, QStringLiteral("GetAll failed as the test asked"));

    const QString interface = call.arguments().constFirst().toString();
    QVariantMap properties;
    if (kind == QLatin1String("block")) {
        const auto block =
            std::find_if(m_blocks.cbegin(), m_blocks.cend(), [&](const Block &b) { return b.name == name; });
        if (interface == kBlockInterface) {
            properties.insert(QStringLiteral("Device"), nulTerminated(QStringLiteral("/dev/") + name));
            properties.insert(QStringLiteral("Drive"),
                              QVariant::fromValue(QDBusObjectPath(
                                  block->drive.isEmpty() ? QStringLiteral("/") : kDrivePrefix + block->drive)));
            properties.insert(QStringLiteral("ReadOnly"), false);
            properties.insert(QStringLiteral("Size"), quint64(8) << 30);
        } else if (interface == kFilesystemInterface && block->hasFilesystem) {
            properties.insert(QStringLiteral("MountPoints"), QVariant::fromValue(byteStrings(block->mountPoints)));
            properties.insert(QStringLiteral("Size"), quint64(8) << 30);
        }
    } else if (interface == kDriveInterface) {
        const auto drive =
            std::find_if(m_drives.cbegin(), m_drives.cend(), [&](const Drive &d) { return d.name == name; });
        properties.insert(QStringLiteral("Ejectable"), drive->ejectable);
        properties.insert(QStringLiteral("CanPowerOff"), drive->canPowerOff);
        properties.insert(QStringLiteral("Vendor"), QStringLiteral("Apple"));
        properties.insert(QStringLiteral("Removable"), true);
    }
    // As GDBus-based services do, an interface the object lacks is an error.
    if (properties.isEmpty())
        return call.createErrorReply(QDBusError::InvalidArgs, QStringLiteral("No such interface ") + interface);
    return call.createReply(QVariant::fromValue(properties));
}

QDBusMessage UDisks2StandIn::act(const QDBusMessage &call, const QString &kind, const QString &name)
{
    const QString method = call.member();
    const bool onBlock = kind == QLatin1String("block") && call.interface() == kFilesystemInterface &&
                         method == QLatin1String("Unmount") &&
                         std::any_of(m_blocks.cbegin(), m_blocks.cend(),
                                     [&](const Block &b) { return b.name == name && b.hasFilesystem; });
    const bool onDrive = kind == QLatin1String("drive") && call.interface() == kDriveInterface &&
                         (method == QLatin1String("Eject") || method == QLatin1String("PowerOff"));
    if (!onBlock && !onDrive)
        return call.createErrorReply(QDBusError::UnknownMethod,
                                     QStringLiteral("No such method %1.%2 on %3").arg(call.interface(), method, name));
    if (call.signature() != kOptionsSignature)
        return invalidArguments(call);

    m_calls.append(method + QLatin1Char(' ') + name);
    const QString failure = m_failures.value(method + QLatin1Char(' ') + name);
    if (!failure.isEmpty())
        return call.createErrorReply(failure, QStringLiteral("%1 of %2 failed as the test asked").arg(method, name));
    if (onBlock) {
        for (Block &block : m_blocks) {
            if (block.name == name)
                block.mountPoints.clear();
        }
    }
    return call.createReply();
}
