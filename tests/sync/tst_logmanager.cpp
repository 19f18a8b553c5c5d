#include "sync/LogManager.h"

#include <QDataStream>
#include <QTest>
#include <QTimeZone>

#include <algorithm>
#include <functional>

namespace {

TextAttributes helvetica(double size, bool bold, std::optional<QColor> color = {})
{
    return TextAttributes{"Helvetica", bold, bold ? 5 : 0, size, color, QUrl(), 0};
}

// A log of each kind of line, started at a moment with milliseconds, off UTC.
std::shared_ptr<LogManager> sampleLog()
{
    auto log = LogManager::sharedManager();
    log->setStartingDate(QDateTime(QDate(2026, 11, 21), QTime(14, 3, 12, 345), QTimeZone(3600)));
    log->appendToolHeading("Notes");
    log->appendBigHeading("iPod «Anna»");
    log->appendSmallHeading("Feeds {1}");
    log->appendLog("Wrote 3 notes \\ 2 pages.");
    log->appendWarning("Slow 🎵 feed");
    log->appendError("iPod full");
    log->appendError("Second error");
    return log;
}

// A real archive's header (its magic number) followed by these fields.
QByteArray archiveOf(quint16 format, const QByteArray &rtf, qint32 errors, const QByteArray &trailing = {},
                     const QDateTime &date = QDateTime::currentDateTimeUtc())
{
    QByteArray bytes = sampleLog()->archive().left(4);
    QDataStream out(&bytes, QIODevice::Append);
    out.setVersion(QDataStream::Qt_6_0);
    out << format << date << rtf << errors;
    return bytes + trailing;
}

} // namespace

Q_DECLARE_METATYPE(TextAttributes)

class TestLogManager : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void appendsInTheirStyle_data()
    {
        QTest::addColumn<int>("kind");
        QTest::addColumn<TextAttributes>("style");
        QTest::addColumn<int>("errors");
        QTest::newRow("big heading") << 0 << helvetica(14, true) << 0;
        QTest::newRow("small heading") << 1 << helvetica(10, true) << 0;
        QTest::newRow("log") << 2 << helvetica(10, false) << 0;
        QTest::newRow("error") << 3 << helvetica(10, false, QColor(255, 0, 0)) << 2;
        QTest::newRow("warning") << 4 << helvetica(10, false, QColor(255, 128, 0)) << 0;
        QTest::newRow("plug-in append") << 5 << helvetica(10, false) << 0;
    }

    void appendsInTheirStyle()
    {
        QFETCH(int, kind);
        QFETCH(TextAttributes, style);
        LogManager log;
        // The text is live: a reference taken first sees every append.
        const AttributedString &text = log.logAttributedString();
        const std::function<void(const QString &)> appends[] = {
            [&](const QString &s) { log.appendBigHeading(s); }, [&](const QString &s) { log.appendSmallHeading(s); },
            [&](const QString &s) { log.appendLog(s); },        [&](const QString &s) { log.appendError(s); },
            [&](const QString &s) { log.appendWarning(s); },    [&](const QString &s) { log.append(s, 1, "x"); }};
        appends[kind]("one");
        appends[kind]("two");
        QCOMPARE(text.string(), QString("one\rtwo\r"));
        QCOMPARE(text.runs().size(), 1);
        QVERIFY(text.runs().first().attributes == style);
        QTEST(int(log.errorCount()), "errors");
        QCOMPARE(log.entries().size(), 2);
        QCOMPARE(log.entries().last().text, QString("two"));
    }

    // What programs read instead of styles: every append as its kind and text.
    void entriesAsData()
    {
        const auto log = sampleLog();
        using Kind = LogManager::EntryKind;
        const QList<LogManager::Entry> expected{
            {Kind::ToolHeading, "Notes"},      {Kind::BigHeading, "iPod «Anna»"},
            {Kind::SmallHeading, "Feeds {1}"}, {Kind::Text, "Wrote 3 notes \\ 2 pages."},
            {Kind::Warning, "Slow 🎵 feed"},    {Kind::Error, "iPod full"},
            {Kind::Error, "Second error"},
        };
        QCOMPARE(log->entries(), expected);
        QCOMPARE(log->entries(Kind::Error), QStringList({"iPod full", "Second error"}));

        // A second tool heading's blank line before it is no part of its entry.
        log->appendToolHeading("Contacts");
        QCOMPARE(log->entries().last(), (LogManager::Entry{Kind::ToolHeading, "Contacts"}));
        QVERIFY(log->logAttributedString().string().endsWith("Second error\r\rContacts\r"));
        log->append("plug-in line", 1, "x");
        QCOMPARE(log->entries().last(), (LogManager::Entry{Kind::Text, "plug-in line"}));
        QCOMPARE(log->entries(Kind::Warning), QStringList({"Slow 🎵 feed"}));
    }

    void sharedManagerToolHeadingsAndOrder()
    {
        const auto first = LogManager::sharedManager();
        const auto second = LogManager::sharedManager();
        QVERIFY(first != second);
        QVERIFY(qAbs(first->startingDate().secsTo(QDateTime::currentDateTime())) < 60);

        // Only the first tool heading goes without a blank line (in the heading's style) before it.
        first->appendToolHeading("Notes");
        first->appendLog("done");
        first->appendToolHeading("Contacts");
        const AttributedString &text = first->logAttributedString();
        QCOMPARE(text.string(), QString("Notes\rdone\r\rContacts\r"));
        QCOMPARE(text.runs().size(), 3);
        QCOMPARE(text.runs().at(2).start, 11);
        QVERIFY(text.runs().at(2).attributes == helvetica(14, true, QColor(0, 0, 255)));
        QVERIFY(second->logAttributedString().isEmpty());

        // Newest first.
        const auto third = LogManager::sharedManager();
        first->setStartingDate(second->startingDate().addSecs(-60));
        third->setStartingDate(second->startingDate().addSecs(60));
        QList<std::shared_ptr<LogManager>> logs{first, second, third};
        std::sort(logs.begin(), logs.end(), [](const auto &a, const auto &b) { return a->compare(*b) < 0; });
        QCOMPARE(logs, (QList<std::shared_ptr<LogManager>>{third, second, first}));
        QVERIFY(first->compare(*second) > 0);
        QCOMPARE(second->compare(*second), 0);
    }

    void archiveRoundTrip()
    {
        const auto original = sampleLog();
        const Result<std::shared_ptr<LogManager>> read = LogManager::fromArchive(original->archive());
        QVERIFY2(read, qPrintable(read.errorString()));
        const std::shared_ptr<LogManager> &decoded = *read;
        QCOMPARE(decoded->logAttributedString().string(), original->logAttributedString().string());
        QVERIFY(decoded->logAttributedString() == original->logAttributedString());
        // The same moment, to the millisecond.
        QCOMPARE(decoded->startingDate(), original->startingDate());
        QCOMPARE(decoded->errorCount(), 2);
        // Each line comes back as an entry of the kind its style says.
        QCOMPARE(decoded->entries(), original->entries());

        // A decoded log has no styles: whatever is appended to it carries no attributes.
        QVERIFY(decoded->styles() == LogManager::Styles());
        decoded->appendError("after reading");
        QCOMPARE(decoded->errorCount(), 3);
        QVERIFY(decoded->logAttributedString().runs().last().attributes.isEmpty());
    }

    void refusesBrokenArchives_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("reason");
        const QByteArray good = sampleLog()->archive();
        const QByteArray rtf = "{\\rtf1 text}";
        QTest::newRow("empty") << QByteArray() << "empty";
        QTest::newRow("foreign bytes") << QByteArray("bplist00\xd1\x01\x02") << "not an archived sync log";
        QTest::newRow("cut in the header") << good.left(5) << "not an archived sync log";
        QTest::newRow("cut in the date") << good.left(10) << "cut short";
        QTest::newRow("cut in the count") << good.chopped(1) << "cut short";
        QTest::newRow("later format") << archiveOf(2, rtf, 0) << "format 2";
        QTest::newRow("bytes past the end") << archiveOf(1, rtf, 0, "x") << "past its end";
        QTest::newRow("invalid date") << archiveOf(1, rtf, 0, {}, QDateTime()) << "no valid starting date";
        QTest::newRow("negative count") << archiveOf(1, rtf, -1) << "-1 errors";
        QTest::newRow("text not RTF") << archiveOf(1, "plain text", 0) << "not RTF";
    }

    void refusesBrokenArchives()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, reason);
        const Result<std::shared_ptr<LogManager>> read = LogManager::fromArchive(bytes);
        QVERIFY(!read);
        QCOMPARE(read.error().code, Error::Malformed);
        QVERIFY2(read.errorString().contains(reason), qPrintable(read.errorString()));
    }
};

QTEST_GUILESS_MAIN(TestLogManager)
#include "tst_logmanager.moc"
