#pragma once

#include "tivaro_export.h"

#include <QByteArray>
#include <QString>

// Base64 (RFC 4648 alphabet, "=" padding) for data.
namespace NSDataBase64 {

// The whole text on one line.
TIVARO_EXPORT QString base64Encoding(const QByteArray &data);
// A line feed after each line, a line being the smallest multiple of 4 characters that is at least
// `lineLength` long (0: one line, no line feed). A text filling its last line ends with a line feed.
TIVARO_EXPORT QString base64EncodingWithLineLength(const QByteArray &data, unsigned lineLength);
// The bytes of `text`: characters outside the alphabet are skipped, the first "=" ends the input,
// and an incomplete last group without padding is dropped. A null or empty text gives no bytes.
TIVARO_EXPORT QByteArray dataWithBase64EncodedString(const QString &text);
TIVARO_EXPORT bool isCharacterPartOfBase64Encoding(char c);

} // namespace NSDataBase64
