#include "CliRun.h"
#include "IPodFixture.h"
#include "TemporaryHome.h"

#include "core/Paths.h"
#include "core/PropertyList.h"
#include "core/UserDefaults.h"

#include <QDir>
#include <QProcess>
#include <QtTest>

// `tivaro defaults` and `tivaro prefs` as a user runs them, against real preference files; the
// plug-in is the Text Files bundle of the build tree.
class CliDefaultsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_home.isValid()); }
    void init();

    void typedValuesRoundTrip_data();
    void typedValuesRoundTrip();
    void readsTheWholeDomain();
    void otherKeysAreKept();
    void wrongInputChangesNothing_data();
    void wrongInputChangesNothing();
    void aCorruptFileIsKeptAside();
    void pluginPreferences();
    void parallelWritesKeepEveryKey_data();
    void parallelWritesKeepEveryKey();

private:
    static QString applicationFile() { return Paths::preferencesFileForDomain(UserDefaults::applicationDomain()); }
    static QString pluginFile()
    {
        return Paths::applicationSupportFolder() + "/Preferences/org.tivaro.plugins.textfiles.plist";
    }
    static QVariantMap stored(const QString &file) { return PropertyList::readFile(file).value_or(QVariant()).toMap(); }

    TemporaryHome m_home;
};

void CliDefaultsTest::init()
{
    QDir(Paths::preferencesFolder()).removeRecursively();
    QDir(Paths::applicationSupportFolder()).removeRecursively();
    m_home.writeApplicationPreferences({{"TVRSyncSN", "SERIAL1"}});
}

void CliDefaultsTest::typedValuesRoundTrip_data()
{
    QTest::addColumn<QStringList>("value");
    QTest::addColumn<QVariant>("stored");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("json");

    const QString xml = "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>syncAll</key><true/>"
                        "<key>tools</key><array><dict><key>tool</key><string>Text Files</string></dict></array>"
                        "</dict></plist>";
    QTest::newRow("-bool YES") << QStringList{"-bool", "YES"} << QVariant(true) << "1"
                               << "true";
    QTest::newRow("-bool false") << QStringList{"-bool", "false"} << QVariant(false) << "0"
                                 << "false";
    QTest::newRow("-int") << QStringList{"-int", "-42"} << QVariant(qint64(-42)) << "-42"
                          << "-42";
    QTest::newRow("-float") << QStringList{"-float", "2.5"} << QVariant(2.5) << "2.5"
                            << "2.5";
    QTest::newRow("-string") << QStringList{"-string", "-int"} << QVariant("-int") << "-int"
                             << "\"-int\"";
    QTest::newRow("-array") << QStringList{"-array", "a", "b c"} << QVariant(QVariantList{"a", "b c"})
                            << "(\n    a,\n    \"b c\"\n)"
                            << "[\n    \"a\",\n    \"b c\"\n]";
    QTest::newRow("empty -array") << QStringList{"-array"} << QVariant(QVariantList()) << "(\n)"
                                  << "[\n]";
    // Values of -dict and items of -array are typed by their look, unless a type flag comes first.
    QTest::newRow("-dict") << QStringList{"-dict", "tool", "Text Files", "sync", "YES"}
                           << QVariant(QVariantMap{{"tool", "Text Files"}, {"sync", true}})
                           << "{\n    sync = 1;\n    tool = \"Text Files\";\n}"
                           << "{\n    \"sync\": true,\n    \"tool\": \"Text Files\"\n}";
    QTest::newRow("-dict typed by look")
        << QStringList{"-dict", "syncAll", "yes",   "ejectAfterSync", "NO",  "a",     "True", "b", "false",
                       "count", "-3",      "ratio", "2.5e1",          "zip", "01234", "word", "1x"}
        << QVariant(QVariantMap{{"syncAll", true},
                                {"ejectAfterSync", false},
                                {"a", true},
                                {"b", false},
                                {"count", qint64(-3)},
                                {"ratio", 25.0},
                                {"zip", qint64(1234)},
                                {"word", "1x"}})
        << "{\n    a = 1;\n    b = 0;\n    count = -3;\n    ejectAfterSync = 0;\n    ratio = 25;\n    syncAll = "
           "1;\n    word = 1x;\n    zip = 1234;\n}"
        << "{\n    \"a\": true,\n    \"b\": false,\n    \"count\": -3,\n    \"ejectAfterSync\": false,\n    "
           "\"ratio\": 25,\n    \"syncAll\": true,\n    \"word\": \"1x\",\n    \"zip\": 1234\n}";
    QTest::newRow("-dict with type flags")
        << QStringList{"-dict", "note", "-string", "YES", "zip",    "-string", "01234",   "on",      "-bool",  "1",
                       "n",     "-int", "7",       "x",   "-float", "3",       "-string", "-string", "-string"}
        << QVariant(QVariantMap{
               {"note", "YES"}, {"zip", "01234"}, {"on", true}, {"n", qint64(7)}, {"x", 3.0}, {"-string", "-string"}})
        << "{\n    -string = -string;\n    n = 7;\n    note = YES;\n    on = 1;\n    x = 3;\n    zip = 01234;\n}"
        << "{\n    \"-string\": \"-string\",\n    \"n\": 7,\n    \"note\": \"YES\",\n    \"on\": true,\n    "
           "\"x\": 3,\n    \"zip\": \"01234\"\n}";
    QTest::newRow("-array typed by look") << QStringList{"-array", "NO", "12", "-string", "12", "Text Files", "0.5"}
                                          << QVariant(QVariantList{false, qint64(12), "12", "Text Files", 0.5})
                                          << "(\n    0,\n    12,\n    12,\n    \"Text Files\",\n    0.5\n)"
                                          << "[\n    false,\n    12,\n    \"12\",\n    \"Text Files\",\n    0.5\n]";
    QTest::newRow("bare word") << QStringList{"30"} << QVariant("30") << "30"
                               << "\"30\"";
    QTest::newRow("bare XML plist")
        << QStringList{xml}
        << QVariant(QVariantMap{{"syncAll", true}, {"tools", QVariantList{QVariantMap{{"tool", "Text Files"}}}}})
        << "{\n    syncAll = 1;\n    tools = (\n        {\n            tool = \"Text Files\";\n        }\n    );\n}"
        << "{\n    \"syncAll\": true,\n    \"tools\": [\n        {\n            \"tool\": \"Text Files\"\n        }\n  "
           "  ]\n}";
}

void CliDefaultsTest::typedValuesRoundTrip()
{
    QFETCH(QStringList, value);
    QFETCH(QVariant, stored);
    QFETCH(QString, text);
    QFETCH(QString, json);

    const CliRun written = CliRun::run(QStringList{"defaults", "write", "prefsNormalSync"} + value);
    QVERIFY2(written.exitCode == 0, qPrintable(written.err));
    QCOMPARE(this->stored(applicationFile()).value("prefsNormalSync"), stored);

    const CliRun read = CliRun::run({"defaults", "read", "prefsNormalSync"});
    QCOMPARE(read.exitCode, 0);
    QCOMPARE(read.out, text + "\n");
    const CliRun readJson = CliRun::run({"defaults", "read", "--json", "prefsNormalSync"});
    QCOMPARE(readJson.exitCode, 0);
    QCOMPARE(readJson.out, json + "\n");
}

void CliDefaultsTest::readsTheWholeDomain()
{
    m_home.writeApplicationPreferences({{"TVRSyncSN", "SERIAL1"}, {"DownloadTimeout", 30}});
    const CliRun text = CliRun::run({"defaults", "read"});
    QCOMPARE(text.exitCode, 0);
    QCOMPARE(text.out, QStringLiteral("{\n    DownloadTimeout = 30;\n    TVRSyncSN = SERIAL1;\n}\n"));
    const CliRun json = CliRun::run({"defaults", "read", "--json"});
    QCOMPARE(json.out, QStringLiteral("{\n    \"DownloadTimeout\": 30,\n    \"TVRSyncSN\": \"SERIAL1\"\n}\n"));
}

void CliDefaultsTest::otherKeysAreKept()
{
    QCOMPARE(CliRun::run({"defaults", "write", "DownloadTimeout", "-int", "45"}).exitCode, 0);
    QCOMPARE(stored(applicationFile()), (QVariantMap{{"TVRSyncSN", "SERIAL1"}, {"DownloadTimeout", qint64(45)}}));
    QCOMPARE(CliRun::run({"defaults", "delete", "TVRSyncSN"}).exitCode, 0);
    QCOMPARE(stored(applicationFile()), (QVariantMap{{"DownloadTimeout", qint64(45)}}));
    QCOMPARE(CliRun::run({"defaults", "delete"}).exitCode, 0);
    QCOMPARE(stored(applicationFile()), QVariantMap());
    QCOMPARE(CliRun::run({"defaults", "read"}).out, QStringLiteral("{\n}\n"));
}

void CliDefaultsTest::wrongInputChangesNothing_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("message");

    const QStringList write{"defaults", "write", "TVRSyncSN"};
    QTest::newRow("no verb") << QStringList{"defaults"} << 2 << "read, write or delete is missing";
    QTest::newRow("unknown verb") << QStringList{"defaults", "erase"} << 2 << "\"erase\" is not read, write";
    QTest::newRow("no value") << write << 2 << "write takes a KEY and a VALUE";
    QTest::newRow("not a boolean") << write + QStringList{"-bool", "maybe"} << 2 << "-bool takes YES, NO";
    QTest::newRow("not an integer") << write + QStringList{"-int", "1.5"} << 2 << "whole number";
    QTest::newRow("integer too large") << write + QStringList{"-int", "99999999999999999999"} << 2 << "whole number";
    QTest::newRow("not finite") << write + QStringList{"-float", "inf"} << 2 << "finite number";
    QTest::newRow("two strings") << write + QStringList{"-string", "a", "b"} << 2 << "exactly one value";
    QTest::newRow("odd -dict") << write + QStringList{"-dict", "tool"} << 2 << "pairs of KEY VALUE";
    QTest::newRow("-dict flag without value")
        << write + QStringList{"-dict", "note", "-string"} << 2 << "-string after \"note\" has no value";
    QTest::newRow("-array flag without value")
        << write + QStringList{"-array", "a", "-int"} << 2 << "-int after \"a\" has no value";
    QTest::newRow("-dict bad typed value")
        << write + QStringList{"-dict", "n", "-int", "many"} << 2 << "-int takes a whole number";
    QTest::newRow("nested -array") << write + QStringList{"-array", "a", "-array", "b"} << 2
                                   << "-array and -dict cannot hold another -array or -dict";
    QTest::newRow("unknown type") << write + QStringList{"-date", "today"} << 2 << "\"-date\" is not a type";
    QTest::newRow("broken XML") << write + QStringList{"<plist><dict>"} << 2 << "cannot be read";
    QTest::newRow("old-style text") << write + QStringList{"{ syncAll = 1; }"} << 2 << "old-style";
    QTest::newRow("empty key") << QStringList{"defaults", "write", "", "x"} << 2 << "KEY may not be empty";
    QTest::newRow("two keys") << QStringList{"defaults", "read", "a", "b"} << 2 << "at most one KEY";
    QTest::newRow("read missing key") << QStringList{"defaults", "read", "nope"} << 1
                                      << "no value for the key \"nope\"";
    QTest::newRow("delete missing key") << QStringList{"defaults", "delete", "nope"} << 1 << "nothing was changed";
    QTest::newRow("unknown plug-in") << QStringList{"prefs", "Nope", "read"} << 1
                                     << "there is no plug-in \"Nope\"; the plug-ins are: News, Text Files";
    QTest::newRow("plug-in without verb") << QStringList{"prefs", "Text Files"} << 2 << "read, write or delete";
}

void CliDefaultsTest::wrongInputChangesNothing()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, exitCode);
    QFETCH(QString, message);

    const QByteArray before = IPodFixture::readFile(applicationFile());
    const CliRun result = CliRun::run(arguments);
    QCOMPARE(result.exitCode, exitCode);
    QVERIFY2(result.err.contains(message), qPrintable(result.err));
    if (exitCode == 2)
        QVERIFY2(result.err.contains("Usage:"), qPrintable(result.err));
    QCOMPARE(IPodFixture::readFile(applicationFile()), before);
}

void CliDefaultsTest::aCorruptFileIsKeptAside()
{
    IPodFixture::writeFile(Paths::preferencesFolder(), QFileInfo(applicationFile()).fileName(), "not a plist");
    const CliRun read = CliRun::run({"defaults", "read"});
    QCOMPARE(read.exitCode, 1);
    QVERIFY2(read.err.contains("cannot read " + applicationFile()), qPrintable(read.err));

    // Deleting every key of a file whose keys cannot be read deletes nothing, and says so.
    const CliRun deleteAll = CliRun::run({"defaults", "delete"});
    QCOMPARE(deleteAll.exitCode, 1);
    QVERIFY2(deleteAll.err.contains("could not be read (not a property list); nothing was changed"),
             qPrintable(deleteAll.err));
    QCOMPARE(IPodFixture::readFile(applicationFile()), QByteArray("not a plist"));

    const CliRun write = CliRun::run({"defaults", "write", "TVRSyncSN", "SERIAL2"});
    QCOMPARE(write.exitCode, 0);
    QVERIFY2(write.err.contains("could not be read"), qPrintable(write.err));
    QCOMPARE(stored(applicationFile()), (QVariantMap{{"TVRSyncSN", "SERIAL2"}}));
    const QStringList kept = QDir(Paths::preferencesFolder()).entryList({"*.corrupt-*"});
    QCOMPARE(kept.size(), 1);
    QCOMPARE(IPodFixture::readFile(Paths::preferencesFolder() + "/" + kept.constFirst()), QByteArray("not a plist"));
}

void CliDefaultsTest::pluginPreferences()
{
    const CliRun written = CliRun::run({"prefs", "Text Files", "write", "folder", "-string", "~/Texts"});
    QVERIFY2(written.exitCode == 0, qPrintable(written.err));
    QCOMPARE(stored(pluginFile()), (QVariantMap{{"folder", "~/Texts"}}));
    // By bundle identifier too; the application's preferences are another file.
    QCOMPARE(CliRun::run({"prefs", "org.tivaro.plugins.textfiles", "read", "folder"}).out, QStringLiteral("~/Texts\n"));
    QCOMPARE(stored(applicationFile()), (QVariantMap{{"TVRSyncSN", "SERIAL1"}}));

    QCOMPARE(CliRun::run({"prefs", "Text Files", "write", "limit", "-int", "3"}).exitCode, 0);
    QCOMPARE(CliRun::run({"prefs", "Text Files", "delete", "folder"}).exitCode, 0);
    QCOMPARE(stored(pluginFile()), (QVariantMap{{"limit", qint64(3)}}));
    const CliRun help = CliRun::run({"prefs", "--help"});
    QCOMPARE(help.exitCode, 0);
    QVERIFY(help.out.contains("bundle identifier"));
}

void CliDefaultsTest::parallelWritesKeepEveryKey_data()
{
    QTest::addColumn<QStringList>("command");
    QTest::addColumn<QString>("file");
    QTest::newRow("defaults") << QStringList{"defaults"} << applicationFile();
    QTest::newRow("prefs") << QStringList{"prefs", "Text Files"} << pluginFile();
}

// Ten programs writing one key each at the same time: every key is there afterwards, and so is the
// one that was there before.
void CliDefaultsTest::parallelWritesKeepEveryKey()
{
    QFETCH(QStringList, command);
    QFETCH(QString, file);
    QVERIFY(QDir().mkpath(QFileInfo(file).absolutePath()));
    QVERIFY(PropertyList::writeFile(file, QVariantMap{{"before", "kept"}}));
    constexpr int kWriters = 10;
    std::vector<std::unique_ptr<QProcess>> writers;
    for (int i = 0; i < kWriters; ++i) {
        writers.push_back(std::make_unique<QProcess>());
        writers.back()->start(qEnvironmentVariable("TIVARO_CLI"),
                              command + QStringList{"write", QString("key%1").arg(i), QString("value%1").arg(i)});
    }
    for (const auto &writer : writers) {
        QVERIFY(writer->waitForFinished(60000));
        QVERIFY2(writer->exitCode() == 0, writer->readAllStandardError().constData());
    }
    QVariantMap expected{{"before", "kept"}};
    for (int i = 0; i < kWriters; ++i)
        expected.insert(QString("key%1").arg(i), QString("value%1").arg(i));
    QCOMPARE(stored(file), expected);
}

QTEST_MAIN(CliDefaultsTest)
#include "tst_cli_defaults.moc"
