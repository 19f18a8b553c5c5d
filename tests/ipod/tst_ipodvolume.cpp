#include "IPodFixture.h"
#include "TemporaryHome.h"

#include "ipod/SysInfoError.h"
#include "ipod/TVRContactsManager.h"
#include "ipod/TVRiPod.h"

#include <QDir>
#include <QtTest>

class IPodVolumeTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void familyFromSysInfo_data();
    void familyFromSysInfo();
    void capabilities_data();
    void capabilities();
    void sysInfoLines_data();
    void sysInfoLines();
    void malformedSysInfoRaises_data();
    void malformedSysInfoRaises();
    void binarySysInfoCountsAsNone();

    void identity();
    void folders();
    void countsNotes();
    void countsContactPieces();
    void syncsWithTivaro_data();
    void syncsWithTivaro();
    void refusesToRemoveOutsideNotes();

private:
    QString freshRoot(const QString &name);

    TemporaryHome m_home;
    QTemporaryDir m_volumes;
};

void IPodVolumeTest::initTestCase()
{
    QVERIFY(m_home.isValid());
}

void IPodVolumeTest::init()
{
    m_home.writeApplicationPreferences({});
}

QString IPodVolumeTest::freshRoot(const QString &name)
{
    const QString root = m_volumes.path() + QLatin1Char('/') + QString::fromLatin1(QTest::currentTestFunction()) +
                         QLatin1Char('/') + name;
    QDir(root).removeRecursively();
    return root;
}

void IPodVolumeTest::familyFromSysInfo_data()
{
    QTest::addColumn<QString>("sysInfo");
    QTest::addColumn<int>("family");
    QTest::addColumn<QString>("description");
    const auto revision = [](const char *value) {
        return QStringLiteral("pszSerialNumber: S\nboardHwSwInterfaceRev: %1\n").arg(QLatin1String(value));
    };
    QTest::newRow("1G") << revision("0x00010000 (1.0 0)") << 1 << "iPod 1G/2G";
    QTest::newRow("2G") << revision("0x00020000") << 1 << "iPod 1G/2G";
    QTest::newRow("3G") << revision("0x00030001") << 2 << "iPod 3G";
    QTest::newRow("mini 1G") << revision("0x00040013") << 3 << "iPod mini";
    QTest::newRow("mini 2G") << revision("0x00070002") << 3 << "iPod mini";
    QTest::newRow("4G") << revision("0x00050013") << 4 << "iPod 4G";
    QTest::newRow("4G late") << revision("0x00050014") << 4 << "iPod 4G";
    QTest::newRow("photo") << revision("0x00060000") << 5 << "iPod photo/color";
    QTest::newRow("color") << revision("0x00060004") << 5 << "iPod photo/color";
    QTest::newRow("5G") << revision("0x000B0005 (B.0 5)") << 6 << "iPod 5G";
    QTest::newRow("nano") << revision("0x000C0005") << 7 << "iPod nano";
    QTest::newRow("lower-case hex is another value") << revision("0x000b0005") << 0 << "Unknown";
    QTest::newRow("prefix only at the start") << revision("x0x000B0005") << 0 << "Unknown";
    QTest::newRow("no revision key") << QStringLiteral("pszSerialNumber: S\n") << 0 << "Unknown";
    QTest::newRow("no SysInfo") << QString() << 128 << "iPod shuffle";
    QTest::newRow("SysInfo without a key") << QStringLiteral("just words\n\n") << 128 << "iPod shuffle";
    QTest::newRow("empty SysInfo file") << QStringLiteral("\n") << 128 << "iPod shuffle";
}

void IPodVolumeTest::familyFromSysInfo()
{
    QFETCH(QString, sysInfo);
    QFETCH(int, family);
    QFETCH(QString, description);
    const TVRiPodPtr iPod = TVRiPod::withPath(IPodFixture::create(freshRoot(QStringLiteral("IPOD")), sysInfo));
    QCOMPARE(iPod->iPodFamily(), family);
    QCOMPARE(iPod->iPodFamilyDescription(), description);
}

void IPodVolumeTest::capabilities_data()
{
    QTest::addColumn<int>("family");
    QTest::addColumn<QString>("expected"); // shuffle, display, colour, photos, notes, TV out, video
    QTest::newRow("unknown") << 0 << "-D--N--";
    QTest::newRow("1G/2G") << 1 << "-D-----";
    QTest::newRow("3G") << 2 << "-D--N--";
    QTest::newRow("mini") << 3 << "-D--N--";
    QTest::newRow("4G") << 4 << "-D--N--";
    QTest::newRow("photo") << 5 << "-DCPNT-";
    QTest::newRow("5G") << 6 << "-DCPNTV";
    QTest::newRow("nano") << 7 << "-DCPN--";
    QTest::newRow("shuffle") << 128 << "S------";
}

void IPodVolumeTest::capabilities()
{
    QFETCH(int, family);
    QFETCH(QString, expected);
    const TVRiPodPtr iPod = TVRiPod::withPath(
        IPodFixture::createWithFamily(freshRoot(QStringLiteral("IPOD")), family, QStringLiteral("S")));
    QCOMPARE(iPod->iPodFamily(), family);
    const QString actual = QString() + (iPod->isiPodShuffle() ? u'S' : u'-') + (iPod->hasDisplay() ? u'D' : u'-') +
                           (iPod->hasColorDisplay() ? u'C' : u'-') + (iPod->hasPhotoAlbum() ? u'P' : u'-') +
                           (iPod->hasNotes() ? u'N' : u'-') + (iPod->hasTVOut() ? u'T' : u'-') +
                           (iPod->hasVideoPlayback() ? u'V' : u'-');
    QCOMPARE(actual, expected);
    QCOMPARE(iPod->useNotes(), iPod->hasNotes());
}

void IPodVolumeTest::sysInfoLines_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QVariantMap>("expected");
    QTest::newRow("plain") << QByteArray("a: 1\nb: 2\n") << QVariantMap{{"a", "1"}, {"b", "2"}};
    QTest::newRow("blanks before key and value skipped, after value kept")
        << QByteArray("  \tkey:\t  value  \n") << QVariantMap{{"key", "value  "}};
    QTest::newRow("blanks inside the key kept") << QByteArray("my key : v\n") << QVariantMap{{"my key ", "v"}};
    QTest::newRow("line without colon skipped") << QByteArray("garbage\nk: v\n") << QVariantMap{{"k", "v"}};
    QTest::newRow("later duplicate wins") << QByteArray("k: 1\nk: 2\n") << QVariantMap{{"k", "2"}};
    QTest::newRow("colon inside the value") << QByteArray("t: 12:30:00\n") << QVariantMap{{"t", "12:30:00"}};
    QTest::newRow("no final line feed") << QByteArray("k: v") << QVariantMap{{"k", "v"}};
    QTest::newRow("carriage return stays in the value") << QByteArray("k: v\r\n") << QVariantMap{{"k", "v\r"}};
    QTest::newRow("blank lines") << QByteArray("\n\n  \nk: v\n\n") << QVariantMap{{"k", "v"}};
    QTest::newRow("Latin-1 bytes") << QByteArray("k: caf\xE9\n") << QVariantMap{{"k", QStringLiteral("café")}};
}

void IPodVolumeTest::sysInfoLines()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QVariantMap, expected);
    const QString root = IPodFixture::create(freshRoot(QStringLiteral("IPOD")), QString());
    IPodFixture::writeFile(root, QStringLiteral("iPod_Control/Device/SysInfo"), bytes);
    const TVRiPodPtr iPod = TVRiPod::withPath(root);
    QCOMPARE(iPod->deviceInformation().value(), std::optional<QVariantMap>(expected));
}

void IPodVolumeTest::malformedSysInfoRaises_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("line");
    QTest::newRow("empty value") << QByteArray("a: 1\nModelNumStr:\n") << 2;
    QTest::newRow("only blanks after the colon") << QByteArray("k:   \n") << 1;
    QTest::newRow("empty key") << QByteArray("a: 1\nb: 2\n: orphan\n") << 3;
}

void IPodVolumeTest::malformedSysInfoRaises()
{
    QFETCH(QByteArray, bytes);
    QFETCH(int, line);
    const QString root = IPodFixture::create(freshRoot(QStringLiteral("IPOD")), QString());
    IPodFixture::writeFile(root, QStringLiteral("iPod_Control/Device/SysInfo"), bytes);
    try {
        TVRiPod::withPath(root);
        QFAIL("a SysInfo line without key or value must raise");
    } catch (const SysInfoError &error) {
        QVERIFY2(error.message().contains(QStringLiteral("SysInfo: line %1: ").arg(line)), qPrintable(error.message()));
    }
}

// A SysInfo of binary junk (as some modded iPods carry) is no text: the iPod is taken for a shuffle.
void IPodVolumeTest::binarySysInfoCountsAsNone()
{
    const QString root = IPodFixture::create(freshRoot(QStringLiteral("IPOD")), QString());
    IPodFixture::writeFile(root, QStringLiteral("iPod_Control/Device/SysInfo"),
                           QByteArray("\x01\x00pszSerialNumber: X\n\xff\x00", 22));
    const TVRiPodPtr iPod = TVRiPod::withPath(root);
    QVERIFY(!iPod->deviceInformation().value().has_value());
    QCOMPARE(iPod->iPodFamily(), 128);
    QVERIFY(iPod->serialNumber().isNull());
}

void IPodVolumeTest::identity()
{
    const TVRiPodPtr zed =
        TVRiPod::withPath(IPodFixture::createWithFamily(freshRoot(QStringLiteral("zed")), 6, QStringLiteral("8A1")));
    const TVRiPodPtr alpha =
        TVRiPod::withPath(IPodFixture::createWithFamily(freshRoot(QStringLiteral("Alpha")), 128, QString()));
    QCOMPARE(zed->serialNumber(), QStringLiteral("8A1"));
    QVERIFY(alpha->serialNumber().isNull());
    QCOMPARE(zed->name(), QStringLiteral("zed"));
    QCOMPARE(zed->description(), QStringLiteral("zed = \"iPod 5G\""));
    QVERIFY(alpha->compare(*zed) < 0);
    QVERIFY(zed->compare(*alpha) > 0);
    QVERIFY(!zed->isEqualToiPod(nullptr));
    QVERIFY(!zed->isEqualToiPod(alpha.get()));
    QVERIFY(zed->isEqualToiPod(TVRiPod::withPath(zed->path()).get()));
}

void IPodVolumeTest::folders()
{
    const TVRiPodPtr iPod = TVRiPod::withPath(QStringLiteral("/media/u/IPOD/"));
    QCOMPARE(iPod->notesFolder(), QStringLiteral("/media/u/IPOD/Notes"));
    QCOMPARE(iPod->contactsFolder(), QStringLiteral("/media/u/IPOD/Contacts"));
    QCOMPARE(iPod->calendarsFolder(), QStringLiteral("/media/u/IPOD/Calendars"));
    QCOMPARE(iPod->sysInfoPath(), QStringLiteral("/media/u/IPOD/iPod_Control/Device/SysInfo"));
    QCOMPARE(iPod->name(), QStringLiteral("IPOD"));
}

void IPodVolumeTest::countsNotes()
{
    const QString root = IPodFixture::createWithFamily(freshRoot(QStringLiteral("IPOD")), 6, QStringLiteral("S"));
    const TVRiPodPtr iPod = TVRiPod::withPath(root);
    QCOMPARE(iPod->numberOfNotes(), 0);
    for (const char *file : {"Notes/a.txt", "Notes/.DS_Store", "Notes/x/b.txt", "Notes/.hidden/c.txt"})
        IPodFixture::writeFile(root, QString::fromLatin1(file), "text");
    QDir().mkpath(root + QStringLiteral("/Notes/empty-folder"));
    QFile::link(root + QStringLiteral("/Notes/a.txt"), root + QStringLiteral("/Notes/link.txt"));
    QCOMPARE(iPod->numberOfNotes(), 3);

    QDir(root + QStringLiteral("/Notes")).removeRecursively();
    IPodFixture::writeFile(root, QStringLiteral("Notes"), "a file, not a folder");
    QCOMPARE(iPod->numberOfNotes(), 0);
}

void IPodVolumeTest::countsContactPieces()
{
    const QString root = IPodFixture::createWithFamily(freshRoot(QStringLiteral("IPOD")), 1, QStringLiteral("S"));
    const TVRiPodPtr iPod = TVRiPod::withPath(root);
    QCOMPARE(iPod->numberOfContacts(), 0);
    const QByteArray card = "BEGIN:VCARD\rVERSION:3.0\rN:x\rEND:VCARD\r";
    IPodFixture::writeFile(root, QStringLiteral("Contacts/three.vcf"), card + card.toLower() + card);
    QCOMPARE(iPod->numberOfContacts(), 4);
    IPodFixture::writeFile(root, QStringLiteral("Contacts/sub/one.vcf"), card);
    IPodFixture::writeFile(root, QStringLiteral("Contacts/none.txt"), "no cards here");
    IPodFixture::writeFile(root, QStringLiteral("Contacts/binary.vcf"), QByteArray("BEGIN:VCARD\0\0", 13));
    QCOMPARE(iPod->numberOfContacts(), 6);
}

void IPodVolumeTest::syncsWithTivaro_data()
{
    QTest::addColumn<QVariant>("chosen");
    QTest::addColumn<QString>("serial");
    QTest::addColumn<bool>("syncs");
    QTest::newRow("nothing chosen") << QVariant() << "8A1" << true;
    QTest::newRow("nothing chosen, no serial") << QVariant() << QString() << true;
    QTest::newRow("none chosen") << QVariant(QString()) << "8A1" << false;
    QTest::newRow("this one") << QVariant(QStringLiteral("8A1")) << "8A1" << true;
    QTest::newRow("another one") << QVariant(QStringLiteral("9Z9")) << "8A1" << false;
    QTest::newRow("no serial never matches") << QVariant(QStringLiteral("9Z9")) << QString() << false;
    QTest::newRow("not a string") << QVariant(qint64(8)) << "8" << false;
}

void IPodVolumeTest::syncsWithTivaro()
{
    QFETCH(QVariant, chosen);
    QFETCH(QString, serial);
    QFETCH(bool, syncs);
    const int family = serial.isNull() ? 128 : 6;
    const TVRiPodPtr iPod =
        TVRiPod::withPath(IPodFixture::createWithFamily(freshRoot(QStringLiteral("IPOD")), family, serial));
    QVERIFY(iPod->syncsWithTivaro());
    // Another program changes the choice after the object was made: the next answer sees it.
    m_home.writeApplicationPreferences(chosen.isValid() ? QVariantMap{{QStringLiteral("TVRSyncSN"), chosen}}
                                                        : QVariantMap{});
    QCOMPARE(iPod->syncsWithTivaro(), syncs);
}

void IPodVolumeTest::refusesToRemoveOutsideNotes()
{
    const QString root = IPodFixture::createWithFamily(freshRoot(QStringLiteral("IPOD")), 6, QStringLiteral("S"));
    IPodFixture::writeFile(root, QStringLiteral("Notes/mine.txt"), "x");
    const TVRiPodPtr iPod = TVRiPod::withPath(root);
    for (const QString &name :
         {QString(), QStringLiteral("."), QStringLiteral(".."), QStringLiteral("../iPod_Control")})
        iPod->removeNotesFoldersNamed(name);
    QVERIFY(QFileInfo::exists(root + QStringLiteral("/Notes/mine.txt")));
    QVERIFY(QFileInfo::exists(iPod->sysInfoPath()));
}

QTEST_GUILESS_MAIN(IPodVolumeTest)
#include "tst_ipodvolume.moc"
