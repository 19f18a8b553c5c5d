#include "IPodFixture.h"
#include "TemporaryHome.h"

#include "ipod/SysInfoError.h"
#include "ipod/TVRiPod.h"
#include "ipod/TVRiPodManager.h"

#include <QDir>
#include <QtTest>

// Discovery against described mount tables: each test writes a mountinfo file and points
// TIVARO_MOUNTINFO at it, with fixture iPods as the mount points.
class IPodManagerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void isiPodAtPath();
    void listsLocalWritableiPodsSortedByName();
    void skipsNetworkAndReadOnlyMounts_data();
    void skipsNetworkAndReadOnlyMounts();
    void decodesEscapedMountPoints();
    void onlyAShuffle();
    void chosenByPreference();
    void userHasChoseniPod_data();
    void userHasChoseniPod();
    void scanExplainsUnusableVolumes();
    void malformedSysInfoIsLeftOutAndScanReports();
    void unreadableMountTableGivesNothing();

private:
    QString fixture(const QString &name, int family, const QString &serial = QStringLiteral("S1"));
    void mount(const QList<QStringList> &mounts);

    TemporaryHome m_home;
    QTemporaryDir m_folder;
};

void IPodManagerTest::initTestCase()
{
    QVERIFY(m_home.isValid());
}

void IPodManagerTest::init()
{
    m_home.writeApplicationPreferences({});
}

void IPodManagerTest::cleanup()
{
    qunsetenv("TIVARO_MOUNTINFO");
}

QString IPodManagerTest::fixture(const QString &name, int family, const QString &serial)
{
    const QString root = m_folder.path() + QLatin1Char('/') + QString::fromLatin1(QTest::currentTestFunction()) +
                         QLatin1Char('/') + name;
    QDir(root).removeRecursively();
    return IPodFixture::createWithFamily(root, family, serial);
}

void IPodManagerTest::mount(const QList<QStringList> &mounts)
{
    const QString table =
        m_folder.path() + QStringLiteral("/mountinfo-") + QString::fromLatin1(QTest::currentTestFunction());
    QFile file(table);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write("1 0 8:1 / / rw,relatime shared:1 - ext4 /dev/sda1 rw\n" + IPodFixture::mountInfo(mounts));
    file.close();
    qputenv("TIVARO_MOUNTINFO", QFile::encodeName(table));
}

void IPodManagerTest::isiPodAtPath()
{
    const QString root = fixture(QStringLiteral("IPOD"), 6);
    QVERIFY(TVRiPodManager::isiPodAtPath(root));
    QVERIFY(TVRiPodManager::problemWithPath(root).isEmpty());

    const QString plain = m_folder.path() + QStringLiteral("/plain-disk");
    QDir().mkpath(plain);
    IPodFixture::writeFile(plain, QStringLiteral("iPod_Control"), "a file, not a folder");
    QVERIFY(!TVRiPodManager::isiPodAtPath(plain));
    QVERIFY(TVRiPodManager::problemWithPath(plain).contains(QStringLiteral("no iPod_Control folder")));
    QVERIFY(!TVRiPodManager::isiPodAtPath(QString()));
    QVERIFY(TVRiPodManager::problemWithPath(m_folder.path() + QStringLiteral("/gone"))
                .contains(QStringLiteral("does not exist")));
    QVERIFY(!TVRiPod::iPodAtPath(plain));
}

void IPodManagerTest::listsLocalWritableiPodsSortedByName()
{
    const QString zed = fixture(QStringLiteral("zed"), 6, QStringLiteral("Z"));
    const QString alpha = fixture(QStringLiteral("Alpha"), 7, QStringLiteral("A"));
    const QString beta = fixture(QStringLiteral("beta"), 5, QStringLiteral("B"));
    const QString notAniPod = m_folder.path() + QStringLiteral("/usb-stick");
    QDir().mkpath(notAniPod);
    mount({{zed, QStringLiteral("vfat")},
           {notAniPod, QStringLiteral("vfat")},
           {alpha, QStringLiteral("fuse.fusefat")},
           {beta, QStringLiteral("vfat")}});

    const QList<TVRiPodPtr> iPods = TVRiPodManager::sharedManager().connectediPods();
    QStringList names;
    for (const TVRiPodPtr &iPod : iPods)
        names << iPod->name();
    QCOMPARE(names, (QStringList{QStringLiteral("Alpha"), QStringLiteral("beta"), QStringLiteral("zed")}));
    QCOMPARE(TVRiPodManager::sharedManager().numberOfSyncableiPods(), 3);
    QCOMPARE(TVRiPod::connectediPod()->name(), QStringLiteral("Alpha"));
}

void IPodManagerTest::skipsNetworkAndReadOnlyMounts_data()
{
    QTest::addColumn<QString>("type");
    QTest::addColumn<QString>("options");
    QTest::addColumn<bool>("found");
    QTest::newRow("vfat") << "vfat"
                          << "rw,nosuid" << true;
    QTest::newRow("FUSE of a local image") << "fuse.fusefat"
                                           << "rw" << true;
    QTest::newRow("nfs") << "nfs4"
                         << "rw" << false;
    QTest::newRow("smb") << "cifs"
                         << "rw" << false;
    QTest::newRow("sshfs") << "fuse.sshfs"
                           << "rw" << false;
    QTest::newRow("read-only vfat") << "vfat"
                                    << "ro,nosuid" << false;
    QTest::newRow("Mac-formatted") << "hfsplus"
                                   << "ro" << false;
}

void IPodManagerTest::skipsNetworkAndReadOnlyMounts()
{
    QFETCH(QString, type);
    QFETCH(QString, options);
    QFETCH(bool, found);
    const QString root = fixture(QStringLiteral("IPOD"), 6);
    mount({{root, type, options}});
    QCOMPARE(TVRiPodManager::sharedManager().connectediPods().size(), found ? 1 : 0);
}

void IPodManagerTest::decodesEscapedMountPoints()
{
    const QString root = fixture(QStringLiteral("My iPod"), 6);
    mount({{root, QStringLiteral("vfat")}});
    const QList<TVRiPodPtr> iPods = TVRiPodManager::sharedManager().connectediPods();
    QCOMPARE(iPods.size(), 1);
    QCOMPARE(iPods.first()->path(), root);
    QCOMPARE(iPods.first()->name(), QStringLiteral("My iPod"));
}

void IPodManagerTest::onlyAShuffle()
{
    mount({{fixture(QStringLiteral("Shuffle"), 128), QStringLiteral("vfat")}});
    const TVRiPodManager manager = TVRiPodManager::sharedManager();
    QCOMPARE(manager.connectediPods().size(), 1);
    QVERIFY(!manager.connectedSyncableiPods().has_value());
    QCOMPARE(manager.numberOfSyncableiPods(), 0);
    // Nothing was chosen, so the shuffle syncs as far as the manager is concerned...
    QVERIFY(manager.choseniPod());
    QVERIFY(manager.choseniPod()->isiPodShuffle());
    // ...but it is never the iPod a sync goes to.
    QVERIFY(!TVRiPod::connectediPod());
}

void IPodManagerTest::chosenByPreference()
{
    mount({{fixture(QStringLiteral("Alpha"), 6, QStringLiteral("AAA")), QStringLiteral("vfat")},
           {fixture(QStringLiteral("Beta"), 6, QStringLiteral("BBB")), QStringLiteral("vfat")}});
    const TVRiPodManager manager = TVRiPodManager::sharedManager();
    QCOMPARE(manager.choseniPod()->name(), QStringLiteral("Alpha"));
    m_home.writeApplicationPreferences({{QStringLiteral("TVRSyncSN"), QStringLiteral("BBB")}});
    QCOMPARE(manager.choseniPod()->name(), QStringLiteral("Beta"));
    QCOMPARE(TVRiPod::connectediPod()->serialNumber(), QStringLiteral("BBB"));
    m_home.writeApplicationPreferences({{QStringLiteral("TVRSyncSN"), QString()}});
    QVERIFY(!manager.choseniPod());
    QVERIFY(!TVRiPod::connectediPod());
}

void IPodManagerTest::userHasChoseniPod_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<bool>("chosen");
    QTest::newRow("absent") << QVariant() << false;
    QTest::newRow("empty") << QVariant(QString()) << false;
    QTest::newRow("a serial") << QVariant(QStringLiteral("8A1")) << true;
    QTest::newRow("not a string") << QVariant(qint64(5)) << false;
}

void IPodManagerTest::userHasChoseniPod()
{
    QFETCH(QVariant, value);
    QFETCH(bool, chosen);
    m_home.writeApplicationPreferences(value.isValid() ? QVariantMap{{QStringLiteral("TVRSyncSN"), value}}
                                                       : QVariantMap{});
    QCOMPARE(TVRiPodManager::userHasChoseniPod(), chosen);
}

void IPodManagerTest::scanExplainsUnusableVolumes()
{
    const QString good = fixture(QStringLiteral("Good"), 6);
    const QString mac = fixture(QStringLiteral("MacPod"), 6);
    const QString readOnly = fixture(QStringLiteral("Locked"), 6);
    const QString remote = fixture(QStringLiteral("Remote"), 6);
    mount({{good, QStringLiteral("vfat")},
           {mac, QStringLiteral("hfsplus"), QStringLiteral("ro,nosuid")},
           {readOnly, QStringLiteral("vfat"), QStringLiteral("ro")},
           {remote, QStringLiteral("nfs")}});
    const QList<DetectedVolume> volumes = TVRiPodManager::sharedManager().scanVolumes();
    QCOMPARE(volumes.size(), 3);
    QCOMPARE(volumes.at(0).path, good);
    QVERIFY(volumes.at(0).iPod && volumes.at(0).problem.isEmpty());
    QCOMPARE(volumes.at(1).path, readOnly);
    QVERIFY(!volumes.at(1).iPod);
    QVERIFY(volumes.at(1).problem.contains(QStringLiteral("read-only")));
    QCOMPARE(volumes.at(2).path, mac);
    QVERIFY(volumes.at(2).problem.contains(QStringLiteral("HFS+")));
    QCOMPARE(volumes.at(2).fileSystemType, QStringLiteral("hfsplus"));
}

void IPodManagerTest::malformedSysInfoIsLeftOutAndScanReports()
{
    const QString broken = fixture(QStringLiteral("Broken"), 0);
    IPodFixture::writeFile(broken, QStringLiteral("iPod_Control/Device/SysInfo"), "pszSerialNumber:\n");
    const QString good = fixture(QStringLiteral("Good"), 6, QStringLiteral("G1"));
    mount({{broken, QStringLiteral("vfat")}, {good, QStringLiteral("vfat")}});
    // The broken one does not hide the good one from the sync's choice.
    const QList<TVRiPodPtr> iPods = TVRiPodManager::sharedManager().connectediPods();
    QCOMPARE(iPods.size(), 1);
    QCOMPARE(iPods.first()->path(), good);
    QCOMPARE(TVRiPodManager::sharedManager().choseniPod()->path(), good);
    const QList<DetectedVolume> volumes = TVRiPodManager::sharedManager().scanVolumes();
    QCOMPARE(volumes.size(), 2);
    QCOMPARE(volumes.first().path, broken);
    QVERIFY(!volumes.first().iPod);
    QVERIFY(volumes.first().problem.contains(QStringLiteral("line 1")));
}

void IPodManagerTest::unreadableMountTableGivesNothing()
{
    qputenv("TIVARO_MOUNTINFO", QFile::encodeName(m_folder.path() + QStringLiteral("/no-such-table")));
    QVERIFY(TVRiPodManager::sharedManager().connectediPods().isEmpty());
    QVERIFY(TVRiPodManager::sharedManager().scanVolumes().isEmpty());
}

QTEST_GUILESS_MAIN(IPodManagerTest)
#include "tst_ipodmanager.moc"
