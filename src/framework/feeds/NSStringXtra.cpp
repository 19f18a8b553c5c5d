#include "NSStringXtra.h"

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

} // namespace NSStringXtra
