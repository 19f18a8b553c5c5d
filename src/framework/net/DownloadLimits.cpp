#include "DownloadLimits.h"

#include "core/UserDefaults.h"

namespace {

// The positive whole number stored under `key` (a number, its whole part, or a string of digits);
// 0 for anything else.
qint64 positiveNumber(const UserDefaults &defaults, const QString &key)
{
    const QVariant value = defaults.objectForKey(key);
    qint64 number = 0;
    switch (value.typeId()) {
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
        number = value.toLongLong();
        break;
    case QMetaType::ULongLong:
        number = qint64(qMin(value.toULongLong(), quint64(std::numeric_limits<qint64>::max())));
        break;
    case QMetaType::Double:
        // Clamped first: a conversion out of range is undefined.
        number = qint64(qBound(-1.0, value.toDouble(), 1e15));
        break;
    case QMetaType::QString:
        number = value.toString().trimmed().toLongLong();
        break;
    default:
        break;
    }
    return number > 0 ? number : 0;
}

} // namespace

DownloadLimits DownloadLimits::fromPreferences()
{
    UserDefaults defaults;
    defaults.addSuiteNamed(UserDefaults::applicationDomain());
    DownloadLimits limits;
    if (const qint64 seconds = positiveNumber(defaults, QStringLiteral("DownloadTimeout")))
        limits.timeoutSeconds = double(seconds);
    if (const qint64 bytes = positiveNumber(defaults, QStringLiteral("DownloadMaximumBytes")))
        limits.maximumBytes = bytes;
    if (const qint64 seconds = positiveNumber(defaults, QStringLiteral("DownloadDeadline")))
        limits.deadlineSeconds = double(seconds);
    return limits;
}
