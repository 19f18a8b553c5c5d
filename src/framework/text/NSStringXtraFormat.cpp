// Durations, sizes and ROT13 for display.
#include "NSStringXtra.h"

#include <QByteArray>

#include <cstdint>

namespace NSStringXtra {

char ROT13Character(char c)
{
    if ((c >= 'a' && c <= 'm') || (c >= 'A' && c <= 'M'))
        return char(c + 13);
    if ((c >= 'n' && c <= 'z') || (c >= 'N' && c <= 'Z'))
        return char(c - 13);
    return c;
}

QString stringByEncryptingWithROT13(const QString &text)
{
    QByteArray bytes;
    bytes.reserve(text.size());
    for (const QChar c : text)
        bytes += ROT13Character(char(c.unicode() & 0xFF));
    return QString::fromLatin1(bytes);
}

QString formatSeconds(uint64_t seconds, bool withWords)
{
    const float f = float(seconds);
    const int s = int(int32_t(uint32_t(seconds)));
    if (withWords) {
        if (f < 60)
            return QString::asprintf("%d seconds", s);
        if (f < 3600)
            return QString::asprintf("%.1f minutes", double(f / 60));
        if (f < 86400)
            return QString::asprintf("%.1f hours", double(f / 3600));
        return QString::asprintf("%.1f days", double(f / 86400));
    }
    if (f < 60)
        return QString::asprintf("0:%02d", s);
    if (f < 3600)
        return QString::asprintf("%d:%02d", s / 60, s % 60);
    return QString::asprintf("%d:%02d:%02d", s / 3600, (s / 60) % 60, s % 60);
}

QString formatBytes(uint64_t bytes)
{
    const double b = double(bytes);
    // The original handed the double to "%d", which printed 0 whatever the count.
    if (b < 1024)
        return QStringLiteral("0 B");
    if (b < 1048576)
        return QString::asprintf("%.f KB", b / 1024);
    if (b < 1073741824)
        return QString::asprintf("%.1f MB", b / 1024 / 1024);
    return QString::asprintf("%.1f GB", b / 1024 / 1024 / 1024);
}

} // namespace NSStringXtra
