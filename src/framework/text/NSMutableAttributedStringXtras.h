#pragma once

#include "tivaro_export.h"

#include "core/AttributedString.h"

// Helpers on styled text.
namespace NSMutableAttributedStringXtras {

// Makes every white-space-separated word that is a URL a link: a word holding "://" or starting
// with "mailto:" links to itself, one starting with "www." to "http://" + word, one starting with
// "ftp." to "ftp://" + word. Linked words are also underlined and blue; other attributes stay.
TIVARO_EXPORT void detectURLs(AttributedString &text);

} // namespace NSMutableAttributedStringXtras
