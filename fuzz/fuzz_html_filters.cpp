// Web pages through charset detection and the page-to-text filters: any bytes come out as text
// without an exception, and the readable form keeps its line rules.
#include "text/HTMLCharset.h"
#include "text/NSStringXtra.h"

#include <QString>

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QString html = HTMLCharset::decodePage(QByteArray(reinterpret_cast<const char *>(data), qsizetype(size)));
    const QString stripped = NSStringXtra::stripHTML(html);
    if (!stripped.isValidUtf16() && html.isValidUtf16())
        __builtin_trap();
    // Removing elements never adds text.
    if (NSStringXtra::removeScriptTags(html).size() > html.size())
        __builtin_trap();
    const QString readable = NSStringXtra::makeHTMLReadable(html);
    if (readable.contains(u'\n') || readable.contains(u"\r\r\r") || readable.contains(u"\r "))
        __builtin_trap();
    if (readable != NSStringXtra::trimWhiteSpace(readable))
        __builtin_trap();
    return 0;
}
