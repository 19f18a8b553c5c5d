// RTF from outside: text pasted from word processors and the logs in the sync log file. Whatever is
// read must come back unchanged when written and read again; a difference is a bug in one of the two.
#include "core/RtfReader_p.h"
#include "core/RtfWriter_p.h"

#include <QByteArray>
#include <QString>

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    const Result<AttributedString> first = RtfReader::fromRtf(bytes);
    if (!first) {
        if (first.errorString().isEmpty())
            __builtin_trap();
        return 0;
    }
    const QByteArray written = RtfWriter::toRtf(*first);
    const Result<AttributedString> second = RtfReader::fromRtf(written);
    if (!second || !(*second == *first))
        __builtin_trap();
    return 0;
}
