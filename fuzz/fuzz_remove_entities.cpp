// Feed text through entity decoding and the small escaping helpers: decoding only ever shortens the
// text, and the escaping and simple stripping leave none of the characters they exist to remove.
#include "text/NSStringXtra.h"

#include <QString>

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QString text = QString::fromUtf8(reinterpret_cast<const char *>(data), qsizetype(size));
    const QString decoded = NSStringXtra::removeEntities(text);
    if (decoded.size() > text.size())
        __builtin_trap();
    if (!text.contains(u'&') && !text.contains(u"%20") && decoded != text)
        __builtin_trap();
    const QString escaped = NSStringXtra::stringByEscapingXMLCharacters(text);
    if (escaped.contains(u'<') || escaped.contains(u'>') || escaped.contains(u'"') || escaped.contains(u'\''))
        __builtin_trap();
    const QString simple = NSStringXtra::stripHTMLSimple(text);
    if (simple.contains(u'<') || simple.contains(u'>'))
        __builtin_trap();
    return 0;
}
