#pragma once

#include <QColor>
#include <QString>

#include <optional>

// The style of a stretch of attributed text: a font asked for by name, an optional bold trait and
// font-manager weight, a size in points and an optional colour. Default-constructed means "no
// attributes", the style of text appended to a log that was read back from an archive.
struct TextAttributes {
    // A family ("Helvetica") or a font name; empty for none.
    QString fontName;
    bool bold = false;
    // The font manager's weight scale (5 is regular); 0 when not asked for.
    int weight = 0;
    // 0 for no size.
    double pointSize = 0;
    std::optional<QColor> color;

    bool isEmpty() const { return fontName.isEmpty() && !bold && weight == 0 && pointSize == 0 && !color; }
    bool operator==(const TextAttributes &other) const = default;
};
