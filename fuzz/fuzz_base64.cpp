// Base64 as mail and plist data carry it: any text decodes to at most three bytes per four alphabet
// characters, and any bytes survive encoding at any line length and decoding again.
#include "text/NSDataBase64.h"

#include <QByteArray>
#include <QString>

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    const QByteArray decoded = NSDataBase64::dataWithBase64EncodedString(QString::fromLatin1(bytes));
    qsizetype alphabet = 0;
    for (const char c : bytes)
        alphabet += NSDataBase64::isCharacterPartOfBase64Encoding(c) ? 1 : 0;
    if (decoded.size() > alphabet / 4 * 3 + 2)
        __builtin_trap();
    const unsigned lineLength = size > 0 ? data[0] : 0;
    const QString encoded = NSDataBase64::base64EncodingWithLineLength(bytes, lineLength);
    if (NSDataBase64::dataWithBase64EncodedString(encoded) != bytes)
        __builtin_trap();
    if (encoded.size() < (bytes.size() + 2) / 3 * 4)
        __builtin_trap();
    return 0;
}
