#include "RtfReader_p.h"

#include "RtfWriter_p.h"

#include <QColor>
#include <QHash>

#include <algorithm>
#include <array>
#include <limits>
#include <utility>
#include <vector>

namespace {

// Bytes 0x80 to 0x9F in Windows-1252; the rest of the code page is Latin-1. The five unassigned
// bytes keep their own value, as Windows does.
constexpr char16_t kWindows1252High[32] = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178,
};

char16_t fromWindows1252(uchar byte)
{
    return byte >= 0x80 && byte < 0xA0 ? kWindows1252High[byte - 0x80] : char16_t(byte);
}

bool isLetter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

int hexValue(char c)
{
    if (isDigit(c))
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

enum class Word {
    Unknown,
    Binary,
    FontTable,
    ColorTable,
    Skipped,
    Plain,
    Font,
    FontSize,
    Bold,
    Color,
    Red,
    Green,
    Blue,
    Unicode,
    UnicodeSkip,
    Character,
};

struct WordMeaning {
    Word word = Word::Unknown;
    char16_t character = 0;
};

const QHash<QByteArrayView, WordMeaning> &knownWords()
{
    static const QHash<QByteArrayView, WordMeaning> words{
        {"bin", {Word::Binary}},
        {"fonttbl", {Word::FontTable}},
        {"colortbl", {Word::ColorTable}},
        // Destinations whose text is not part of the document's body.
        {"stylesheet", {Word::Skipped}},
        {"info", {Word::Skipped}},
        {"pict", {Word::Skipped}},
        {"object", {Word::Skipped}},
        {"header", {Word::Skipped}},
        {"headerl", {Word::Skipped}},
        {"headerr", {Word::Skipped}},
        {"headerf", {Word::Skipped}},
        {"footer", {Word::Skipped}},
        {"footerl", {Word::Skipped}},
        {"footerr", {Word::Skipped}},
        {"footerf", {Word::Skipped}},
        {"footnote", {Word::Skipped}},
        {"annotation", {Word::Skipped}},
        {"listtable", {Word::Skipped}},
        {"listoverridetable", {Word::Skipped}},
        {"revtbl", {Word::Skipped}},
        {"rsidtbl", {Word::Skipped}},
        {"filetbl", {Word::Skipped}},
        {"pgdsctbl", {Word::Skipped}},
        {"latentstyles", {Word::Skipped}},
        {"themedata", {Word::Skipped}},
        {"colorschememapping", {Word::Skipped}},
        {"datastore", {Word::Skipped}},
        {"xmlnstbl", {Word::Skipped}},
        {"generator", {Word::Skipped}},
        {"fldinst", {Word::Skipped}},
        {"shp", {Word::Skipped}},
        {"nonshppict", {Word::Skipped}},
        {"plain", {Word::Plain}},
        {"f", {Word::Font}},
        {"fs", {Word::FontSize}},
        {"b", {Word::Bold}},
        {"cf", {Word::Color}},
        {"red", {Word::Red}},
        {"green", {Word::Green}},
        {"blue", {Word::Blue}},
        {"u", {Word::Unicode}},
        {"uc", {Word::UnicodeSkip}},
        // The log's line break is "\r"; paragraphs and the breaks that end more than one are it too.
        {"par", {Word::Character, u'\r'}},
        {"sect", {Word::Character, u'\r'}},
        {"page", {Word::Character, u'\r'}},
        {"row", {Word::Character, u'\r'}},
        {"line", {Word::Character, u'\n'}},
        {"tab", {Word::Character, u'\t'}},
        {"cell", {Word::Character, u'\t'}},
        {"emdash", {Word::Character, 0x2014}},
        {"endash", {Word::Character, 0x2013}},
        {"emspace", {Word::Character, 0x2003}},
        {"enspace", {Word::Character, 0x2002}},
        {"qmspace", {Word::Character, 0x2005}},
        {"bullet", {Word::Character, 0x2022}},
        {"lquote", {Word::Character, 0x2018}},
        {"rquote", {Word::Character, 0x2019}},
        {"ldblquote", {Word::Character, 0x201C}},
        {"rdblquote", {Word::Character, 0x201D}},
        {"zwj", {Word::Character, 0x200D}},
        {"zwnj", {Word::Character, 0x200C}},
    };
    return words;
}

enum class Destination { Text, FontTable, ColorTable, Skipped };

// The character formatting of a group, by table numbers; resolved to attributes when text is kept.
struct Style {
    int font = -1;
    bool bold = false;
    int halfPoints = 0;
    int color = -1;
    int weight = 0;
    bool operator==(const Style &) const = default;
};

struct Group {
    Destination destination = Destination::Text;
    Style style;
    // Fallback characters after each \u (\uc), 1 unless the document says otherwise.
    int unicodeSkip = 1;
};

class Parser
{
public:
    explicit Parser(const QByteArray &rtf)
        : m_cursor(rtf.constData())
        , m_end(rtf.constData() + rtf.size())
    {}

    Result<AttributedString> parse()
    {
        while (m_cursor < m_end && (*m_cursor == ' ' || *m_cursor == '\t' || *m_cursor == '\r' || *m_cursor == '\n'))
            ++m_cursor;
        const QByteArrayView rest(m_cursor, m_end - m_cursor);
        if (!rest.startsWith("{\\rtf") || (rest.size() > 5 && isLetter(rest.at(5))))
            return Error{Error::Malformed, QStringLiteral("not RTF: it does not begin with {\\rtf")};
        while (m_cursor < m_end && !m_finished && m_error.isEmpty()) {
            const char c = *m_cursor++;
            switch (c) {
            case '{':
                openGroup();
                break;
            case '}':
                closeGroup();
                break;
            case '\\':
                readControl();
                break;
            case '\r':
            case '\n':
                break;
            default:
                readByte(uchar(c));
                break;
            }
        }
        if (!m_error.isEmpty())
            return Error{Error::Malformed, m_error};
        flush();
        return m_result;
    }

private:
    Group &group() { return m_groups.back(); }

    void openGroup()
    {
        if (int(m_groups.size()) >= RtfReader::kMaximumDepth) {
            m_error = QStringLiteral("groups nest deeper than %1 levels").arg(RtfReader::kMaximumDepth);
            return;
        }
        m_fallbackLeft = 0;
        m_ignorable = false;
        m_groups.push_back(m_groups.empty() ? Group{} : m_groups.back());
    }

    void closeGroup()
    {
        m_fallbackLeft = 0;
        m_ignorable = false;
        // Some writers close a font entry without its ';'.
        if (group().destination == Destination::FontTable)
            commitFont();
        m_groups.pop_back();
        m_finished = m_groups.empty();
    }

    // A byte of text as it stands in the file.
    void readByte(uchar byte)
    {
        m_ignorable = false;
        if (m_fallbackLeft > 0) {
            --m_fallbackLeft;
            return;
        }
        switch (group().destination) {
        case Destination::Text:
            if (byte == '\t' || byte >= 0x20)
                appendText(fromWindows1252(byte));
            break;
        case Destination::FontTable:
            if (byte == ';')
                commitFont();
            else
                character(fromWindows1252(byte));
            break;
        case Destination::ColorTable:
            if (byte == ';')
                commitColor();
            break;
        case Destination::Skipped:
            break;
        }
    }

    // A character from an escape: text in the body, part of a name in the font table.
    void character(char16_t unit)
    {
        if (group().destination == Destination::Text)
            appendText(unit);
        else if (group().destination == Destination::FontTable && unit >= 0x20)
            m_fontName += QChar(unit);
    }

    void readControl()
    {
        if (m_cursor == m_end)
            return;
        if (!isLetter(*m_cursor)) {
            controlSymbol(*m_cursor++);
            return;
        }
        const char *start = m_cursor;
        while (m_cursor < m_end && isLetter(*m_cursor))
            ++m_cursor;
        const QByteArrayView name(start, m_cursor - start);
        std::optional<int> parameter;
        const bool negative = m_cursor + 1 < m_end && *m_cursor == '-' && isDigit(m_cursor[1]);
        if (negative)
            ++m_cursor;
        if (m_cursor < m_end && isDigit(*m_cursor)) {
            // Saturates rather than overflows; a parameter beyond 32 bits is nonsense either way.
            qint64 value = 0;
            for (; m_cursor < m_end && isDigit(*m_cursor); ++m_cursor)
                value = std::min<qint64>(value * 10 + (*m_cursor - '0'), qint64(1) << 40);
            value = negative ? -value : value;
            parameter =
                int(std::clamp<qint64>(value, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
        }
        if (m_cursor < m_end && *m_cursor == ' ')
            ++m_cursor;
        controlWord(name, parameter);
    }

    void controlSymbol(char symbol)
    {
        if (symbol == '\'') {
            const int high = m_cursor < m_end ? hexValue(m_cursor[0]) : -1;
            const int low = m_cursor + 1 < m_end ? hexValue(m_cursor[1]) : -1;
            if (high < 0 || low < 0)
                return;
            m_cursor += 2;
            readEscapedByte(uchar(high * 16 + low));
            return;
        }
        m_ignorable = false;
        if (m_fallbackLeft > 0) {
            --m_fallbackLeft;
            return;
        }
        switch (symbol) {
        case '\\':
        case '{':
        case '}':
            character(char16_t(symbol));
            break;
        case '~':
            character(0x00A0);
            break;
        case '_':
            character(0x2011);
            break;
        case '*':
            m_ignorable = true;
            break;
        case '\r':
        case '\n':
            if (group().destination == Destination::Text)
                appendText(u'\r');
            break;
        default:
            // \- (optional hyphen), \| and \: show nothing in running text.
            break;
        }
    }

    void readEscapedByte(uchar byte)
    {
        m_ignorable = false;
        if (m_fallbackLeft > 0) {
            --m_fallbackLeft;
            return;
        }
        character(fromWindows1252(byte));
    }

    void controlWord(QByteArrayView name, std::optional<int> parameter)
    {
        const WordMeaning meaning = knownWords().value(name);
        if (meaning.word == Word::Binary) {
            // Raw bytes follow; whatever they hold is data, never structure.
            const qint64 length = std::max(0, parameter.value_or(0));
            m_cursor += std::min<qint64>(length, m_end - m_cursor);
            if (m_fallbackLeft > 0)
                --m_fallbackLeft;
            return;
        }
        const bool ignorable = std::exchange(m_ignorable, false);
        if (m_fallbackLeft > 0) {
            --m_fallbackLeft;
            return;
        }
        Group &current = group();
        if (current.destination == Destination::Skipped)
            return;
        if (ignorable) {
            // {\*\tivaroweight N} gives the weight of the run around it; any other {\* ...} is skipped.
            if (name == RtfWriter::kWeightDestination && m_groups.size() >= 2)
                m_groups[m_groups.size() - 2].style.weight = parameter.value_or(0);
            current.destination = Destination::Skipped;
            return;
        }
        switch (meaning.word) {
        case Word::FontTable:
            current.destination = Destination::FontTable;
            m_fontNumber = -1;
            m_fontName.clear();
            return;
        case Word::ColorTable:
            current.destination = Destination::ColorTable;
            m_colors.clear();
            m_colorParts = {-1, -1, -1};
            return;
        case Word::Skipped:
            current.destination = Destination::Skipped;
            return;
        case Word::Unicode: {
            // Negative numbers stand for the upper half of the 16-bit range.
            const int code = parameter.value_or(0) < 0 ? parameter.value_or(0) + 0x10000 : parameter.value_or(0);
            character(code >= 0 && code <= 0xFFFF ? char16_t(code) : char16_t(0xFFFD));
            m_fallbackLeft = current.unicodeSkip;
            return;
        }
        case Word::UnicodeSkip:
            current.unicodeSkip = std::max(0, parameter.value_or(1));
            return;
        default:
            break;
        }
        if (current.destination == Destination::FontTable) {
            if (meaning.word == Word::Font) {
                m_fontNumber = parameter.value_or(0);
                m_fontName.clear();
            }
            return;
        }
        if (current.destination == Destination::ColorTable) {
            const int part = meaning.word == Word::Red     ? 0
                             : meaning.word == Word::Green ? 1
                             : meaning.word == Word::Blue  ? 2
                                                           : -1;
            if (part >= 0)
                m_colorParts[part] = std::clamp(parameter.value_or(0), 0, 255);
            return;
        }
        Style &style = current.style;
        switch (meaning.word) {
        case Word::Plain:
            style = Style{};
            break;
        case Word::Font:
            style.font = parameter.value_or(0);
            break;
        case Word::FontSize: {
            // RTF's default size is 12 points.
            const int halfPoints = parameter.value_or(24);
            style.halfPoints = halfPoints <= 0 ? 0 : std::min(halfPoints, RtfWriter::kMaximumHalfPoints);
            break;
        }
        case Word::Bold:
            style.bold = parameter.value_or(1) != 0;
            break;
        case Word::Color:
            style.color = parameter.value_or(0);
            break;
        case Word::Character:
            appendText(meaning.character);
            break;
        default:
            break;
        }
    }

    void commitFont()
    {
        if (m_fontNumber >= 0 && !m_fontName.isEmpty())
            m_fonts.insert(m_fontNumber, m_fontName.trimmed());
        m_fontName.clear();
    }

    void commitColor()
    {
        // An entry without components is the automatic colour.
        const bool automatic = m_colorParts[0] < 0 && m_colorParts[1] < 0 && m_colorParts[2] < 0;
        m_colors.push_back(
            automatic ? std::nullopt
                      : std::optional<QColor>(QColor(std::max(0, m_colorParts[0]), std::max(0, m_colorParts[1]),
                                                     std::max(0, m_colorParts[2]))));
        m_colorParts = {-1, -1, -1};
    }

    void appendText(char16_t unit)
    {
        const Style &style = group().style;
        if (!m_pending.isEmpty() && style != m_pendingStyle)
            flush();
        m_pendingStyle = style;
        m_pending += QChar(unit);
    }

    void flush()
    {
        if (m_pending.isEmpty())
            return;
        TextAttributes attributes;
        if (m_pendingStyle.font >= 0)
            attributes.fontName = m_fonts.value(m_pendingStyle.font);
        attributes.bold = m_pendingStyle.bold;
        attributes.weight = m_pendingStyle.weight;
        attributes.pointSize = m_pendingStyle.halfPoints / 2.0;
        if (m_pendingStyle.color >= 0 && std::size_t(m_pendingStyle.color) < m_colors.size())
            attributes.color = m_colors[std::size_t(m_pendingStyle.color)];
        m_result.append(m_pending, attributes);
        m_pending.clear();
    }

    const char *m_cursor;
    const char *m_end;
    std::vector<Group> m_groups;
    bool m_finished = false;
    QString m_error;
    // Set by \*, for the control word right after it.
    bool m_ignorable = false;
    // Fallback characters still to pass over after a \u.
    int m_fallbackLeft = 0;

    QHash<int, QString> m_fonts;
    int m_fontNumber = -1;
    QString m_fontName;
    std::vector<std::optional<QColor>> m_colors;
    std::array<int, 3> m_colorParts{-1, -1, -1};

    AttributedString m_result;
    QString m_pending;
    Style m_pendingStyle;
};

} // namespace

namespace RtfReader {

Result<AttributedString> fromRtf(const QByteArray &rtf)
{
    return Parser(rtf).parse();
}

} // namespace RtfReader
