#pragma once

#include "tivaro_export.h"

#include <QByteArray>
#include <QList>
#include <QString>

// Byte-buffer helpers of the note writer.
namespace ipodnotes {

// The pieces between each occurrence of `separator`; empty pieces are kept, empty data gives one
// empty piece.
TIVARO_AUTOTEST_EXPORT QList<QByteArray> dataSeparatedByCharacter(const QByteArray &data, char separator);

// Appends the UTF-8 bytes of `text`.
TIVARO_AUTOTEST_EXPORT void appendString(QByteArray &buffer, const QString &text);
// Appends the bytes of `text` in `encoding` (StringEncoding numbers); false, and nothing appended,
// when that encoding cannot hold the text.
TIVARO_AUTOTEST_EXPORT bool appendString(QByteArray &buffer, const QString &text, unsigned encoding);

// Removes bytes from the end back to and including the last `c`; empties the buffer when there is none.
TIVARO_AUTOTEST_EXPORT void deleteCharactersFromEndToCharacter(QByteArray &buffer, char c);

// Kept for callers of the original interface; it deliberately does nothing.
TIVARO_AUTOTEST_EXPORT void deleteCharactersInRange(QByteArray &buffer, qsizetype location, qsizetype length);

} // namespace ipodnotes
