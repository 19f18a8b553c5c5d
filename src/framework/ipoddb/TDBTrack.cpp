#include "TDBTrack.h"

int TDBTrack::compareByUID(const TDBTrack &other) const
{
    return m_UID < other.m_UID ? -1 : (m_UID > other.m_UID ? 1 : 0);
}

bool TDBTrack::isEqualToTrack(const TDBTrack &other) const
{
    const auto same = [](const QString &a, const QString &b) { return !a.isNull() && !b.isNull() && a == b; };
    return same(title(), other.title()) && same(artist(), other.artist()) && same(album(), other.album());
}

QString TDBTrack::description() const
{
    return QStringLiteral("%1 - %2").arg(title(), artist());
}
