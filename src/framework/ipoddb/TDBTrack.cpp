#include "TDBTrack.h"

QDateTime TDBTrack::dateFromMacTime(qint32 seconds)
{
    static const QDateTime epoch(QDate(1904, 1, 1), QTime(0, 0), Qt::LocalTime);
    return epoch.addSecs(qint64(quint32(seconds)));
}

int TDBTrack::compareByUID(const TDBTrack &other) const
{
    return m_UID < other.m_UID ? -1 : (m_UID > other.m_UID ? 1 : 0);
}

bool TDBTrack::isEqualToTrack(const TDBTrack &other) const
{
    const auto same = [](const QString &a, const QString &b) { return !a.isNull() && !b.isNull() && a == b; };
    return same(m_title, other.m_title) && same(m_artist, other.m_artist) && same(m_album, other.m_album);
}

QString TDBTrack::description() const
{
    return QStringLiteral("%1 - %2").arg(m_title, m_artist);
}
