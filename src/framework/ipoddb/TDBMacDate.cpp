#include "TDBMacDate.h"

QDateTime TDBMacDate::fromMacTime(qint32 seconds)
{
    static const QDateTime epoch(QDate(1904, 1, 1), QTime(0, 0), Qt::LocalTime);
    return epoch.addSecs(qint64(quint32(seconds)));
}
