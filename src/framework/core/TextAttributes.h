#pragma once

#include "tivaro_export.h"

#include <QColor>
#include <QString>
#include <QUrl>

#include <optional>

// The style of a stretch of attributed text: a font asked for by name, an optional bold trait and
// font-manager weight, a size in points, an optional colour, a link and an underline. Default-constructed means "no
// attributes", the style of text appended to a log that was read back from an archive.
struct TIVARO_EXPORT TextAttributes {
    // A family ("Helvetica") or a font name; empty for none.
    QString fontName;
    bool bold = false;
    // The font manager's weight scale (5 is regular); 0 when not asked for.
    int weight = 0;
    // 0 for no size.
    double pointSize = 0;
    std::optional<QColor> color;
    // Where the text links to; empty for none.
    QUrl link;
    // 0 for none, 1 for a single underline.
    int underlineStyle = 0;

    bool isEmpty() const
    {
        return fontName.isEmpty() && !bold && weight == 0 && pointSize == 0 && !color && link.isEmpty() &&
               underlineStyle == 0;
    }
    bool operator==(const TextAttributes &other) const = default;
};
