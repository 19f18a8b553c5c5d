#include "PathUtils.h"

namespace PathUtils {

QString appendingPathComponent(const QString &path, const QString &component)
{
    if (component.isEmpty())
        return path;
    if (path.isEmpty())
        return component;
    QString result = path;
    while (result.size() > 1 && result.endsWith(QLatin1Char('/')))
        result.chop(1);
    if (!result.endsWith(QLatin1Char('/')))
        result += QLatin1Char('/');
    QString tail = component;
    while (tail.startsWith(QLatin1Char('/')))
        tail.remove(0, 1);
    return result + tail;
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
