#include "RemovalReport.h"

#include <QFile>

namespace {

// Past this many, kept files are counted rather than named one by one.
constexpr qsizetype kNamedKept = 5;

QString files(qsizetype count)
{
    return count == 1 ? QStringLiteral("1 file") : QStringLiteral("%1 files").arg(count);
}

} // namespace

void RemovalReport::add(const RemovalReport &other)
{
    removed += other.removed;
    kept += other.kept;
}

QStringList RemovalReport::describe() const
{
    QStringList lines;
    if (!removed.isEmpty())
        lines.append(QStringLiteral("Removed %1 that Tivaro wrote before.").arg(files(removed.size())));
    for (qsizetype i = 0; i < kept.size() && i < kNamedKept; ++i)
        lines.append(QStringLiteral("Kept %1: %2.").arg(QFile::decodeName(kept.at(i).first), kept.at(i).second));
    if (kept.size() > kNamedKept)
        lines.append(
            QStringLiteral("Kept %1 more that are not Tivaro's to remove.").arg(files(kept.size() - kNamedKept)));
    return lines;
}
