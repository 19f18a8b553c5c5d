#pragma once

#include "tivaro_export.h"

#include <QString>

class RSS;

// What a note needs of a feed's items beyond the parser's repair: Atom content as the page it holds
// rather than its escaped markup, and titles on one line. The News plug-in and `tivaro feed format`
// both make notes this way.
namespace FeedNoteItems {

// Every item repaired with RSS::normalizeRSSItem() and made ready as above.
TIVARO_EXPORT void prepare(RSS &feed);

// An Atom item's description is its content element written out whole; this is the page inside it:
// the escaped HTML of type "html", the markup of type "xhtml", the text of type "text" escaped.
// Anything that is not such an element comes back as it was.
TIVARO_EXPORT QString atomContentAsHtml(const QString &serialised);

} // namespace FeedNoteItems
