#pragma once

#include "tivaro_export.h"

#include <QDateTime>

#include <optional>

// A date the music database stores as seconds since 1904-01-01 00:00 local time, turned into a
// QDateTime each time it is read: the local-time conversion costs more than reading a whole track,
// and most dates of a database are never looked at. Nothing is cached, so tracks can be read from
// several threads at once.
class TIVARO_EXPORT TDBMacDate
{
public:
    // The value taken as unsigned, in local time.
    static QDateTime fromMacTime(qint32 seconds);

    void setMacTime(qint32 seconds)
    {
        m_seconds = seconds;
        m_date = QDateTime();
    }
    void setDate(const QDateTime &date)
    {
        m_seconds.reset();
        m_date = date;
    }
    // Null while neither was set.
    QDateTime date() const { return m_seconds ? fromMacTime(*m_seconds) : m_date; }

private:
    std::optional<qint32> m_seconds;
    QDateTime m_date;
};
