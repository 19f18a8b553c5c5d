#pragma once

#include "core/Result.h"
#include "tivaro_export.h"

#include <QString>
#include <QVariantMap>

// Reads the "key: value" lines of an iPod's SysInfo file.
namespace SysInfoParser {

// Blanks and tabs before a key and before a value are skipped, blanks after a value are kept, a line
// without a colon is skipped and a later key replaces an earlier one. An error (naming `path` and
// the line) for a line with an empty key or an empty value.
TIVARO_AUTOTEST_EXPORT Result<QVariantMap> parse(const QString &text, const QString &path);

} // namespace SysInfoParser
