#pragma once

#include "tivaro_export.h"

#include "AttributedString.h"
#include "Result.h"

#include <QByteArray>
#include <QString>

// RTF to attributed text: everything RtfWriter writes comes back equal, and RTF from other programs
// gives its text with font names, bold, sizes and colours. What the log has no use for (paragraph
// formats, tables, pictures, style sheets, document info, unknown words and {\* ...} destinations)
// is skipped. \par, \sect, \page and \row become "\r" (the log's line break), \line "\n", \tab and
// \cell "\t". A run's font is the one its \f names; \deff is not applied, so text that names no
// font has none. 8-bit text (\'hh and raw bytes) is read as Windows-1252 whatever \ansicpg says.
//
// Input that stops inside open groups is read as far as it goes: the text so far is kept, as word
// processors do with a cut-off file. Input that does not begin with "{\rtf", or nests groups deeper
// than kMaximumDepth, is refused. Any bytes are safe: parsing is linear and never recurses.
//
// Pure functions of their arguments; callable from any thread.
namespace RtfReader {

constexpr int kMaximumDepth = 256;

// The text, or an error saying why the bytes are not RTF this reader accepts.
TIVARO_AUTOTEST_EXPORT Result<AttributedString> fromRtf(const QByteArray &rtf);

} // namespace RtfReader
