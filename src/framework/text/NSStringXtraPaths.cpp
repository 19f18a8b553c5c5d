// File names, paths and URLs.
#include "NSStringXtra.h"

#include <cctype>

namespace {

bool isRefusedInFileName(QChar c)
{
    switch (c.unicode()) {
    case '/':
    case ':':
    case '\\':
    case '*':
    case '?':
    case '"':
    case '<':
    case '>':
    case '|':
        return true;
    default:
        return c.unicode() < 0x20 || c.unicode() == 0x7F;
    }
}

QString deleteLastPathComponent(const QString &path)
{
    QString trimmed = path;
    while (trimmed.size() > 1 && trimmed.endsWith(u'/'))
        trimmed.chop(1);
    const qsizetype slash = trimmed.lastIndexOf(u'/');
    if (slash < 0)
        return QString();
    if (slash == 0)
        return QStringLiteral("/");
    trimmed.truncate(slash);
    while (trimmed.size() > 1 && trimmed.endsWith(u'/'))
        trimmed.chop(1);
    return trimmed;
}

} // namespace

namespace NSStringXtra {

QString correctFilename(const QString &text)
{
    QString result = text;
    for (QChar &c : result) {
        if (isRefusedInFileName(c))
            c = QLatin1Char('-');
    }
    return result;
}

QString removeNumberOfPathComponents(const QString &text, int n)
{
    QString result = text;
    for (int i = 0; i < n; ++i)
        result = deleteLastPathComponent(result);
    return result;
}

QString URLSafe(const QString &text)
{
    // What CFURLCreateStringByAddingPercentEscapes leaves alone: the characters legal in a URL,
    // reserved ones included, and "%" so that existing escapes survive.
    static const QByteArray kKept = QByteArrayLiteral("!$&'()*+,-./:;=?@_~#%[]");
    QByteArray escaped;
    for (const char byte : text.toUtf8()) {
        const auto c = uchar(byte);
        if ((c < 0x80 && std::isalnum(c)) || kKept.contains(byte)) {
            escaped += byte;
        } else {
            escaped += '%';
            escaped += QByteArray::number(c, 16).toUpper().rightJustified(2, '0');
        }
    }
    const QString result = QString::fromLatin1(escaped);
    if (result.startsWith(u"feed://"))
        return replace(result, QStringLiteral("feed://"), QStringLiteral("http://"));
    return result;
}

} // namespace NSStringXtra
