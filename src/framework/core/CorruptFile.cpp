#include "CorruptFile_p.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>

namespace CorruptFile {

QString keepAside(const QString &path, QMessageLogger::CategoryFunction category)
{
    const QString stamp =
        path + QStringLiteral(".corrupt-") + QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-HHmmss"));
    QString aside = stamp;
    for (int n = 2; QFileInfo::exists(aside); ++n)
        aside = stamp + QLatin1Char('-') + QString::number(n);
    if (!QFile::rename(path, aside))
        return {};
    qCWarning(category) << path << "could not be read as a property list; kept as" << aside;
    return aside;
}

} // namespace CorruptFile
