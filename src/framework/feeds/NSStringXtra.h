#pragma once

#include <QString>

// The string helpers shared across Tivaro. Each is a pure function of its arguments.
namespace NSStringXtra {

// A name safe for a file on the iPod: "/" and ":" become "-", and so do the characters FAT volumes
// refuse (\ * ? " < > |) and control characters.
QString correctFilename(const QString &text);

// White space and line breaks removed at both ends.
QString trimWhiteSpace(const QString &text);

// "&", "<", ">", "'" and '"' escaped for XML, in that order, each in one pass.
QString stringByEscapingXMLCharacters(const QString &text);

// Character references decoded: the common named ones (repeated, so "&amp;amp;" ends as "&"), every
// other HTML 4 named entity in one pass, then numeric ones ("&#66;", "&#x42;"; "&#X42;" reads as
// decimal and gives NUL). Codes above 0xFFFF are cut to 16 bits.
QString removeEntities(const QString &text);

// The text outside angle brackets, a space where a tag closed, trimmed. A stray ">" hides the
// text up to the next "<".
QString stripHTMLSimple(const QString &text);

} // namespace NSStringXtra
