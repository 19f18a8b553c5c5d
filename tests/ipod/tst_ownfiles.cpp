#include "IPodFixture.h"
#include "TemporaryHome.h"

#include "core/PropertyList.h"
#include "ipod/TVRContactsManager.h"
#include "ipod/TVRiPod.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QtTest>

namespace {

// A note page as the note writer writes it: what an iPod synced by an earlier Tivaro holds.
QByteArray pageOf(const QString &pageName, const QByteArray &text = "old text")
{
    return "<?xml encoding=\"UTF-8\"?><title>" + pageName.toUtf8() + "</title>" + text;
}

// Words enough for `pages` pages of a note.
QString textOfPages(int pages)
{
    return QString(QStringLiteral("word ")).repeated(pages * 800).trimmed();
}

QStringList filesBelow(const QString &folder)
{
    QStringList files;
    QDirIterator walk(folder, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (walk.hasNext())
        files.append(QDir(folder).relativeFilePath(walk.next()));
    files.sort();
    return files;
}

} // namespace

// Tivaro's record of its own files on an iPod, and the rule it enforces: only what Tivaro wrote is
// ever replaced or removed, nothing is reached through a symbolic link.
class OwnFilesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_home.isValid()); }
    void init();

    void writtenFilesAreRecordedOnTheiPod();
    void removalTakesOnlyTivarosFiles_data();
    void removalTakesOnlyTivarosFiles();
    void removalByPrefixTakesOnlyTivarosFiles();
    void aShorterNoteLosesItsOldPages();
    void aFileOfTheUsersIsNeverReplaced_data();
    void aFileOfTheUsersIsNeverReplaced();
    void aChangedFileIsKept();
    void earlierOutputIsAdoptedOnce();
    void twoWritersKeepEachOthersRecords();
    void aCorruptRecordIsKeptAside();
    void aRecordThatIsALinkIsNeverWrittenThrough();
    void linksAreNeverFollowed_data();
    void linksAreNeverFollowed();
    void removalNeverDescendsALink();
    void aNameTooLongForItsLastPageWritesNothing();
    void writeFileStaysOnTheiPod();

private:
    QString freshiPod();
    QString fileOf(const QString &relative) const { return m_root + QLatin1Char('/') + relative; }
    QVariantMap recordOnDisk() const;

    TemporaryHome m_home;
    QTemporaryDir m_volumes;
    QString m_root;
    TVRiPodPtr m_iPod;
};

void OwnFilesTest::init()
{
    m_home.writeApplicationPreferences({});
    m_root = freshiPod();
    m_iPod = TVRiPod::withPath(m_root);
}

QString OwnFilesTest::freshiPod()
{
    const QString root = m_volumes.path() + QLatin1Char('/') + QString::fromLatin1(QTest::currentTestFunction()) +
                         QLatin1Char('-') + QString::fromLatin1(QTest::currentDataTag());
    QDir(root).removeRecursively();
    return IPodFixture::createWithFamily(root, 6, QStringLiteral("OWN1"));
}

QVariantMap OwnFilesTest::recordOnDisk() const
{
    const std::optional<QVariant> record = PropertyList::readFile(fileOf(QStringLiteral(".tivaro/manifest.plist")));
    return record ? record->toMap().value(QStringLiteral("files")).toMap() : QVariantMap();
}

void OwnFilesTest::writtenFilesAreRecordedOnTheiPod()
{
    m_iPod->setOutputOwner(QStringLiteral("News"));
    m_iPod->setOutputGroup(QStringLiteral("http://feed/1"));
    QVERIFY(m_iPod->writeNoteToiPod(textOfPages(2), QStringLiteral("Daily"), QStringLiteral("News")));
    QVERIFY(m_iPod->saveOwnFilesRecord());
    const QVariantMap files = recordOnDisk();
    QCOMPARE(files.keys(),
             (QStringList{QStringLiteral("Notes/News/Daily.txt"), QStringLiteral("Notes/News/_pages/Daily p2.txt")}));
    const QVariantMap entry = files.value(QStringLiteral("Notes/News/Daily.txt")).toMap();
    QCOMPARE(entry.value(QStringLiteral("owner")).toString(), QStringLiteral("News"));
    QCOMPARE(entry.value(QStringLiteral("group")).toString(), QStringLiteral("http://feed/1"));
    QCOMPARE(entry.value(QStringLiteral("size")).toLongLong(), QFileInfo(fileOf("Notes/News/Daily.txt")).size());
    // Another computer (a new object) reads the same record.
    QCOMPARE(TVRiPod::withPath(m_root)->ownFiles().size(), 2);
}

void OwnFilesTest::removalTakesOnlyTivarosFiles_data()
{
    QTest::addColumn<QStringList>("users");    // files the user put there
    QTest::addColumn<QStringList>("expected"); // what is left in Notes afterwards
    QTest::newRow("only Tivaro's: the folder goes") << QStringList{} << QStringList{"Other/d.txt"};
    QTest::newRow("a note of the user's stays, with its folder")
        << QStringList{"News/mine.txt"} << QStringList{"News/mine.txt", "Other/d.txt"};
    QTest::newRow("a user's page in _pages stays")
        << QStringList{"News/_pages/mine p2.txt"} << QStringList{"News/_pages/mine p2.txt", "Other/d.txt"};
    QTest::newRow("an old Tivaro folder holding the user's note")
        << QStringList{"Tivaro/News/x.txt"} << QStringList{"Other/d.txt", "Tivaro/News/x.txt"};
}

void OwnFilesTest::removalTakesOnlyTivarosFiles()
{
    QFETCH(QStringList, users);
    QFETCH(QStringList, expected);
    QVERIFY(m_iPod->writeNoteToiPod(textOfPages(3), QStringLiteral("Daily"), QStringLiteral("News")));
    const int pages = m_iPod->lastNotePageCount();
    QVERIFY(pages > 1);
    QVERIFY(m_iPod->writeNoteToiPod(QStringLiteral("x"), QStringLiteral("Other"), QStringLiteral("Other")));
    for (const QString &file : users)
        IPodFixture::writeFile(m_root, QStringLiteral("Notes/") + file, "the user's own");
    IPodFixture::writeFile(m_root, QStringLiteral("Notes/Other/d.txt"), "the user's own");
    QVERIFY(m_iPod->saveOwnFilesRecord());

    const RemovalReport report = m_iPod->removeNotesFoldersNamed(QStringLiteral("News"));
    QStringList left = filesBelow(fileOf(QStringLiteral("Notes")));
    left.removeAll(QStringLiteral("Other/Other.txt"));
    QCOMPARE(left, expected);
    QCOMPARE(report.removed.size(), pages);
    QCOMPARE(report.kept.size(), users.filter(QStringLiteral("News/")).size());
    for (const auto &[path, why] : report.kept)
        QCOMPARE(why, QStringLiteral("Tivaro did not write it"));
    QVERIFY(!m_iPod->ownFiles().contains("Notes/News/Daily.txt"));
}

void OwnFilesTest::removalByPrefixTakesOnlyTivarosFiles()
{
    m_iPod = TVRiPod::withPath(IPodFixture::createWithFamily(freshiPod(), 1, QStringLiteral("S")));
    m_root = m_iPod->path();
    auto contacts = m_iPod->contactsManagerNamed(QStringLiteral("News"));
    contacts->appendContactWithText(QStringLiteral("text"), QStringLiteral("title"));
    QVERIFY(contacts->writeContactsFileToiPod());
    QVERIFY(
        m_iPod->writeString(QStringLiteral("BEGIN:VCALENDAR"), fileOf("Calendars/TVR-cal.ics"), StringEncoding::UTF8));
    for (const char *file : {"Contacts/TVR-mine.vcf", "Contacts/TVR-dir/x.vcf", "Contacts/Mine.vcf",
                             "Calendars/TVR-theirs.ics", "Calendars/home.ics"})
        IPodFixture::writeFile(m_root, QString::fromLatin1(file), "x");

    const RemovalReport contactsReport = m_iPod->removeContactsWithPrefix(QStringLiteral("TVR-"));
    const RemovalReport calendarsReport = m_iPod->removeCalendarsWithPrefix(QStringLiteral("TVR-"));
    QCOMPARE(filesBelow(fileOf("Contacts")), (QStringList{"Mine.vcf", "TVR-dir/x.vcf", "TVR-mine.vcf"}));
    QCOMPARE(filesBelow(fileOf("Calendars")), (QStringList{"TVR-theirs.ics", "home.ics"}));
    QCOMPARE(contactsReport.removed, QList<QByteArray>{"Contacts/TVR-News.vcf"});
    QCOMPARE(contactsReport.kept.size(), 2);
    QCOMPARE(calendarsReport.removed, QList<QByteArray>{"Calendars/TVR-cal.ics"});
}

void OwnFilesTest::aShorterNoteLosesItsOldPages()
{
    QVERIFY(m_iPod->writeNoteToiPod(textOfPages(7), QStringLiteral("Long"), QString()));
    QCOMPARE(m_iPod->lastNotePageCount(), 7);
    // A page of the same name the user keeps in a folder of their own stays.
    IPodFixture::writeFile(m_root, QStringLiteral("Notes/Mine/_pages/Long p3.txt"), "mine");
    QVERIFY(m_iPod->writeNoteToiPod(textOfPages(2), QStringLiteral("Long"), QString()));
    QCOMPARE(m_iPod->lastNotePageCount(), 2);
    QCOMPARE(filesBelow(fileOf(QStringLiteral("Notes"))),
             (QStringList{"Long.txt", "Mine/_pages/Long p3.txt", "_pages/Long p2.txt"}));
    QVERIFY(m_iPod->writeNoteToiPod(QStringLiteral("short"), QStringLiteral("Long"), QString()));
    QCOMPARE(filesBelow(fileOf(QStringLiteral("Notes"))), (QStringList{"Long.txt", "Mine/_pages/Long p3.txt"}));
    QCOMPARE(m_iPod->ownFiles().keys(), QList<QByteArray>{"Notes/Long.txt"});
}

void OwnFilesTest::aFileOfTheUsersIsNeverReplaced_data()
{
    QTest::addColumn<QString>("existing"); // the file already at the note's first or second page
    QTest::addColumn<QByteArray>("contents");
    QTest::addColumn<bool>("replaced");
    QTest::newRow("the user's note of that name") << "Notes/Diary.txt" << QByteArray("my own diary") << false;
    QTest::newRow("the user's file where page 2 goes")
        << "Notes/_pages/Diary p2.txt" << QByteArray("my own page") << false;
    QTest::newRow("a page Tivaro wrote but did not record")
        << "Notes/Diary.txt" << pageOf(QStringLiteral("Diary")) << true;
    QTest::newRow("a page titled for another name") << "Notes/Diary.txt" << pageOf(QStringLiteral("Other")) << false;
}

void OwnFilesTest::aFileOfTheUsersIsNeverReplaced()
{
    QFETCH(QString, existing);
    QFETCH(QByteArray, contents);
    QFETCH(bool, replaced);
    IPodFixture::writeFile(m_root, existing, contents);
    const bool written = m_iPod->writeNoteToiPod(textOfPages(2), QStringLiteral("Diary"), QString());
    QCOMPARE(written, replaced);
    QCOMPARE(IPodFixture::readFile(fileOf(existing)) == contents, !replaced);
    if (!replaced) {
        QVERIFY2(m_iPod->errorString().contains(QStringLiteral("Tivaro did not write")),
                 qPrintable(m_iPod->errorString()));
        QVERIFY(!m_iPod->ownFiles().contains(QFile::encodeName(existing)));
    }
}

void OwnFilesTest::aChangedFileIsKept()
{
    QVERIFY(
        m_iPod->writeNoteToiPod(QStringLiteral("news of the day"), QStringLiteral("Daily"), QStringLiteral("News")));
    QVERIFY(m_iPod->saveOwnFilesRecord());
    // The user put a file of their own in its place.
    IPodFixture::writeFile(m_root, QStringLiteral("Notes/News/Daily.txt"), "now the user's shopping list");
    const RemovalReport report = m_iPod->removeNotesFoldersNamed(QStringLiteral("News"));
    QVERIFY(report.removed.isEmpty());
    QCOMPARE(report.kept.size(), 1);
    QCOMPARE(report.kept.first().second, QStringLiteral("it was changed since Tivaro wrote it"));
    QVERIFY(QFileInfo::exists(fileOf("Notes/News/Daily.txt")));
    QVERIFY(!m_iPod->writeNoteToiPod(QStringLiteral("news"), QStringLiteral("Daily"), QStringLiteral("News")));
    QCOMPARE(IPodFixture::readFile(fileOf("Notes/News/Daily.txt")), QByteArray("now the user's shopping list"));
}

void OwnFilesTest::earlierOutputIsAdoptedOnce()
{
    // What a Tivaro without a record left, beside the user's own notes.
    IPodFixture::writeFile(m_root, QStringLiteral("Notes/News/Daily.txt"), pageOf(QStringLiteral("Daily")));
    IPodFixture::writeFile(m_root, QStringLiteral("Notes/News/_pages/Daily p2.txt"),
                           pageOf(QStringLiteral("Daily p2")));
    IPodFixture::writeFile(m_root, QStringLiteral("Contacts/TVR-News.vcf"), "BEGIN:VCARD\rVERSION:3.0\rEND:VCARD\r");
    IPodFixture::writeFile(m_root, QStringLiteral("Notes/News/mine.txt"), "my own note");
    IPodFixture::writeFile(m_root, QStringLiteral("Notes/News/copied.txt"), pageOf(QStringLiteral("Daily")));
    IPodFixture::writeFile(m_root, QStringLiteral("Contacts/Friends.vcf"), "BEGIN:VCARD\rEND:VCARD\r");

    QCOMPARE(m_iPod->prepareOwnFilesRecord(),
             QStringLiteral("Found 3 files written by an earlier Tivaro; they are now in its record of its files."));
    QCOMPARE(m_iPod->prepareOwnFilesRecord(), QString());
    QVERIFY(m_iPod->saveOwnFilesRecord());
    const RemovalReport report = m_iPod->removeNotesFoldersNamed(QStringLiteral("News"));
    QCOMPARE(report.removed.size(), 2);
    QCOMPARE(filesBelow(fileOf("Notes")), (QStringList{"News/copied.txt", "News/mine.txt"}));
    m_iPod->removeContactsWithPrefix(QStringLiteral("TVR-"));
    QCOMPARE(filesBelow(fileOf("Contacts")), QStringList{"Friends.vcf"});

    // Once there is a record, a page of Tivaro's shape that it does not list is no longer taken.
    IPodFixture::writeFile(m_root, QStringLiteral("Notes/News/Later.txt"), pageOf(QStringLiteral("Later")));
    const TVRiPodPtr again = TVRiPod::withPath(m_root);
    QCOMPARE(again->prepareOwnFilesRecord(), QString());
    QCOMPARE(again->removeNotesFoldersNamed(QStringLiteral("News")).removed.size(), 0);
}

void OwnFilesTest::twoWritersKeepEachOthersRecords()
{
    const TVRiPodPtr other = TVRiPod::withPath(m_root);
    QVERIFY(m_iPod->writeNoteToiPod(QStringLiteral("one"), QStringLiteral("One"), QString()));
    QVERIFY(other->writeNoteToiPod(QStringLiteral("two"), QStringLiteral("Two"), QString()));
    QVERIFY(m_iPod->saveOwnFilesRecord());
    QVERIFY(other->saveOwnFilesRecord());
    QCOMPARE(recordOnDisk().keys(), (QStringList{"Notes/One.txt", "Notes/Two.txt"}));
    // A removal by one reaches the record without undoing the other's entry.
    QCOMPARE(m_iPod->removeOwnFiles({"Notes/One.txt"}).removed.size(), 1);
    QVERIFY(m_iPod->saveOwnFilesRecord());
    QCOMPARE(recordOnDisk().keys(), QStringList{"Notes/Two.txt"});
}

void OwnFilesTest::aCorruptRecordIsKeptAside()
{
    IPodFixture::writeFile(m_root, QStringLiteral(".tivaro/manifest.plist"), "not a property list");
    IPodFixture::writeFile(m_root, QStringLiteral("Notes/Old.txt"), pageOf(QStringLiteral("Old")));
    const QString said = m_iPod->prepareOwnFilesRecord();
    QVERIFY2(said.contains(QStringLiteral("could not be read")), qPrintable(said));
    QVERIFY(m_iPod->writeNoteToiPod(QStringLiteral("new"), QStringLiteral("New"), QString()));
    QVERIFY(m_iPod->saveOwnFilesRecord());
    QCOMPARE(recordOnDisk().keys(), (QStringList{"Notes/New.txt", "Notes/Old.txt"}));
    const QStringList aside = QDir(fileOf(".tivaro")).entryList({QStringLiteral("manifest.plist.corrupt-*")});
    QCOMPARE(aside.size(), 1);
    QCOMPARE(IPodFixture::readFile(fileOf(".tivaro/") + aside.first()), QByteArray("not a property list"));
}

void OwnFilesTest::aRecordThatIsALinkIsNeverWrittenThrough()
{
    QTemporaryDir elsewhere;
    const QString target = elsewhere.filePath(QStringLiteral("precious"));
    IPodFixture::writeFile(elsewhere.path(), QStringLiteral("precious"), "keep me");
    QVERIFY(QDir().mkpath(fileOf(".tivaro")));
    QVERIFY(QFile::link(target, fileOf(".tivaro/manifest.plist")));
    QVERIFY(m_iPod->prepareOwnFilesRecord().contains(QStringLiteral("cannot be used")));
    QVERIFY(m_iPod->writeNoteToiPod(QStringLiteral("new"), QStringLiteral("New"), QString()));
    QString error;
    QVERIFY(!m_iPod->saveOwnFilesRecord(&error));
    QVERIFY2(error.contains(QStringLiteral("symbolic link")), qPrintable(error));
    QCOMPARE(IPodFixture::readFile(target), QByteArray("keep me"));
}

void OwnFilesTest::linksAreNeverFollowed_data()
{
    QTest::addColumn<QString>("link");      // below the iPod, pointing to a folder (or file) outside it
    QTest::addColumn<QString>("localPath"); // where the note is asked to go
    QTest::addColumn<bool>("toFile");
    QTest::newRow("Notes") << "Notes"
                           << "" << false;
    QTest::newRow("a local-path folder") << "Notes/Trips"
                                         << "Trips" << false;
    QTest::newRow("_pages") << "Notes/_pages"
                            << "" << false;
    QTest::newRow("the note's own file") << "Notes/Trip.txt"
                                         << "" << true;
    QTest::newRow("a page file") << "Notes/_pages/Trip p2.txt"
                                 << "" << true;
}

void OwnFilesTest::linksAreNeverFollowed()
{
    QFETCH(QString, link);
    QFETCH(QString, localPath);
    QFETCH(bool, toFile);
    QTemporaryDir outside;
    IPodFixture::writeFile(outside.path(), QStringLiteral("Trip.txt"), "outside");
    const QString linked = fileOf(link);
    QVERIFY(QDir().mkpath(QFileInfo(linked).path()));
    QVERIFY(QFile::link(toFile ? outside.filePath(QStringLiteral("Trip.txt")) : outside.path(), linked));

    QVERIFY(!m_iPod->writeNoteToiPod(textOfPages(2), QStringLiteral("Trip"), localPath));
    QVERIFY2(m_iPod->errorString().contains(QStringLiteral("symbolic link")), qPrintable(m_iPod->errorString()));
    QCOMPARE(filesBelow(outside.path()), QStringList{"Trip.txt"});
    QCOMPARE(IPodFixture::readFile(outside.filePath(QStringLiteral("Trip.txt"))), QByteArray("outside"));
    QVERIFY(QFileInfo(linked).isSymLink());
}

void OwnFilesTest::removalNeverDescendsALink()
{
    QTemporaryDir outside;
    // A folder outside that looks like Tivaro's output, even to the record.
    IPodFixture::writeFile(outside.path(), QStringLiteral("Daily.txt"), pageOf(QStringLiteral("Daily")));
    QVERIFY(m_iPod->writeNoteToiPod(QStringLiteral("x"), QStringLiteral("Daily"), QStringLiteral("News")));
    QVERIFY(QDir(fileOf("Notes/News")).removeRecursively());
    QVERIFY(QFile::link(outside.path(), fileOf("Notes/News")));

    const RemovalReport report = m_iPod->removeNotesFoldersNamed(QStringLiteral("News"));
    QVERIFY(report.removed.isEmpty());
    QCOMPARE(report.kept.size(), 1);
    QCOMPARE(report.kept.first().second, QStringLiteral("it is a symbolic link, which Tivaro does not follow"));
    QCOMPARE(m_iPod->removeOwnFiles({"Notes/News/Daily.txt"}).removed.size(), 0);
    QCOMPARE(m_iPod->removeOwnFilesBelow(m_iPod->notesFolder()).removed.size(), 0);
    QCOMPARE(filesBelow(outside.path()), QStringList{"Daily.txt"});
}

void OwnFilesTest::aNameTooLongForItsLastPageWritesNothing()
{
    // "<name>.txt" and "<name> p2.txt" fit in 255 bytes, "<name> p12.txt" does not.
    const QString name(248, QLatin1Char('n'));
    QVERIFY(!m_iPod->writeNoteToiPod(textOfPages(12), name, QString()));
    QVERIFY(m_iPod->errorString().contains(QStringLiteral("too long")));
    QVERIFY(!QFileInfo::exists(fileOf("Notes")) || filesBelow(fileOf("Notes")).isEmpty());
    // The same name with text for one page is fine.
    QVERIFY(m_iPod->writeNoteToiPod(QStringLiteral("short"), name, QString()));
}

void OwnFilesTest::writeFileStaysOnTheiPod()
{
    QTemporaryDir outside;
    QVERIFY(!m_iPod->writeString(QStringLiteral("x"), outside.filePath(QStringLiteral("f.txt")), StringEncoding::UTF8));
    QVERIFY(!QFileInfo::exists(outside.filePath(QStringLiteral("f.txt"))));
    QVERIFY(!m_iPod->writeString(QStringLiteral("x"), m_root + QStringLiteral("/Notes/../../escape.txt"),
                                 StringEncoding::UTF8));
    QVERIFY(!QFileInfo::exists(QFileInfo(m_root).path() + QStringLiteral("/escape.txt")));
    QVERIFY(m_iPod->writeString(QStringLiteral("x"), fileOf("Calendars/TVR-a.ics"), StringEncoding::UTF8));
    QVERIFY(m_iPod->ownFiles().contains("Calendars/TVR-a.ics"));
}

QTEST_GUILESS_MAIN(OwnFilesTest)
#include "tst_ownfiles.moc"
