#pragma once

#include "tivaro_export.h"

#include <QString>
#include <QStringView>

// The two text filters of the page-to-text pipeline, run in-process: a process per call would cost
// more than the work itself on every feed item.
//
// They are built on HTMLTokenizer rather than on libxml2's HTML parser: the pipeline hands them
// markup it has already cut up ("<p class=x>" becomes "\r\r< class=x>", "<br>" becomes "\r<>"), which
// an HTML parser reads as text, while a tokenizer can treat it as the tag it was. No tree is built
// and nothing is ever fetched.
class TIVARO_AUTOTEST_EXPORT HTMLTextFilter
{
public:
    HTMLTextFilter() = delete;

    // The text of the page: tags, comments, declarations and the content of script and style
    // elements removed, entities decoded (a no-break space becomes a plain one). The end of a block
    // element becomes a line break and a table cell a space, so that neighbouring words stay apart.
    static QString stripHTML(const QString &html);
    // The page without its script elements (start tag, content, end tag); everything else as it was.
    static QString removeScriptTags(const QString &html);
    // Named (HTML 4), decimal and hexadecimal references decoded in one pass; an invalid or
    // unknown one is kept as written, a code point that is no character becomes U+FFFD.
    static QString decodeEntities(QStringView text);

private:
    static QString separatorAfter(const QString &endTagName);
};
