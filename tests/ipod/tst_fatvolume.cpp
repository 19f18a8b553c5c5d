#include "FatVolume.h"
#include "IPodFixture.h"
#include "TemporaryHome.h"

#include "ipod/TVRContactsManager.h"
#include "ipod/TVRiPod.h"
#include "ipod/TVRiPodManager.h"

#include <QDir>
#include <QProcess>
#include <QtTest>

// The iPod as Linux users have it: a FAT32 volume, here an image mounted through FUSE.
class FatVolumeTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();

    void discoveryFindsTheFuseMount();
    void writesNotesWithNamesFatRefuses();
    void writesALongNoteAsManyPages();
    void writesContacts();
    void filesAreOnTheImage();
    void theRecordAndAShorterNoteOnTheImage();
    void readOnlyVolumeIsNoiPod();
    void ejectUnmounts();

private:
    static QStringList imageListing(const QString &image, const QString &folder);

    TemporaryHome m_home;
    FatVolume *m_volume = nullptr;
    TVRiPodPtr m_iPod;
    QString m_longNote;
};

void FatVolumeTest::initTestCase()
{
    m_volume = new FatVolume(QStringLiteral("TIVAROPOD"));
    if (!m_volume->isMounted())
        QSKIP(qPrintable(m_volume->skipReason()));
    IPodFixture::createWithFamily(m_volume->mountPoint(), 5, QStringLiteral("FAT1"));
    m_iPod = TVRiPod::iPodAtPath(m_volume->mountPoint());
    QVERIFY(m_iPod);
}

void FatVolumeTest::cleanupTestCase()
{
    m_iPod.reset();
    delete m_volume;
}

QStringList FatVolumeTest::imageListing(const QString &image, const QString &folder)
{
    // mtools reads the image directly, without the kernel or FUSE in between.
    QProcess mdir;
    mdir.start(QStringLiteral("mdir"),
               {QStringLiteral("-b"), QStringLiteral("-i"), image, QStringLiteral("::") + folder});
    if (!mdir.waitForFinished(30000) || mdir.exitCode() != 0)
        return {};
    QStringList names;
    const QStringList lines =
        QString::fromUtf8(mdir.readAllStandardOutput()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    for (const QString &line : lines)
        names << line.section(QLatin1Char('/'), -1);
    return names;
}

void FatVolumeTest::discoveryFindsTheFuseMount()
{
    const QList<TVRiPodPtr> iPods = TVRiPodManager::sharedManager().connectediPods();
    const auto found = std::find_if(iPods.cbegin(), iPods.cend(),
                                    [this](const TVRiPodPtr &iPod) { return iPod->path() == m_volume->mountPoint(); });
    QVERIFY2(found != iPods.cend(), "the FUSE-mounted FAT volume is a local iPod");
    QCOMPARE((*found)->name(), QStringLiteral("TIVAROPOD"));
    QCOMPARE((*found)->iPodFamilyDescription(), QStringLiteral("iPod photo/color"));
    QCOMPARE((*found)->serialNumber(), QStringLiteral("FAT1"));
}

void FatVolumeTest::writesNotesWithNamesFatRefuses()
{
    const QString name = QStringLiteral("Q&A: \"Why?\" <now> | a*b\\c / d");
    QVERIFY2(m_iPod->writeNoteToiPod(QStringLiteral("Short answer."), name, QStringLiteral("Feeds")),
             qPrintable(m_iPod->errorString()));
    const QString file = m_iPod->notesFolder() + QStringLiteral("/Feeds/Q&A- -Why-- -now- - a-b-c - d.txt");
    QVERIFY(QFileInfo::exists(file));
    QVERIFY(IPodFixture::readFile(file).endsWith("<title>Q&A- -Why-- -now- - a-b-c - d</title>Short answer."));
}

void FatVolumeTest::writesALongNoteAsManyPages()
{
    QStringList paragraph;
    for (int i = 0; i < 12000; ++i)
        paragraph << QStringLiteral("word%1").arg(i % 97) + (i % 50 == 49 ? QStringLiteral("\r") : QString());
    m_longNote = paragraph.join(QLatin1Char(' '));
    QVERIFY2(m_iPod->writeNoteToiPod(m_longNote, QStringLiteral("Long read"), QString()),
             qPrintable(m_iPod->errorString()));
    const int pages = m_iPod->lastNotePageCount();
    QVERIFY(pages > 20);

    QString recovered;
    for (int page = 0; page < pages; ++page) {
        const QString folder = m_iPod->notesFolder() + (page == 0 ? QString() : QStringLiteral("/_pages"));
        const QByteArray bytes = IPodFixture::readFile(folder + QLatin1Char('/') +
                                                       TVRiPod::fileNameForPage(page, QStringLiteral("Long read")));
        QVERIFY(!bytes.isEmpty() && bytes.size() <= 4096);
        QString text = QString::fromUtf8(bytes);
        text.remove(0, text.indexOf(QStringLiteral("</title>")) + 8);
        const qsizetype link = text.indexOf(QStringLiteral("\n\n<a href="));
        if (link >= 0)
            text.truncate(link);
        recovered += (page == 0 ? QString() : QStringLiteral(" ")) + text;
    }
    QCOMPARE(recovered, m_longNote);
}

void FatVolumeTest::writesContacts()
{
    const std::shared_ptr<TVRContactsManager> contacts = m_iPod->contactsManagerNamed(QStringLiteral("News"));
    contacts->appendContactWithText(QString(4001, QLatin1Char('c')), QStringLiteral("Headlines"));
    QVERIFY(contacts->writeContactsFileToiPod());
    QCOMPARE(m_iPod->numberOfContacts(), 2);
    QVERIFY(IPodFixture::readFile(m_iPod->contactsFolder() + QStringLiteral("/TVR-News.vcf"))
                .startsWith("BEGIN:VCARD\rVERSION:3.0\rN:Headlines\r"));
}

void FatVolumeTest::filesAreOnTheImage()
{
    m_volume->unmount();
    const QStringList notes = imageListing(m_volume->imagePath(), QStringLiteral("/Notes"));
    QVERIFY2(notes.contains(QStringLiteral("Long read.txt")), qPrintable(notes.join(QLatin1Char(','))));
    QVERIFY(imageListing(m_volume->imagePath(), QStringLiteral("/Notes/_pages"))
                .contains(QStringLiteral("Long read p2.txt")));
    QVERIFY(imageListing(m_volume->imagePath(), QStringLiteral("/Contacts")).contains(QStringLiteral("TVR-News.vcf")));
    QVERIFY(m_volume->mount(false));
}

// The record of Tivaro's files is saved under its lock on FAT; a note written again shorter leaves
// neither pages nor an empty _pages folder on the image.
void FatVolumeTest::theRecordAndAShorterNoteOnTheImage()
{
    QString error;
    QVERIFY2(m_iPod->saveOwnFilesRecord(&error), qPrintable(error));
    QVERIFY(m_iPod->writeNoteToiPod(QStringLiteral("Now short."), QStringLiteral("Long read"), QString()));
    QVERIFY2(m_iPod->saveOwnFilesRecord(&error), qPrintable(error));
    m_volume->unmount();
    QVERIFY(imageListing(m_volume->imagePath(), QStringLiteral("/.tivaro")).contains(QStringLiteral("manifest.plist")));
    QVERIFY(!imageListing(m_volume->imagePath(), QStringLiteral("/Notes")).contains(QStringLiteral("_pages")));
    QVERIFY(m_volume->mount(false));
    const TVRiPodPtr again = TVRiPod::iPodAtPath(m_volume->mountPoint());
    QVERIFY(again->ownFiles().contains("Notes/Long read.txt"));
    QVERIFY(!again->ownFiles().contains("Notes/_pages/Long read p2.txt"));
    QVERIFY(again->ownFiles().contains("Contacts/TVR-News.vcf"));
}

void FatVolumeTest::readOnlyVolumeIsNoiPod()
{
    m_volume->unmount();
    QVERIFY(m_volume->mount(true));
    QVERIFY(!TVRiPodManager::isiPodAtPath(m_volume->mountPoint()));
    QVERIFY(TVRiPodManager::problemWithPath(m_volume->mountPoint()).contains(QStringLiteral("read-only")));
    const QList<DetectedVolume> volumes = TVRiPodManager::sharedManager().scanVolumes();
    const auto found = std::find_if(volumes.cbegin(), volumes.cend(), [this](const DetectedVolume &volume) {
        return volume.path == m_volume->mountPoint();
    });
    QVERIFY(found != volumes.cend());
    QVERIFY(!found->iPod);
    QVERIFY(found->problem.contains(QStringLiteral("read-only")));
    m_volume->unmount();
    QVERIFY(m_volume->mount(false));
}

void FatVolumeTest::ejectUnmounts()
{
    const TVRiPodPtr notMounted = TVRiPod::withPath(m_volume->mountPoint() + QStringLiteral("/Notes"));
    QVERIFY(!notMounted->eject());
    QVERIFY(notMounted->errorString().contains(QStringLiteral("not a mounted volume")));
    QVERIFY(m_volume->isListedInMountTable());

    QVERIFY2(m_iPod->eject(), qPrintable(m_iPod->errorString()));
    QVERIFY(!m_volume->isListedInMountTable());
}

QTEST_GUILESS_MAIN(FatVolumeTest)
#include "tst_fatvolume.moc"
