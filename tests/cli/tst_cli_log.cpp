#include "CliRun.h"
#include "TemporaryHome.h"

#include "core/PropertyList.h"
#include "sync/LogManager.h"
#include "sync/SyncLogFile.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QStandardPaths>
#include <QtTest>

namespace {

const QDateTime kFirstStart(QDate(2026, 1, 2), QTime(3, 4, 5, 678));

// The three logs the tests keep, as `tivaro log` prints each of them.
const QStringList kPrinted{
    "Sync of 2026-01-02 03:04:05 — no errors\nNotes\nWrote 3 notes.\nline\nbreak",
    "Sync of 2026-01-03 03:04:05 — 1 error\niPod full",
    "Sync of 2026-01-04 03:04:05 — 2 errors\nSlow feed\nNo iPod\nNo disk",
};

} // namespace

// `tivaro log` run as a user runs it, on a sync log written by the framework itself.
class CliLogTest : public QObject
{
    Q_OBJECT

    // What the sync log file holds before the command runs.
    enum Log { NoFile, EmptyList, NotALog, Samples };

    std::unique_ptr<TemporaryHome> m_home;

    void appendSampleLogs()
    {
        LogManager first;
        first.setStartingDate(kFirstStart);
        first.appendToolHeading("Notes");
        first.appendLog("Wrote 3 notes.");
        first.appendLog("line\nbreak");
        LogManager second;
        second.setStartingDate(kFirstStart.addDays(1));
        second.appendError("iPod full");
        LogManager third;
        third.setStartingDate(kFirstStart.addDays(2));
        third.appendWarning("Slow feed");
        third.appendError("No iPod");
        third.appendError("No disk");
        for (const LogManager *log : {&first, &second, &third})
            QVERIFY(SyncLogFile::append(log->archive()));
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY2(QFileInfo::exists(qEnvironmentVariable("TIVARO_CLI")), "TIVARO_CLI names the tivaro program");
    }

    // The old home goes first: it restores the environment that the new one then replaces.
    void init()
    {
        m_home.reset();
        m_home = std::make_unique<TemporaryHome>();
    }

    void printsText_data()
    {
        QTest::addColumn<int>("log");
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("out");
        QTest::addColumn<QString>("err");
        // The logs from the `from`th on, oldest first, a blank line between them.
        const auto printed = [](int from) { return kPrinted.mid(from).join("\n\n") + '\n'; };
        const QString noLog = "No sync log yet.\n";
        const QString none;
        QTest::newRow("no file") << int(NoFile) << QStringList{"log"} << 0 << noLog << none;
        QTest::newRow("empty list") << int(EmptyList) << QStringList{"log", "--last", "3"} << 0 << noLog << none;
        QTest::newRow("empty list as JSON") << int(EmptyList) << QStringList{"log", "--json"} << 0 << "[\n]\n" << none;
        QTest::newRow("not a sync log") << int(NotALog) << QStringList{"log"} << 1 << none
                                        << "SyncLog.plist is not a sync log: a property list, but not an array\n";
        QTest::newRow("all") << int(Samples) << QStringList{"log"} << 0 << printed(0) << none;
        QTest::newRow("last 1") << int(Samples) << QStringList{"log", "--last", "1"} << 0 << printed(2) << none;
        QTest::newRow("last 2") << int(Samples) << QStringList{"log", "--last=2"} << 0 << printed(1) << none;
        QTest::newRow("last beyond the count")
            << int(Samples) << QStringList{"log", "--last", "10"} << 0 << printed(0) << none;
        QTest::newRow("last 0") << int(Samples) << QStringList{"log", "--last", "0"} << 2 << none
                                << "--last takes a positive number, not \"0\"\n";
        QTest::newRow("last not a number") << int(Samples) << QStringList{"log", "--last", "x"} << 2 << none
                                           << "--last takes a positive number, not \"x\"\n";
        QTest::newRow("stray argument") << int(Samples) << QStringList{"log", "more"} << 2 << none
                                        << "log takes no arguments\n";
    }

    void printsText()
    {
        QFETCH(int, log);
        QFETCH(QStringList, arguments);
        QFETCH(QString, err);
        if (log == Samples) {
            appendSampleLogs();
        } else if (log != NoFile) {
            QDir().mkpath(QFileInfo(SyncLogFile::path()).path());
            const QVariant file = log == EmptyList ? QVariant(QVariantList()) : QVariantMap{{"Notes", true}};
            QVERIFY(PropertyList::writeFile(SyncLogFile::path(), file));
        }
        const CliRun result = CliRun::run(arguments);
        QTEST(result.exitCode, "exitCode");
        QTEST(result.out, "out");
        QVERIFY2(err.isEmpty() ? result.err.isEmpty() : (result.err.endsWith(err) && result.err.count('\n') == 1),
                 qPrintable(result.err));
    }

    void printsJson()
    {
        appendSampleLogs();
        const CliRun result = CliRun::run({"log", "--json", "--last", "2"});
        QCOMPARE(result.exitCode, 0);
        const QJsonArray logs = QJsonDocument::fromJson(result.out.toUtf8()).array();
        QCOMPARE(logs.size(), 2);
        const QJsonObject third = logs.at(1).toObject();
        QCOMPARE(third["entry"].toInt(), 3);
        QCOMPARE(third["date"].toString(), kFirstStart.addDays(2).toUTC().toString(Qt::ISODateWithMs));
        QCOMPARE(third["errorCount"].toInt(), 2);
        QCOMPARE(third["text"].toString(), QString("Slow feed\nNo iPod\nNo disk\n"));
        const QJsonArray runs = third["runs"].toArray();
        QCOMPARE(runs.size(), 2);
        const QJsonObject warning{{"start", 0},    {"length", 10}, {"font", "Helvetica"},
                                  {"bold", false}, {"size", 10},   {"color", "#ff8000"}};
        QCOMPARE(runs.at(0).toObject(), warning);
        QCOMPARE(runs.at(1).toObject()["color"].toString(), QString("#ff0000"));
    }

    void stylesForATerminal()
    {
        const QString script = QStandardPaths::findExecutable("script");
        if (script.isEmpty())
            QSKIP("script (util-linux), which gives the program a terminal, is not installed");
        appendSampleLogs();
        QProcess process;
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.start(script, {"-qec", qEnvironmentVariable("TIVARO_CLI") + " log --last 3", "/dev/null"});
        QVERIFY(process.waitForFinished(60000));
        const QString out = QString::fromUtf8(process.readAll()).remove('\r');
        // Bold headings, the tool heading blue, warnings orange and errors red, each reset at the line end.
        for (const char *styled :
             {"\x1b[1;34mNotes\x1b[0m\n", "\x1b[1mSync of 2026-01-03 03:04:05 — 1 error\x1b[0m\n",
              "\x1b[38;5;208mSlow feed\x1b[0m\n", "\x1b[31mNo iPod\x1b[0m\n", "\nWrote 3 notes.\n"})
            QVERIFY2(out.contains(QString::fromUtf8(styled)), qPrintable(out.toUtf8().toPercentEncoding(" \n")));
    }

    void goesOnPastAnUnreadableEntry()
    {
        appendSampleLogs();
        QVERIFY(SyncLogFile::append("not an archive"));
        LogManager last;
        last.setStartingDate(kFirstStart.addDays(3));
        last.appendLog("after the damage");
        QVERIFY(SyncLogFile::append(last.archive()));

        const CliRun result = CliRun::run({"log", "--last", "3"});
        QCOMPARE(result.exitCode, 1);
        QCOMPARE(result.out, kPrinted.at(2) + "\n\nSync of 2026-01-05 03:04:05 — no errors\nafter the damage\n");
        QCOMPARE(result.err, QString("tivaro: warning: sync log entry 4 cannot be read: not an archived sync log\n"));
        QCOMPARE(CliRun::run({"log", "--json"}).exitCode, 1);
    }
};

QTEST_GUILESS_MAIN(CliLogTest)
#include "tst_cli_log.moc"
