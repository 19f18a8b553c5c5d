#include "LogManager.h"

#include "core/RtfReader_p.h"
#include "core/RtfWriter_p.h"

#include <QColor>
#include <QDataStream>
#include <QIODevice>

namespace {

// "TVLG" and a format number ahead of the stream, so that foreign bytes and archives from a later
// format are told apart from damaged ones.
constexpr quint32 kMagic = 0x54564C47;
constexpr quint16 kFormat = 1;
// Fixed, so archives written by one Qt read the same under the next.
constexpr QDataStream::Version kStreamVersion = QDataStream::Qt_6_0;

TextAttributes helvetica(double pointSize, bool bold, const std::optional<QColor> &color = std::nullopt)
{
    TextAttributes style;
    style.fontName = QStringLiteral("Helvetica");
    style.bold = bold;
    // The font manager's weight of a bold face.
    style.weight = bold ? 5 : 0;
    style.pointSize = pointSize;
    style.color = color;
    return style;
}

} // namespace

LogManager::LogManager()
    : m_startingDate(QDateTime::currentDateTime())
{
    m_styles.bigHeading = helvetica(14, true);
    m_styles.smallHeading = helvetica(10, true);
    m_styles.toolHeading = helvetica(14, true, QColor(0, 0, 255));
    m_styles.log = helvetica(10, false);
    m_styles.error = helvetica(10, false, QColor(255, 0, 0));
    m_styles.warning = helvetica(10, false, QColor(255, 128, 0));
}

LogManager::LogManager(Unstyled)
{}

std::shared_ptr<LogManager> LogManager::sharedManager()
{
    return std::make_shared<LogManager>();
}

void LogManager::appendLine(EntryKind kind, const QString &string, const TextAttributes &style)
{
    m_astr.append(string + QLatin1Char('\r'), style);
    m_entries.append(Entry{kind, string});
}

QStringList LogManager::entries(EntryKind kind) const
{
    QStringList texts;
    for (const Entry &entry : m_entries) {
        if (entry.kind == kind)
            texts.append(entry.text);
    }
    return texts;
}

void LogManager::appendBigHeading(const QString &string)
{
    appendLine(EntryKind::BigHeading, string, m_styles.bigHeading);
}

void LogManager::appendSmallHeading(const QString &string)
{
    appendLine(EntryKind::SmallHeading, string, m_styles.smallHeading);
}

void LogManager::appendLog(const QString &string)
{
    appendLine(EntryKind::Text, string, m_styles.log);
}

void LogManager::appendError(const QString &string)
{
    ++m_errors;
    appendLine(EntryKind::Error, string, m_styles.error);
}

void LogManager::appendWarning(const QString &string)
{
    appendLine(EntryKind::Warning, string, m_styles.warning);
}

void LogManager::appendToolHeading(const QString &string)
{
    if (!m_astr.isEmpty())
        m_astr.append(QStringLiteral("\r"), m_styles.toolHeading);
    appendLine(EntryKind::ToolHeading, string, m_styles.toolHeading);
}

void LogManager::append(const QString &string, const QVariant &note, const QVariant &sender)
{
    Q_UNUSED(note);
    Q_UNUSED(sender);
    appendLog(string);
}

int LogManager::compare(const LogManager &other) const
{
    // The other's date against this one's: the later start comes first.
    if (other.m_startingDate < m_startingDate)
        return -1;
    if (m_startingDate < other.m_startingDate)
        return 1;
    return 0;
}

QByteArray LogManager::archive() const
{
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    out.setVersion(kStreamVersion);
    // In UTC, so a log reads back as the same moment wherever the time zone has moved since.
    out << kMagic << kFormat << m_startingDate.toUTC() << RtfWriter::toRtf(m_astr) << m_errors;
    return bytes;
}

Result<std::shared_ptr<LogManager>> LogManager::fromArchive(const QByteArray &bytes)
{
    const auto fail = [](const QString &reason) { return Error{Error::Malformed, reason}; };
    if (bytes.isEmpty())
        return fail(QStringLiteral("the archived log is empty"));
    QDataStream in(bytes);
    in.setVersion(kStreamVersion);
    quint32 magic = 0;
    quint16 format = 0;
    in >> magic >> format;
    if (in.status() != QDataStream::Ok || magic != kMagic)
        return fail(QStringLiteral("not an archived sync log"));
    if (format != kFormat)
        return fail(QStringLiteral("an archived sync log of format %1, which this version cannot read").arg(format));

    QDateTime date;
    QByteArray rtf;
    qint32 errors = 0;
    in >> date >> rtf >> errors;
    if (in.status() != QDataStream::Ok)
        return fail(QStringLiteral("the archived log is cut short or damaged"));
    if (!in.atEnd())
        return fail(QStringLiteral("the archived log has bytes past its end"));
    if (!date.isValid())
        return fail(QStringLiteral("the archived log has no valid starting date"));
    if (errors < 0)
        return fail(QStringLiteral("the archived log counts %1 errors").arg(errors));
    Result<AttributedString> text = RtfReader::fromRtf(rtf);
    if (!text)
        return fail(QStringLiteral("the text of the archived log is unreadable: %1").arg(text.error().message));

    auto log = std::shared_ptr<LogManager>(new LogManager(Unstyled{}));
    log->m_startingDate = date;
    log->m_astr = std::move(*text);
    log->m_errors = errors;
    log->readEntriesFromText();
    return log;
}

void LogManager::readEntriesFromText()
{
    // The archive keeps only the styled text, so the kind of each line comes back from the style it
    // was written in. A heading's blank line before it is no line of its own.
    const Styles written = LogManager().m_styles;
    const std::pair<const TextAttributes *, EntryKind> kinds[] = {
        {&written.bigHeading, EntryKind::BigHeading},   {&written.smallHeading, EntryKind::SmallHeading},
        {&written.toolHeading, EntryKind::ToolHeading}, {&written.log, EntryKind::Text},
        {&written.warning, EntryKind::Warning},         {&written.error, EntryKind::Error},
    };
    for (const AttributedString::Run &run : m_astr.runs()) {
        EntryKind kind = EntryKind::Text;
        for (const auto &[style, styleKind] : kinds) {
            if (run.attributes == *style)
                kind = styleKind;
        }
        const QStringList lines = m_astr.string().mid(run.start, run.length).split(QLatin1Char('\r'));
        for (const QString &line : lines) {
            if (!line.isEmpty())
                m_entries.append(Entry{kind, line});
        }
    }
}
