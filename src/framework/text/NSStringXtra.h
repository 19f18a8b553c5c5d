#pragma once

#include "tivaro_export.h"

#include <QString>
#include <QStringList>

#include <cstdint>
#include <optional>

// The string helpers shared across Tivaro. Each is a pure function of its arguments.
namespace NSStringXtra {

// ---- File names, paths and URLs (NSStringXtraPaths.cpp).

// A name safe for a file on the iPod: "/" and ":" become "-", and so do the characters FAT volumes
// refuse (\ * ? " < > |) and control characters.
TIVARO_EXPORT QString correctFilename(const QString &text);
// The last path component removed `n` times.
TIVARO_EXPORT QString removeNumberOfPathComponents(const QString &text, int n);
// Percent-escaped for a URL, leaving reserved characters and "%" as they are; "feed://" made "http://".
TIVARO_EXPORT QString URLSafe(const QString &text);

// ---- White space, lines, words and replacement (NSStringXtraWhiteSpace.cpp).

// White space and line breaks removed at both ends.
TIVARO_EXPORT QString trimWhiteSpace(const QString &text);
// Line breaks made "\r", no line starting with a space, at most one empty line in a row.
TIVARO_EXPORT QString removeExtraLines(const QString &text);
// Each of `strings` deleted (nullopt: "\r", "\n" and "\t"), then runs of spaces collapsed to one.
TIVARO_EXPORT QString removeWhiteSpace(const QString &text, const std::optional<QStringList> &strings = std::nullopt);
// True for a null or empty string and for one that is all white space.
TIVARO_EXPORT bool stringIsEmpty(const QString &text);
// Every occurrence of `target` replaced, again and again until none is left. A replacement that
// brings its target back is applied once; an empty target changes nothing.
TIVARO_EXPORT QString replace(const QString &text, const QString &target, const QString &replacement);
// Whether `other` occurs in `text`, ignoring case.
TIVARO_EXPORT bool containsString(const QString &text, const QString &other);
// The first `n` space-separated words (empty pieces count), without an ellipsis.
TIVARO_EXPORT QString ellipsizeAfterNWords(const QString &text, int n);
// At most `n` characters: in practice a hard cut of the text at `n` (one less where `n` would split
// a surrogate pair), unless whole words of its file-name-corrected form fill the limit exactly.
TIVARO_EXPORT QString wordsUpTo(const QString &text, int n);
// Every backslash-apostrophe made a plain apostrophe.
TIVARO_EXPORT QString stripSlashes(const QString &text);
// The UTF-16 units in reverse order.
TIVARO_EXPORT QString reverseString(const QString &text);

// ---- Entities and XML escapes (NSStringXtraEntities.cpp).

// "&", "<", ">", "'" and '"' escaped for XML, in that order, each in one pass.
TIVARO_EXPORT QString stringByEscapingXMLCharacters(const QString &text);
// Character references decoded: the common named ones (repeated, so "&amp;amp;" ends as "&"), every
// other HTML 4 named entity in one pass, then numeric ones ("&#66;", "&#x42;"; "&#X42;" reads as
// decimal and gives NUL). Codes above 0xFFFF are cut to 16 bits.
TIVARO_EXPORT QString removeEntities(const QString &text);
// "<![CDATA[" and "]]>" removed when the text holds both (found ignoring case).
TIVARO_EXPORT QString removeCdataStuff(const QString &text);

// ---- HTML to readable text (NSStringXtraHTML.cpp).

// Readable plain text of an HTML page or fragment, "\r" line breaks: only the body when the page has
// one "<body", line breaks for paragraphs, rows and breaks, a line of hyphens for "<hr>", tags,
// scripts and styles removed, entities decoded, white space collapsed. With a start marker the
// text begins at its first (case-sensitive) occurrence; a marker that is found only when case is
// ignored throws std::out_of_range, so pass markers in their exact case.
TIVARO_EXPORT QString makeHTMLReadable(const QString &text, const std::optional<QString> &startMarker = std::nullopt);
// Tags, comments, and script and style elements removed, entities decoded.
TIVARO_EXPORT QString stripHTML(const QString &text);
// Script elements removed with their content; the rest of the markup kept.
TIVARO_EXPORT QString removeScriptTags(const QString &text);
// The text outside angle brackets, a space where a tag closed, trimmed. A stray ">" hides the
// text up to the next "<".
TIVARO_EXPORT QString stripHTMLSimple(const QString &text);

// ---- Durations, sizes and ROT13 for display (NSStringXtraFormat.cpp).

// ROT13 over the low byte of each unit; characters beyond Latin-1 are reduced to that byte.
TIVARO_EXPORT QString stringByEncryptingWithROT13(const QString &text);
TIVARO_EXPORT char ROT13Character(char c);
// "59 seconds", "1.0 hours" with words; "0:59", "1:02:05" without (hours are not capped at a day).
TIVARO_EXPORT QString formatSeconds(uint64_t seconds, bool withWords);
// "2 KB", "1.5 MB", "1.0 GB"; "0 B" for anything below 1024 bytes.
TIVARO_EXPORT QString formatBytes(uint64_t bytes);

} // namespace NSStringXtra
