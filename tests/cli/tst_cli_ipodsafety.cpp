#include "CliRun.h"
#include "IPodFixture.h"
#include "TemporaryHome.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

#include <sys/stat.h>

// What the iPod's own folders may hold that is hostile (a pipe, a link to a device, a broken SysInfo,
// no SysInfo at all), and the user's own notes beside Tivaro's: through the real program, nothing
// hangs, nothing leaves the iPod, and nothing of the user's is removed or replaced.
class CliIPodSafetyTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void iPodFilesThatAreNoFilesAreNotRead_data();
    void iPodFilesThatAreNoFilesAreNotRead();
    void syncSkipsAniPodWithABrokenSysInfo();
    void aniPodWithoutSysInfoLosesOnlyTivarosNotes();
    void noteWriteKeepsTheUsersNote();

private:
    void mount(const QStringList &roots) const;
    void chooseTextFolder(const QMap<QString, QByteArray> &files) const;
    QString lastLog() const { return CliRun::run({"log", "--last", "1"}).out; }

    std::optional<TemporaryHome> m_home;
};

void CliIPodSafetyTest::init()
{
    m_home.emplace();
    QVERIFY(m_home->isValid());
}

void CliIPodSafetyTest::cleanup()
{
    qunsetenv("TIVARO_MOUNTINFO");
    m_home.reset();
}

void CliIPodSafetyTest::mount(const QStringList &roots) const
{
    QList<QStringList> mounts;
    for (const QString &root : roots)
        mounts.append({root, QStringLiteral("vfat")});
    IPodFixture::writeFile(m_home->path(), QStringLiteral("mountinfo"), IPodFixture::mountInfo(mounts));
    qputenv("TIVARO_MOUNTINFO", QFile::encodeName(m_home->path() + QStringLiteral("/mountinfo")));
}

void CliIPodSafetyTest::chooseTextFolder(const QMap<QString, QByteArray> &files) const
{
    const QString texts = m_home->path() + QStringLiteral("/texts");
    QDir().mkpath(texts);
    for (auto it = files.cbegin(); it != files.cend(); ++it)
        IPodFixture::writeFile(texts, it.key(), it.value());
    QCOMPARE(CliRun::run({"prefs", "Text Files", "write", "folder", texts}).exitCode, 0);
}

void CliIPodSafetyTest::iPodFilesThatAreNoFilesAreNotRead_data()
{
    QTest::addColumn<QString>("file"); // below iPod_Control
    QTest::addColumn<QString>("kind"); // "pipe" or "zero" (a link to /dev/zero)
    QTest::addColumn<QStringList>("command");
    const QStringList ipods{"ipods", "--json"};
    const QStringList tracks{"music", "tracks", "--ipod", "IPOD", "--json"};
    QTest::newRow("SysInfo, a pipe") << "Device/SysInfo"
                                     << "pipe" << ipods;
    QTest::newRow("SysInfo, a link to /dev/zero") << "Device/SysInfo"
                                                  << "zero" << ipods;
    QTest::newRow("DeviceInfo, a pipe") << "iTunes/DeviceInfo"
                                        << "pipe" << ipods;
    QTest::newRow("iTunesDB, a pipe") << "iTunes/iTunesDB"
                                      << "pipe" << tracks;
    QTest::newRow("iTunesDB, a link to /dev/zero") << "iTunes/iTunesDB"
                                                   << "zero" << tracks;
}

void CliIPodSafetyTest::iPodFilesThatAreNoFilesAreNotRead()
{
    QFETCH(QString, file);
    QFETCH(QString, kind);
    QFETCH(QStringList, command);
    const QString root = IPodFixture::createWithFamily(m_home->path() + QStringLiteral("/IPOD"), 6, "SAFE1");
    const QString path = root + QStringLiteral("/iPod_Control/") + file;
    QFile::remove(path);
    QVERIFY(QDir().mkpath(QFileInfo(path).path()));
    if (kind == QLatin1String("pipe"))
        QCOMPARE(::mkfifo(QFile::encodeName(path).constData(), 0644), 0);
    else
        QVERIFY(QFile::link(QStringLiteral("/dev/zero"), path));
    mount({root});
    command.replaceInStrings(QStringLiteral("IPOD"), root);

    // Ends at once (a pipe would block the read for ever, /dev/zero would fill the memory).
    const CliRun run = CliRun::run(command);
    QVERIFY2(run.exitCode == 0 || run.exitCode == 1, qPrintable(run.err));
    if (file.endsWith(QLatin1String("SysInfo"))) {
        const QJsonObject listing = QJsonDocument::fromJson(run.out.toUtf8()).object();
        QCOMPARE(listing.value("iPods").toArray().size(), 0);
        const QString problem =
            listing.value("unusableVolumes").toArray().first().toObject().value("problem").toString();
        QVERIFY2(problem.contains(kind == QLatin1String("pipe") ? "not a regular file" : "symbolic link"),
                 qPrintable(problem));
    }
}

void CliIPodSafetyTest::syncSkipsAniPodWithABrokenSysInfo()
{
    const QString broken = IPodFixture::createWithFamily(m_home->path() + QStringLiteral("/Alpha"), 6, "BROKEN");
    IPodFixture::writeFile(broken, QStringLiteral("iPod_Control/Device/SysInfo"), "pszSerialNumber:\n");
    const QString good = IPodFixture::createWithFamily(m_home->path() + QStringLiteral("/Zulu"), 6, "GOOD");
    mount({broken, good});
    chooseTextFolder({{QStringLiteral("Note.txt"), "text"}});

    const CliRun run = CliRun::run({"sync", "--quick", "Text Files"});
    QVERIFY2(run.exitCode == 0, qPrintable(run.out + run.err));
    QVERIFY(QFileInfo::exists(good + QStringLiteral("/Notes/Note.txt")));
    QVERIFY(!QFileInfo::exists(broken + QStringLiteral("/Notes")));
}

void CliIPodSafetyTest::aniPodWithoutSysInfoLosesOnlyTivarosNotes()
{
    // Restored by other tools: the SysInfo is gone, the user's notes and Tivaro's are there.
    const QString root = IPodFixture::create(m_home->path() + QStringLiteral("/Restored"), QString());
    IPodFixture::writeFile(root, QStringLiteral("Notes/Recipes/Bread.txt"), "the user's own");
    IPodFixture::writeFile(root, QStringLiteral("Notes/Diary.txt"), "the user's own");
    IPodFixture::writeFile(root, QStringLiteral("Contacts/Tivaro friends.vcf"), "BEGIN:VCARD\r\nEND:VCARD\r\n");
    QCOMPARE(CliRun::run({"note", "write", "--ipod", root, "--name", "Old news", "--local-path", "News", "-"},
                         "written by Tivaro")
                 .exitCode,
             0);
    chooseTextFolder({});

    const CliRun run = CliRun::run({"sync", "--ipod", root, "--quick", "Text Files"});
    QVERIFY2(run.exitCode == 0, qPrintable(run.out + run.err));
    QVERIFY(!QFileInfo::exists(root + QStringLiteral("/Notes/News")));
    QCOMPARE(IPodFixture::readFile(root + QStringLiteral("/Notes/Recipes/Bread.txt")), QByteArray("the user's own"));
    QCOMPARE(IPodFixture::readFile(root + QStringLiteral("/Notes/Diary.txt")), QByteArray("the user's own"));
    QVERIFY(QFileInfo::exists(root + QStringLiteral("/Contacts/Tivaro friends.vcf")));
    const QString log = lastLog();
    for (const char *expected :
         {"This iPod is taken for one without notes (iPod shuffle: it has no iPod_Control/Device/SysInfo)",
          "Removed 1 file that Tivaro wrote before.", "Kept Notes/Diary.txt: Tivaro did not write it.",
          "Kept Contacts/Tivaro friends.vcf: Tivaro did not write it."})
        QVERIFY2(log.contains(QLatin1String(expected)), qPrintable(log));
}

void CliIPodSafetyTest::noteWriteKeepsTheUsersNote()
{
    const QString root = IPodFixture::createWithFamily(m_home->path() + QStringLiteral("/IPOD"), 6, "SAFE2");
    IPodFixture::writeFile(root, QStringLiteral("Notes/Diary.txt"), "the user's own diary");
    const CliRun run = CliRun::run({"note", "write", "--ipod", root, "--name", "Diary", "-"}, "Tivaro's text");
    QCOMPARE(run.exitCode, 1);
    QCOMPARE(run.err.count(QLatin1Char('\n')), 1);
    QVERIFY2(run.err.contains(QStringLiteral("a file Tivaro did not write is there, so it was kept")),
             qPrintable(run.err));
    QCOMPARE(IPodFixture::readFile(root + QStringLiteral("/Notes/Diary.txt")), QByteArray("the user's own diary"));
    // Its own note, written again, is replaced as always.
    QCOMPARE(CliRun::run({"note", "write", "--ipod", root, "--name", "Mine", "-"}, "one").exitCode, 0);
    QCOMPARE(CliRun::run({"note", "write", "--ipod", root, "--name", "Mine", "-"}, "two").exitCode, 0);
    QVERIFY(IPodFixture::readFile(root + QStringLiteral("/Notes/Mine.txt")).endsWith("two"));
}

QTEST_GUILESS_MAIN(CliIPodSafetyTest)
#include "tst_cli_ipodsafety.moc"
