#pragma once

#include "tivaro_export.h"

#include "core/AttributedString.h"
#include "core/Result.h"
#include "core/TextAttributes.h"

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QString>
#include <QVariant>

#include <memory>

// The styled text log of one sync: headings for each tool, lines of progress, warnings and errors,
// and how many errors there were. The sync shows it while it runs and keeps it afterwards in the
// sync log file (SyncLogFile) as archive() bytes.
//
// A log belongs to the thread that uses it and is not locked: hand it to another thread only
// together with the work that writes to it.
class TIVARO_EXPORT LogManager
{
public:
    // The style of each kind of line. A log read back from an archive has none: every one is empty.
    struct Styles {
        // Kept for the iPod's own heading; nothing fills it yet.
        TextAttributes ipodHeading;
        TextAttributes bigHeading;
        TextAttributes smallHeading;
        TextAttributes toolHeading;
        TextAttributes log;
        TextAttributes error;
        TextAttributes warning;
        bool operator==(const Styles &) const = default;
    };

    // What a line of the log is, one kind to each style.
    enum class EntryKind { BigHeading, SmallHeading, ToolHeading, Text, Warning, Error };

    // One append as data, beside the styled text: programs read errors from here, not from styles.
    struct Entry {
        EntryKind kind = EntryKind::Text;
        // The string as appended, without the log's line breaks around it.
        QString text;
        bool operator==(const Entry &) const = default;
    };

    // An empty log started now, with the styles filled.
    LogManager();

    // Despite its name, a new log on every call: each sync writes a log of its own.
    static std::shared_ptr<LogManager> sharedManager();

    // Each appends `string` and a "\r" (the log's line break) in its style.
    void appendBigHeading(const QString &string);
    void appendSmallHeading(const QString &string);
    void appendLog(const QString &string);
    // Also counts the error.
    void appendError(const QString &string);
    void appendWarning(const QString &string);
    // "\r" (unless the log is still empty), `string`, "\r": a blank line before every heading but
    // the first.
    void appendToolHeading(const QString &string);
    // appendLog for plug-ins, which pass what the line is about and who wrote it; both are ignored.
    void append(const QString &string, const QVariant &note, const QVariant &sender);

    qint32 errorCount() const { return m_errors; }
    // The live text, for showing while the sync runs; it changes with every append.
    AttributedString &logAttributedString() { return m_astr; }
    const AttributedString &logAttributedString() const { return m_astr; }
    const Styles &styles() const { return m_styles; }
    // Every append in order. For a log read back from an archive, one entry for each line of the
    // text, of the kind its style was written in (lines in no known style are Text).
    const QList<Entry> &entries() const { return m_entries; }
    // The texts of the entries of one kind, in order.
    QStringList entries(EntryKind kind) const;

    QDateTime startingDate() const { return m_startingDate; }
    void setStartingDate(const QDateTime &date) { m_startingDate = date; }

    // Orders logs newest first, like QString::compare: negative when this log started later than
    // `other` (so it sorts before it), zero for the same moment, positive when it started earlier.
    int compare(const LogManager &other) const;

    // The log as bytes for the sync log file, one QDataStream in the fixed Qt 6.0 format: the quint32
    // "TVLG", the quint16 format number 1, the starting date (QDateTime, in UTC), the text as RTF
    // (QByteArray, RtfWriter) and the error count (qint32).
    QByteArray archive() const;
    // The log archive() wrote, without styles; an error for bytes that are none.
    static Result<std::shared_ptr<LogManager>> fromArchive(const QByteArray &bytes);

private:
    struct Unstyled {};
    explicit LogManager(Unstyled);

    void appendLine(EntryKind kind, const QString &string, const TextAttributes &style);
    void readEntriesFromText();

    QDateTime m_startingDate;
    AttributedString m_astr;
    Styles m_styles;
    QList<Entry> m_entries;
    qint32 m_errors = 0;
};
