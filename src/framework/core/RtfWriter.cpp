#include "RtfWriter_p.h"

#include <QColor>
#include <QHash>
#include <QList>

#include <algorithm>
#include <cmath>

namespace {

// The font family word readers use to pick a stand-in when the named font is missing.
QByteArray familyOf(const QString &fontName)
{
    const QString name = fontName.toLower();
    const auto any = [&name](std::initializer_list<const char *> words) {
        return std::any_of(words.begin(), words.end(),
                           [&name](const char *word) { return name.contains(QLatin1String(word)); });
    };
    if (any({"mono", "courier", "menlo", "monaco", "consol"}))
        return QByteArrayLiteral("\\fmodern");
    if (any({"sans", "helvetica", "arial", "verdana", "geneva", "lucida grande", "tahoma"}))
        return QByteArrayLiteral("\\fswiss");
    if (any({"serif", "times", "georgia", "palatino", "garamond"}))
        return QByteArrayLiteral("\\froman");
    return QByteArrayLiteral("\\fnil");
}

void appendUnicode(QByteArray &out, char16_t unit)
{
    // \u takes a signed 16-bit number; the '?' is what readers without Unicode show (\uc1).
    out += "\\u" + QByteArray::number(int(qint16(unit))) + '?';
}

// Text as RTF: the three special characters escaped, everything outside printable ASCII as \u.
// In the font table a ';' ends the name, so there it is written as a hex escape.
void appendEscaped(QByteArray &out, QStringView text, bool inFontTable)
{
    for (const QChar character : text) {
        const char16_t unit = character.unicode();
        switch (unit) {
        case u'\\':
            out += "\\\\";
            continue;
        case u'{':
            out += "\\{";
            continue;
        case u'}':
            out += "\\}";
            continue;
        default:
            break;
        }
        if (!inFontTable) {
            // "\r" is the log's line break, a paragraph; "\n" a line break inside one.
            if (unit == u'\r') {
                out += "\\par\n";
                continue;
            }
            if (unit == u'\n') {
                out += "\\line ";
                continue;
            }
            if (unit == u'\t') {
                out += "\\tab ";
                continue;
            }
        } else if (unit == u';') {
            out += "\\'3b";
            continue;
        }
        if (unit < 0x20 || unit > 0x7e)
            appendUnicode(out, unit);
        else
            out += char(unit);
    }
}

int halfPointsOf(double pointSize)
{
    const double clamped = std::min(pointSize * 2, double(RtfWriter::kMaximumHalfPoints));
    return std::clamp(int(std::lround(clamped)), 1, RtfWriter::kMaximumHalfPoints);
}

} // namespace

namespace RtfWriter {

QByteArray toRtf(const AttributedString &text)
{
    // Table numbers in order of first use; hashed, since a long text may use many.
    QStringList fonts;
    QHash<QString, qsizetype> fontNumbers;
    QList<QRgb> colors;
    QHash<QRgb, qsizetype> colorNumbers;
    for (const AttributedString::Run &run : text.runs()) {
        const TextAttributes &style = run.attributes;
        if (!style.fontName.isEmpty() && !fontNumbers.contains(style.fontName)) {
            fontNumbers.insert(style.fontName, fonts.size());
            fonts.append(style.fontName);
        }
        if (style.color && style.color->isValid()) {
            const QRgb rgb = style.color->rgb() & RGB_MASK;
            if (!colorNumbers.contains(rgb)) {
                colors.append(rgb);
                colorNumbers.insert(rgb, colors.size());
            }
        }
    }
    // \deff0 must name a font; without any, Helvetica stands in for readers that want one.
    const bool placeholderFont = fonts.isEmpty();

    QByteArray out = QByteArrayLiteral("{\\rtf1\\ansi\\ansicpg1252\\deff0\\uc1 {\\fonttbl");
    for (qsizetype i = 0; i < fonts.size() || (placeholderFont && i == 0); ++i) {
        const QString name = placeholderFont ? QStringLiteral("Helvetica") : fonts.at(i);
        out += "{\\f" + QByteArray::number(i) + familyOf(name) + "\\fcharset0 ";
        appendEscaped(out, name, true);
        out += ";}";
    }
    // Entry 0 stays empty: \cf0 is the reader's automatic colour, so runs name colours from 1.
    out += "}\n{\\colortbl;";
    for (const QRgb rgb : std::as_const(colors))
        out += "\\red" + QByteArray::number(qRed(rgb)) + "\\green" + QByteArray::number(qGreen(rgb)) + "\\blue" +
               QByteArray::number(qBlue(rgb)) + ';';
    out += "}\n\\pard\\plain\n";

    for (const AttributedString::Run &run : text.runs()) {
        const TextAttributes &style = run.attributes;
        out += '{';
        // The weight goes first: text right after a group's closing brace would include a space.
        if (style.weight != 0)
            out += "{\\*\\" + QByteArray(kWeightDestination) + QByteArray::number(style.weight) + '}';
        const qsizetype bare = out.size();
        if (!style.fontName.isEmpty())
            out += "\\f" + QByteArray::number(fontNumbers.value(style.fontName));
        if (style.pointSize > 0)
            out += "\\fs" + QByteArray::number(halfPointsOf(style.pointSize));
        if (style.bold)
            out += "\\b";
        if (style.color && style.color->isValid())
            out += "\\cf" + QByteArray::number(colorNumbers.value(style.color->rgb() & RGB_MASK));
        // The space ends the last control word; without one it would be text.
        if (out.size() != bare)
            out += ' ';
        appendEscaped(out, QStringView(text.string()).mid(run.start, run.length), false);
        out += '}';
    }
    out += "\n}\n";
    return out;
}

} // namespace RtfWriter
