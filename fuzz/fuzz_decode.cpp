// Downloaded bodies as text: any bytes a server sends, read as UTF-8, else ASCII, else EUC-JP. The
// result is null or well-formed text; bytes that are plain ASCII always read, and as themselves.
#include "net/TVRDownloader.h"

#include <QByteArray>
#include <QString>

#include <algorithm>
#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    const QString text = TVRDownloader::decode(bytes);
    const bool ascii = std::all_of(bytes.cbegin(), bytes.cend(), [](char c) { return uchar(c) < 0x80; });
    if (ascii && text.toLatin1() != bytes)
        __builtin_trap();
    if (!text.isNull() && !text.isValidUtf16())
        __builtin_trap();
    // What UTF-8 reads comes back as the same bytes, but for a byte-order mark it drops.
    const QByteArray utf8 = text.toUtf8();
    if (!text.isNull() && QString::fromUtf8(bytes) == text && utf8 != bytes && !bytes.startsWith("\xEF\xBB\xBF"))
        __builtin_trap();
    return 0;
}
