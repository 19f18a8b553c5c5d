#pragma once

#include <QString>

// The string helpers shared across Tivaro. Each is a pure function of its arguments.
namespace NSStringXtra {

// A name safe for a file on the iPod: "/" and ":" become "-", and so do the characters FAT volumes
// refuse (\ * ? " < > |) and control characters.
QString correctFilename(const QString &text);

} // namespace NSStringXtra
