#include "PathUtils.h"

namespace PathUtils {

QString appendingPathComponent(const QString &path, const QString &component)
{
    if (component.isEmpty())
        return path;
    if (path.isEmpty())
        return component;
    // Views and one allocation: the music database reader calls this for every track.
    QStringView head(path);
    while (head.size() > 1 && head.endsWith(QLatin1Char('/')))
        head.chop(1);
    QStringView tail(component);
    while (tail.startsWith(QLatin1Char('/')))
        tail = tail.sliced(1);
    QString result;
    result.reserve(head.size() + 1 + tail.size());
    result.append(head);
    if (!head.endsWith(QLatin1Char('/')))
        result.append(QLatin1Char('/'));
    result.append(tail);
    return result;
}

QString lastPathComponent(const QString &path)
{
    QString trimmed = path;
    while (trimmed.size() > 1 && trimmed.endsWith(QLatin1Char('/')))
        trimmed.chop(1);
    if (trimmed == QLatin1String("/"))
        return trimmed;
    return trimmed.mid(trimmed.lastIndexOf(QLatin1Char('/')) + 1);
}

QString deletingPathExtension(const QString &path)
{
    const qsizetype slash = path.lastIndexOf(QLatin1Char('/'));
    const qsizetype dot = path.lastIndexOf(QLatin1Char('.'));
    if (dot <= slash + 1 || dot == path.size() - 1)
        return path;
    return path.left(dot);
}

} // namespace PathUtils
