#pragma once

#include <QDateTime>

#include <optional>

// A date the music database stores as seconds since 1904-01-01 00:00 local time. It becomes a
// QDateTime only when first asked for: the local-time conversion costs more than reading a whole
// track, and most dates of a database are never looked at. Not for use by two threads at once.
class TDBMacDate
{
public:
    // The value taken as unsigned, in local time.
    static QDateTime fromMacTime(qint32 seconds);

    void setMacTime(qint32 seconds)
    {
        m_seconds = seconds;
        m_date.reset();
    }
    void setDate(const QDateTime &date)
    {
        m_seconds.reset();
        m_date = date;
    }
    // Null while neither was set.
    QDateTime date() const
    {
        if (!m_date && m_seconds)
            m_date = fromMacTime(*m_seconds);
        return m_date.value_or(QDateTime());
    }

private:
    std::optional<qint32> m_seconds;
    mutable std::optional<QDateTime> m_date;
};
