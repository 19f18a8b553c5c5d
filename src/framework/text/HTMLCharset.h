#pragma once

#include "tivaro_export.h"

#include <QByteArray>
#include <QString>

// The text of a web page's bytes. Pages often declare one charset and are written in another (a
// "gb2312" page in UTF-8), so bytes that are valid UTF-8 are read as UTF-8 whatever the page says;
// only other bytes are read in the declared charset, and Latin-1 when there is none or it is unknown.
// For Tivaro's programs; plug-ins have no use for it.
class TIVARO_EXPORT HTMLCharset
{
public:
    HTMLCharset() = delete;

    static QString decodePage(const QByteArray &bytes);
    // The charset named by the first <meta charset=...> or <meta ... content="...; charset=..."> in
    // the page's first 4096 bytes, in lower case; empty when none.
    static QByteArray declaredCharset(const QByteArray &bytes);
};
