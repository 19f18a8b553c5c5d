#include "SysInfoParser_p.h"

namespace {

// A scanner over one string that skips blanks and tabs (never line ends) before each scan.
class LineScanner
{
public:
    explicit LineScanner(const QString &text)
        : m_text(text)
    {}

    bool isAtEnd()
    {
        skipBlanks();
        return m_position >= m_text.size();
    }

    // Scans up to (not including) the first character for which `stop` holds; empty when none was read.
    template<typename Stop> QString scanUpTo(Stop stop)
    {
        skipBlanks();
        const qsizetype start = m_position;
        while (m_position < m_text.size() && !stop(m_text.at(m_position)))
            ++m_position;
        return m_text.mid(start, m_position - start);
    }

    bool scanCharacter(QChar c)
    {
        skipBlanks();
        if (m_position < m_text.size() && m_text.at(m_position) == c) {
            ++m_position;
            return true;
        }
        return false;
    }

    // Consumes a line feed right here, without skipping blanks first.
    bool scanLineFeed()
    {
        if (m_position < m_text.size() && m_text.at(m_position) == QLatin1Char('\n')) {
            ++m_position;
            ++m_line;
            return true;
        }
        return false;
    }

    int line() const { return m_line; }

private:
    void skipBlanks()
    {
        while (m_position < m_text.size()) {
            const QChar c = m_text.at(m_position);
            if (c != QLatin1Char('\t') && c.category() != QChar::Separator_Space)
                break;
            ++m_position;
        }
    }

    const QString &m_text;
    qsizetype m_position = 0;
    int m_line = 1;
};

} // namespace

namespace SysInfoParser {

Result<QVariantMap> parse(const QString &text, const QString &path)
{
    const auto malformed = [&path](int line, const QString &reason) {
        return Error{Error::Malformed, QStringLiteral("%1: line %2: %3").arg(path).arg(line).arg(reason)};
    };
    QVariantMap information;
    LineScanner scanner(text);
    while (!scanner.isAtEnd()) {
        const int line = scanner.line();
        const QString key = scanner.scanUpTo([](QChar c) { return c == QLatin1Char(':') || c == QLatin1Char('\n'); });
        if (scanner.scanCharacter(QLatin1Char(':'))) {
            const QString value = scanner.scanUpTo([](QChar c) { return c == QLatin1Char('\n'); });
            if (key.isEmpty())
                return malformed(line, QStringLiteral("a value without a key"));
            if (value.isEmpty())
                return malformed(line, QStringLiteral("the key \"%1\" has no value").arg(key));
            information.insert(key, value);
        }
        scanner.scanLineFeed();
    }
    return information;
}

} // namespace SysInfoParser
