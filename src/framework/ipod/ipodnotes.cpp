#include "ipodnotes_p.h"

#include "core/StringEncoding.h"

#include <optional>

namespace ipodnotes {

QList<QByteArray> dataSeparatedByCharacter(const QByteArray &data, char separator)
{
    return data.split(separator);
}

void appendString(QByteArray &buffer, const QString &text)
{
    buffer.append(text.toUtf8());
}

bool appendString(QByteArray &buffer, const QString &text, unsigned encoding)
{
    const std::optional<QByteArray> bytes = StringEncoding::encode(text, encoding);
    if (!bytes)
        return false;
    buffer.append(*bytes);
    return true;
}

void deleteCharactersFromEndToCharacter(QByteArray &buffer, char c)
{
    const qsizetype last = buffer.lastIndexOf(c);
    buffer.truncate(last < 0 ? 0 : last);
}

void deleteCharactersInRange(QByteArray &, qsizetype, qsizetype)
{}

} // namespace ipodnotes
