#include "CliRun.h"
#include "IPodFixture.h"
#include "TemporaryHome.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QtTest>

// The `tivaro` program as a user runs it: real process, real files, a described mount table.
class CliTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void usageErrors_data();
    void usageErrors();
    void listsiPodsAsJson();
    void listsiPodsAsText();
    void describesOneiPod();
    void refusesPathsThatAreNoiPod_data();
    void refusesPathsThatAreNoiPod();
    void writesANote();
    void noteWriteFailures_data();
    void noteWriteFailures();
    void writesAndRemovesContacts();

private:
    void mountTable(const QList<QStringList> &mounts);

    TemporaryHome m_home;
    QTemporaryDir m_folder;
    QString m_iPod;
    QString m_shuffle;
};

void CliTest::initTestCase()
{
    QVERIFY2(QFileInfo::exists(qEnvironmentVariable("TIVARO_CLI")), "TIVARO_CLI names the tivaro program");
    m_iPod = IPodFixture::createWithFamily(m_folder.path() + "/Nano", 7, "NANO1");
    m_shuffle = IPodFixture::createWithFamily(m_folder.path() + "/Shuffle", 128, QString());
}

void CliTest::init()
{
    QDir(m_iPod + "/Notes").removeRecursively();
    QDir(m_iPod + "/Contacts").removeRecursively();
    QFile::remove(m_iPod + "/Notes");
    m_home.writeApplicationPreferences({});
    mountTable({});
}

void CliTest::mountTable(const QList<QStringList> &mounts)
{
    const QString path = m_folder.path() + "/mountinfo";
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write("1 0 8:1 / / rw,relatime shared:1 - ext4 /dev/sda1 rw\n" + IPodFixture::mountInfo(mounts));
    file.close();
    qputenv("TIVARO_MOUNTINFO", QFile::encodeName(path));
}

void CliTest::usageErrors_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("message");
    QTest::newRow("no command") << QStringList{} << 2 << "Usage: tivaro";
    QTest::newRow("unknown command") << QStringList{"frobnicate"} << 2 << "unknown command \"frobnicate\"";
    QTest::newRow("unknown option") << QStringList{"ipods", "--colour"} << 2 << "Unknown option 'colour'";
    QTest::newRow("missing name") << QStringList{"note", "write", "--ipod", "/x"} << 2 << "needs --name";
    QTest::newRow("bad encoding") << QStringList{"note", "write", "--ipod", "/x", "--name", "n", "--encoding", "latin1"}
                                  << 2 << "--encoding is utf8 or utf16";
    QTest::newRow("two paths") << QStringList{"ipod", "info", "/a", "/b"} << 2 << "exactly one PATH";
    QTest::newRow("ipods with arguments") << QStringList{"ipods", "extra"} << 2 << "ipods takes no arguments";
    QTest::newRow("contacts name with a slash")
        << QStringList{"contacts", "remove", "--ipod", "/x", "--name", "a/b"} << 2 << "cannot hold \"/\"";
    QTest::newRow("contacts without title")
        << QStringList{"contacts", "write", "--ipod", "/x", "--name", "n"} << 2 << "needs --title";
}

void CliTest::usageErrors()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, exitCode);
    QFETCH(QString, message);
    const CliRun result = CliRun::run(arguments);
    QCOMPARE(result.exitCode, exitCode);
    QVERIFY2((result.out + result.err).contains(message), qPrintable(result.out + result.err));
}

void CliTest::listsiPodsAsJson()
{
    const QString mac = IPodFixture::createWithFamily(m_folder.path() + "/MacPod", 6, "MAC1");
    mountTable({{m_shuffle, "vfat"}, {m_iPod, "fuse.fusefat"}, {mac, "hfsplus", "ro"}});
    IPodFixture::writeFile(m_iPod, "Notes/a.txt", "a");
    const CliRun result = CliRun::run({"ipods", "--json"});
    QCOMPARE(result.exitCode, 0);
    const QJsonObject root = QJsonDocument::fromJson(result.out.toUtf8()).object();
    const QJsonArray iPods = root.value("iPods").toArray();
    QCOMPARE(iPods.size(), 2);
    const QJsonObject nano = iPods.at(0).toObject();
    QCOMPARE(nano.value("name").toString(), QString("Nano"));
    QCOMPARE(nano.value("path").toString(), m_iPod);
    QCOMPARE(nano.value("iPodFamily").toInt(), 7);
    QCOMPARE(nano.value("iPodFamilyDescription").toString(), QString("iPod nano"));
    QCOMPARE(nano.value("serialNumber").toString(), QString("NANO1"));
    QCOMPARE(nano.value("numberOfNotes").toInt(), 1);
    QCOMPARE(nano.value("numberOfContacts").toInt(), 0);
    QCOMPARE(nano.value("syncsWithTivaro").toBool(), true);
    for (const char *key : {"isiPodShuffle", "hasDisplay", "hasColorDisplay", "hasPhotoAlbum", "hasNotes", "useNotes",
                            "hasTVOut", "hasVideoPlayback"})
        QVERIFY2(nano.value(QLatin1String(key)).isBool(), key);
    QCOMPARE(nano.value("hasColorDisplay").toBool(), true);
    QCOMPARE(nano.value("hasTVOut").toBool(), false);
    const QJsonObject shuffle = iPods.at(1).toObject();
    QCOMPARE(shuffle.value("isiPodShuffle").toBool(), true);
    QVERIFY(shuffle.value("serialNumber").isNull());

    const QJsonArray unusable = root.value("unusableVolumes").toArray();
    QCOMPARE(unusable.size(), 1);
    QCOMPARE(unusable.at(0).toObject().value("path").toString(), mac);
    QVERIFY(unusable.at(0).toObject().value("problem").toString().contains("HFS+"));
}

void CliTest::listsiPodsAsText()
{
    CliRun result = CliRun::run({"ipods"});
    QCOMPARE(result.exitCode, 0);
    QCOMPARE(result.out.trimmed(), QString("No iPod found."));

    qputenv("TIVARO_MOUNTINFO", QFile::encodeName(m_folder.path() + "/no-such-table"));
    result = CliRun::run({"ipods"});
    QCOMPARE(result.exitCode, 1);
    QVERIFY2(result.err.contains("cannot read the mount table"), qPrintable(result.err));

    m_home.writeApplicationPreferences({{"TVRSyncSN", "SOMEONE-ELSE"}});
    mountTable({{m_iPod, "vfat"}});
    result = CliRun::run({"ipods"});
    QCOMPARE(result.exitCode, 0);
    QVERIFY(result.out.startsWith("Nano  " + m_iPod));
    QVERIFY(result.out.contains("7 (iPod nano)"));
    QVERIFY(result.out.contains("no (another iPod is chosen)"));
}

void CliTest::describesOneiPod()
{
    const CliRun result = CliRun::run({"ipod", "info", m_iPod, "--json"});
    QCOMPARE(result.exitCode, 0);
    const QJsonObject nano = QJsonDocument::fromJson(result.out.toUtf8()).object();
    QCOMPARE(nano.value("serialNumber").toString(), QString("NANO1"));
    QCOMPARE(nano.value("hasNotes").toBool(), true);
    QCOMPARE(CliRun::run({"ipod", "info", m_iPod}).out.split('\n').first(), "Nano  " + m_iPod);
}

void CliTest::refusesPathsThatAreNoiPod_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("message");
    QTest::newRow("missing") << "/no/such/folder"
                             << "does not exist";
    QTest::newRow("a file") << QString("%sysinfo") << "is not a folder";
    QTest::newRow("no iPod_Control") << QString("%home") << "has no iPod_Control folder";
    QTest::newRow("broken SysInfo") << QString("%broken") << "unreadable SysInfo";
}

void CliTest::refusesPathsThatAreNoiPod()
{
    QFETCH(QString, path);
    QFETCH(QString, message);
    const QString broken = IPodFixture::create(m_folder.path() + "/Broken", "pszSerialNumber:\n");
    path.replace("%sysinfo", m_iPod + "/iPod_Control/Device/SysInfo")
        .replace("%home", m_home.path())
        .replace("%broken", broken);
    for (const QStringList &arguments :
         {QStringList{"ipod", "info", path}, QStringList{"note", "write", "--ipod", path, "--name", "n"}}) {
        const CliRun result = CliRun::run(arguments, "text");
        QCOMPARE(result.exitCode, 1);
        QVERIFY2(result.err.startsWith("tivaro: ") && result.err.contains(message), qPrintable(result.err));
        QCOMPARE(result.err.count('\n'), 1);
    }
}

void CliTest::writesANote()
{
    CliRun result =
        CliRun::run({"note", "write", "--ipod", m_iPod, "--name", "Hello: World", "--local-path", "Inbox"}, "Hi there");
    QCOMPARE(result.exitCode, 0);
    QVERIFY(result.out.contains("1 page(s)"));
    QCOMPARE(IPodFixture::readFile(m_iPod + "/Notes/Inbox/Hello- World.txt"),
             QByteArray("<?xml encoding=\"UTF-8\"?><title>Hello- World</title>Hi there"));

    // Text after a word longer than a page is left out, and the user is told.
    result =
        CliRun::run({"note", "write", "--ipod", m_iPod, "--name", "Cut"}, "before " + QByteArray(5000, 'w') + " after");
    QCOMPARE(result.exitCode, 0);
    QVERIFY2(result.err.contains("warning: the note stops before a word longer than a page; the last 5006 bytes"),
             qPrintable(result.err));

    const QString file = m_folder.path() + "/long.txt";
    IPodFixture::writeFile(m_folder.path(), "long.txt", QByteArray("lorem ipsum ").repeated(1000));
    result = CliRun::run({"note", "write", "--ipod", m_iPod, "--name", "Long", "--encoding", "utf16", file});
    QCOMPARE(result.exitCode, 0);
    QVERIFY(QFileInfo(m_iPod + "/Notes/_pages/Long p6.txt").size() <= 2048);
}

void CliTest::noteWriteFailures_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<bool>("notesIsAFile");
    QTest::addColumn<QString>("message");
    QTest::newRow("not UTF-8") << "n" << QByteArray("caf\xE9") << false << "standard input is not valid UTF-8";
    QTest::newRow("name of 300 characters") << QString(300, 'n') << QByteArray("text") << false << "too long";
    QTest::newRow("Notes is a file") << "n" << QByteArray("text") << true << "Notes is not a folder";
}

void CliTest::noteWriteFailures()
{
    QFETCH(QString, name);
    QFETCH(QByteArray, input);
    QFETCH(bool, notesIsAFile);
    QFETCH(QString, message);
    if (notesIsAFile)
        IPodFixture::writeFile(m_iPod, "Notes", "x");
    const CliRun result = CliRun::run({"note", "write", "--ipod", m_iPod, "--name", name, "-"}, input);
    QCOMPARE(result.exitCode, 1);
    QVERIFY2(result.err.contains(message), qPrintable(result.err));
    QCOMPARE(result.err.count('\n'), 1);
}

void CliTest::writesAndRemovesContacts()
{
    CliRun result = CliRun::run({"contacts", "write", "--ipod", m_iPod, "--name", "Headlines.txt", "--title", "News"},
                                "line one\nline two");
    QCOMPARE(result.exitCode, 0);
    QCOMPARE(IPodFixture::readFile(m_iPod + "/Contacts/TVR-Headlines.vcf"),
             QByteArray("BEGIN:VCARD\rVERSION:3.0\rN:News\rORG:line one\\nline two\rEND:VCARD\r"));
    result = CliRun::run({"contacts", "remove", "--ipod", m_iPod, "--name", "Headlines"});
    QCOMPARE(result.exitCode, 0);
    QVERIFY(!QFileInfo::exists(m_iPod + "/Contacts/TVR-Headlines.vcf"));
    result = CliRun::run({"contacts", "remove", "--ipod", m_iPod, "--name", "Headlines"});
    QCOMPARE(result.exitCode, 0);
    QVERIFY(result.out.contains("Nothing to remove"));
}

QTEST_GUILESS_MAIN(CliTest)
#include "tst_cli.moc"
