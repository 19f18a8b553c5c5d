// The header lines of HTTP answers as the downloader reads them: whatever a server sends, one line
// at a time, status lines starting new headers. Any crash or hang is a bug.
#include "net/HttpResponseHeader_p.h"

#include <QByteArray>
#include <QUrl>

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    const QUrl url(QStringLiteral("http://example.com/feeds/news.xml"));
    HttpResponseHeader header(url);
    for (const QByteArray &line : bytes.split('\n')) {
        if (header.read(line + '\n') != HttpResponseHeader::Line::End)
            continue;
        const TVRURLResponse &response = header.response();
        // What the downloader relies on at the end of every header.
        if (response.url != url || response.expectedContentLength < -1 || header.identityLength() < -1 ||
            (header.identityLength() >= 0 && header.identityLength() != response.expectedContentLength))
            __builtin_trap();
        const QUrl target = header.redirectTarget();
        if (!target.isEmpty() && (header.statusCode() < 300 || header.statusCode() >= 400))
            __builtin_trap();
    }
    return 0;
}
