#include "UDisks2Client_p.h"

#include "Logging_p.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusReply>

namespace {

const QString kService = QStringLiteral("org.freedesktop.UDisks2");
const QString kManagerPath = QStringLiteral("/org/freedesktop/UDisks2/Manager");
const QString kManagerInterface = QStringLiteral("org.freedesktop.UDisks2.Manager");
const QString kBlockInterface = QStringLiteral("org.freedesktop.UDisks2.Block");
const QString kFilesystemInterface = QStringLiteral("org.freedesktop.UDisks2.Filesystem");
const QString kDriveInterface = QStringLiteral("org.freedesktop.UDisks2.Drive");
const QString kPropertiesInterface = QStringLiteral("org.freedesktop.DBus.Properties");
const QString kNotMounted = QStringLiteral("org.freedesktop.UDisks2.Error.NotMounted");
// Unmounting, ejecting and powering off a spun-up disk can take a while.
constexpr int kCallTimeoutMs = 60000;

// UDisks2 gives mount points as NUL-terminated byte strings.
QStringList mountPointsFrom(const QVariant &value)
{
    QList<QByteArray> raw;
    if (value.canConvert<QDBusArgument>())
        value.value<QDBusArgument>() >> raw;
    else
        raw = value.value<QList<QByteArray>>();
    QStringList points;
    for (QByteArray bytes : raw) {
        if (bytes.endsWith('\0'))
            bytes.chop(1);
        points.append(QString::fromLocal8Bit(bytes));
    }
    return points;
}

QString deviceFrom(const QVariant &value)
{
    QByteArray bytes = value.toByteArray();
    if (bytes.endsWith('\0'))
        bytes.chop(1);
    return QString::fromLocal8Bit(bytes);
}

} // namespace

UDisks2Client::UDisks2Client(const QDBusConnection &bus)
    : m_bus(bus)
{}

std::optional<QList<UDisks2Client::Filesystem>> UDisks2Client::filesystems()
{
    if (!m_bus.isConnected()) {
        m_lastError = QStringLiteral("no system bus");
        return std::nullopt;
    }
    QDBusMessage call =
        QDBusMessage::createMethodCall(kService, kManagerPath, kManagerInterface, QStringLiteral("GetBlockDevices"));
    call << QVariantMap();
    const QDBusReply<QList<QDBusObjectPath>> reply = m_bus.call(call, QDBus::Block, kCallTimeoutMs);
    if (!reply.isValid()) {
        m_lastError = reply.error().message();
        return std::nullopt;
    }
    QList<Filesystem> result;
    for (const QDBusObjectPath &block : reply.value()) {
        const std::optional<QVariantMap> filesystem = properties(block, kFilesystemInterface);
        if (!filesystem)
            continue;
        const QVariantMap blockProperties = properties(block, kBlockInterface).value_or(QVariantMap());
        Filesystem entry;
        entry.block = block;
        entry.device = deviceFrom(blockProperties.value(QStringLiteral("Device")));
        entry.drive = blockProperties.value(QStringLiteral("Drive")).value<QDBusObjectPath>();
        entry.mountPoints = mountPointsFrom(filesystem->value(QStringLiteral("MountPoints")));
        result.append(entry);
    }
    return result;
}

std::optional<UDisks2Client::Drive> UDisks2Client::drive(const QDBusObjectPath &path)
{
    const std::optional<QVariantMap> values = properties(path, kDriveInterface);
    if (!values)
        return std::nullopt;
    return Drive{path, values->value(QStringLiteral("Ejectable")).toBool(),
                 values->value(QStringLiteral("CanPowerOff")).toBool()};
}

bool UDisks2Client::unmount(const QDBusObjectPath &block)
{
    return callWithOptions(block, kFilesystemInterface, QStringLiteral("Unmount")) ||
           m_lastError.startsWith(kNotMounted);
}

bool UDisks2Client::eject(const QDBusObjectPath &driveObject)
{
    return callWithOptions(driveObject, kDriveInterface, QStringLiteral("Eject"));
}

bool UDisks2Client::powerOff(const QDBusObjectPath &driveObject)
{
    return callWithOptions(driveObject, kDriveInterface, QStringLiteral("PowerOff"));
}

std::optional<QVariantMap> UDisks2Client::properties(const QDBusObjectPath &path, const QString &interface)
{
    QDBusMessage call =
        QDBusMessage::createMethodCall(kService, path.path(), kPropertiesInterface, QStringLiteral("GetAll"));
    call << interface;
    const QDBusMessage reply = m_bus.call(call, QDBus::Block, kCallTimeoutMs);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
        return std::nullopt;
    QVariantMap values;
    const QVariant first = reply.arguments().constFirst();
    if (first.canConvert<QDBusArgument>())
        first.value<QDBusArgument>() >> values;
    else
        values = first.toMap();
    // An object without the interface answers with no properties rather than an error.
    if (values.isEmpty())
        return std::nullopt;
    return values;
}

bool UDisks2Client::callWithOptions(const QDBusObjectPath &path, const QString &interface, const QString &method)
{
    QDBusMessage call = QDBusMessage::createMethodCall(kService, path.path(), interface, method);
    call << QVariantMap();
    const QDBusMessage reply = m_bus.call(call, QDBus::Block, kCallTimeoutMs);
    if (reply.type() == QDBusMessage::ReplyMessage) {
        m_lastError.clear();
        return true;
    }
    m_lastError = reply.errorName() + QStringLiteral(": ") + reply.errorMessage();
    qCInfo(lcCore).noquote() << method << path.path() << "failed:" << m_lastError;
    return false;
}
