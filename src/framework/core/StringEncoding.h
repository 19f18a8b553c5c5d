#pragma once

#include "tivaro_export.h"

#include <QByteArray>
#include <QString>

#include <optional>

// Text encodings by the numbers the Mac gave them, which callers pass around as plain integers.
namespace StringEncoding {

constexpr unsigned ASCII = 1;
// Japanese EUC; only decoded (downloads fall back to it).
constexpr unsigned JapaneseEUC = 3;
constexpr unsigned UTF8 = 4;
constexpr unsigned ISOLatin1 = 5;
// 16-bit Unicode: UTF-16 in this machine's byte order, led by a byte-order mark.
constexpr unsigned Unicode = 10;

// The encoding plain text files are written in when none is asked for.
constexpr unsigned Default = UTF8;

// The bytes of `text`, or nullopt when the encoding is unknown or would lose a character.
TIVARO_EXPORT std::optional<QByteArray> encode(const QString &text, unsigned encoding);
// The text of `bytes`, or nullopt when they are not valid in that encoding.
TIVARO_EXPORT std::optional<QString> decode(const QByteArray &bytes, unsigned encoding);

// Reads bytes the way a plain-text file of unknown encoding is read: UTF-16 or UTF-8 when a
// byte-order mark says so, else UTF-8 when valid, else Latin-1. Bytes holding a NUL are no text.
TIVARO_EXPORT std::optional<QString> decodePlainText(const QByteArray &bytes);
// The same for a file; nullopt also when it cannot be read.
TIVARO_EXPORT std::optional<QString> readPlainTextFile(const QString &path);

} // namespace StringEncoding
