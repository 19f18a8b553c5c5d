// SysInfo as the iPod reader sees it: bytes of unknown encoding, decoded, then parsed. A line with an
// empty key or value is an error with a message by design; any escape, crash or hang is a bug.
#include "core/StringEncoding.h"
#include "ipod/SysInfoParser_p.h"

#include <QByteArray>
#include <QString>

#include <cstddef>
#include <cstdint>
#include <optional>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    const std::optional<QString> text = StringEncoding::decodePlainText(bytes);
    if (!text)
        return 0;
    const Result<QVariantMap> parsed = SysInfoParser::parse(*text, QStringLiteral("SysInfo"));
    if (!parsed) {
        if (!parsed.errorString().startsWith(QStringLiteral("SysInfo: line ")))
            __builtin_trap();
        return 0;
    }
    {
        const QVariantMap &information = *parsed;
        // What the parser promises of every entry it keeps.
        for (auto it = information.cbegin(); it != information.cend(); ++it) {
            const QString key = it.key();
            const QString value = it.value().toString();
            if (key.isEmpty() || value.isEmpty() || key.contains(QLatin1Char(':')) || key.contains(QLatin1Char('\n')) ||
                value.contains(QLatin1Char('\n')) || key.startsWith(QLatin1Char('\t')) ||
                key.startsWith(QLatin1Char(' ')))
                __builtin_trap();
        }
    }
    return 0;
}
