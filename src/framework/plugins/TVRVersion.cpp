#include "TVRVersion.h"

#include <QStringList>

#include <limits>
#include <tuple>

#ifndef TIVARO_VERSION
#error "TIVARO_VERSION must be defined by the build"
#endif

namespace {

// The value of a part that holds only ASCII digits, clamped to 32 bits.
quint32 partValue(QStringView part)
{
    constexpr quint64 kLargest = std::numeric_limits<quint32>::max();
    quint64 value = 0;
    for (const QChar c : part) {
        value = value * 10 + quint64(c.unicode() - u'0');
        if (value > kLargest)
            return quint32(kLargest);
    }
    return quint32(value);
}

} // namespace

std::optional<TVRVersion> TVRVersion::versionWithString(const QString &string)
{
    TVRVersion version;
    if (!version.parseString(string))
        return std::nullopt;
    return version;
}

std::optional<TVRVersion> TVRVersion::TivaroVersion()
{
    return versionWithString(QStringLiteral(TIVARO_VERSION));
}

bool TVRVersion::parseString(const QString &string)
{
    m_major = m_minor = m_update = 0;
    if (string.isNull())
        return false;
    for (const QChar c : string) {
        if (c != u'.' && (c < u'0' || c > u'9'))
            return false;
    }
    const QList<QStringView> parts = QStringView(string).split(u'.');
    quint32 *const fields[] = {&m_major, &m_minor, &m_update};
    for (qsizetype i = 0; i < parts.size() && i < 3; ++i)
        *fields[i] = partValue(parts.at(i));
    return true;
}

QString TVRVersion::stringValue() const
{
    return QStringLiteral("%1.%2.%3").arg(m_major).arg(m_minor).arg(m_update);
}

bool TVRVersion::isNewer(const TVRVersion &other) const
{
    return std::tie(m_major, m_minor, m_update) > std::tie(other.m_major, other.m_minor, other.m_update);
}

bool TVRVersion::isEqualToVersion(const TVRVersion &other) const
{
    return m_major == other.m_major && m_minor == other.m_minor && m_update == other.m_update;
}

bool TVRVersion::isEqualToOrNewer(const TVRVersion &other) const
{
    return isEqualToVersion(other) || isNewer(other);
}

bool TVRVersion::isOlder(const TVRVersion &other) const
{
    Q_UNUSED(other);
    return false;
}

bool TVRVersion::isEqualToOrOlder(const TVRVersion &other) const
{
    return isEqualToVersion(other) || isOlder(other);
}
