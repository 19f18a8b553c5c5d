#pragma once

#include <QString>
#include <QStringList>

// Which files of a folder the Text Files plug-in copies: regular files, in the folder and every
// sub-folder that is not hidden, that are text. A file is text when its extension is .txt, .text
// or .md (any case), or else when its first 4 KB are UTF-8 without a NUL byte. Hidden files and
// folders (a name starting with ".") and symbolic links to folders are left out.
class TextFileFinder
{
public:
    // The text files below `folder`, as paths relative to it, sorted.
    static QStringList find(const QString &folder);
    // Whether the extension alone makes the file text; the note's name then leaves it out.
    static bool hasTextExtension(const QString &fileName);

private:
    static bool isText(const QString &path);
    static bool startsWithUtf8Text(const QString &path);
};
