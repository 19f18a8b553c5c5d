#include "core/MountTable.h"

#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

class TestMountTable : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void parsesFields_data();
    void parsesFields();
    void unescapesMountPoints_data();
    void unescapesMountPoints();
    void skipsMalformedLines();
    void isLocal_data();
    void isLocal();
    void isReadOnly_data();
    void isReadOnly();
    void isMacFormatted_data();
    void isMacFormatted();
    void entryForMountPoint();
    void currentReadsOverrideFile();
};

void TestMountTable::parsesFields_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QString>("mountPoint");
    QTest::addColumn<QString>("type");
    QTest::addColumn<QString>("source");
    QTest::addColumn<QStringList>("mountOptions");
    QTest::addColumn<QStringList>("superOptions");

    const QStringList rwRelatime{QStringLiteral("rw"), QStringLiteral("relatime")};
    QTest::newRow("one optional field")
        << QByteArray("36 35 98:0 /mnt1 /mnt/parent rw,relatime master:1 - ext3 /dev/root rw,errors=continue")
        << QStringLiteral("/mnt/parent") << QStringLiteral("ext3") << QStringLiteral("/dev/root") << rwRelatime
        << QStringList{QStringLiteral("rw"), QStringLiteral("errors=continue")};
    QTest::newRow("no optional field")
        << QByteArray("120 25 8:33 / /media/user/IPOD rw,nosuid,nodev - vfat /dev/sdc1 rw,fmask=0022,shortname=mixed")
        << QStringLiteral("/media/user/IPOD") << QStringLiteral("vfat") << QStringLiteral("/dev/sdc1")
        << QStringList{QStringLiteral("rw"), QStringLiteral("nosuid"), QStringLiteral("nodev")}
        << QStringList{QStringLiteral("rw"), QStringLiteral("fmask=0022"), QStringLiteral("shortname=mixed")};
    QTest::newRow("several optional fields")
        << QByteArray("61 30 0:52 / /srv/share rw,relatime shared:33 master:2 propagate_from:4 unbindable - nfs4 "
                      "server:/export rw,vers=4.2")
        << QStringLiteral("/srv/share") << QStringLiteral("nfs4") << QStringLiteral("server:/export") << rwRelatime
        << QStringList{QStringLiteral("rw"), QStringLiteral("vers=4.2")};
    // Older kernels may end a line after the source.
    QTest::newRow("no super options") << QByteArray("22 1 0:20 / /proc rw,relatime - proc proc")
                                      << QStringLiteral("/proc") << QStringLiteral("proc") << QStringLiteral("proc")
                                      << rwRelatime << QStringList();
    // A mount point literally called "-" must not be taken for the separator.
    QTest::newRow("mount point named -") << QByteArray("70 1 8:1 / /- rw shared:1 - ext4 /dev/sda1 rw")
                                         << QStringLiteral("/-") << QStringLiteral("ext4")
                                         << QStringLiteral("/dev/sda1") << QStringList{QStringLiteral("rw")}
                                         << QStringList{QStringLiteral("rw")};
}

void TestMountTable::parsesFields()
{
    QFETCH(QByteArray, line);
    const QList<MountEntry> table = MountTable::parse(line + '\n');
    QCOMPARE(table.size(), 1);
    const MountEntry &entry = table.constFirst();
    QTEST(entry.mountPoint, "mountPoint");
    QTEST(entry.fileSystemType, "type");
    QTEST(entry.source, "source");
    QTEST(entry.mountOptions, "mountOptions");
    QTEST(entry.superOptions, "superOptions");
}

void TestMountTable::unescapesMountPoints_data()
{
    QTest::addColumn<QByteArray>("field");
    QTest::addColumn<QString>("mountPoint");

    QTest::newRow("space") << QByteArray("/media/user/My\\040iPod") << QStringLiteral("/media/user/My iPod");
    QTest::newRow("tab") << QByteArray("/mnt/a\\011b") << QStringLiteral("/mnt/a\tb");
    QTest::newRow("newline") << QByteArray("/mnt/a\\012b") << QStringLiteral("/mnt/a\nb");
    QTest::newRow("backslash") << QByteArray("/mnt/back\\134slash") << QStringLiteral("/mnt/back\\slash");
    QTest::newRow("escape at the very end") << QByteArray("/mnt/trailing\\040") << QStringLiteral("/mnt/trailing ");
    QTest::newRow("several") << QByteArray("/mnt/\\040a\\040\\134\\040") << QStringLiteral("/mnt/ a \\ ");
    // Names are bytes in the locale's encoding (UTF-8 here) and stay so after unescaping.
    QTest::newRow("utf-8 name") << QByteArray("/media/J\xc3\xa9r\xc3\xb4me\\040iPod")
                                << QStringLiteral("/media/J\u00e9r\u00f4me iPod");
    QTest::newRow("backslash not followed by octal digits")
        << QByteArray("/mnt/a\\xyz") << QStringLiteral("/mnt/a\\xyz");
    QTest::newRow("too few digits at the end") << QByteArray("/mnt/a\\04") << QStringLiteral("/mnt/a\\04");
}

void TestMountTable::unescapesMountPoints()
{
    QFETCH(QByteArray, field);
    const QList<MountEntry> table =
        MountTable::parse("40 1 8:17 / " + field + " rw,nosuid shared:7 - vfat /dev/sdb1 rw\n");
    QCOMPARE(table.size(), 1);
    QTEST(table.constFirst().mountPoint, "mountPoint");
}

void TestMountTable::skipsMalformedLines()
{
    const QByteArray text = "garbage\n"
                            "\n"
                            "25 1 8:1 / / rw,relatime shared:1 - ext4 /dev/sda1 rw\n"
                            "26 1 8:2 / /no/separator rw,relatime shared:1 ext4 /dev/sda2 rw\n"
                            "27 1 8:3 / /separator/last rw,relatime -\n"
                            "28 1 8:4 / /no/source rw - ext4\n"
                            "29 1 8:5\n"
                            "30 25 8:17 / /media/IPOD rw - vfat /dev/sdb1 rw"; // no final newline
    const QList<MountEntry> table = MountTable::parse(text);
    QStringList points;
    for (const MountEntry &entry : table)
        points.append(entry.mountPoint);
    QCOMPARE(points, (QStringList{QStringLiteral("/"), QStringLiteral("/media/IPOD")}));
}

void TestMountTable::isLocal_data()
{
    QTest::addColumn<QString>("type");
    QTest::addColumn<bool>("local");

    for (const char *type : {"ext4", "vfat", "exfat", "fuseblk", "fuse.fusefat", "fuse.exfat", "hfsplus", "tmpfs"})
        QTest::newRow(type) << QString::fromLatin1(type) << true;
    for (const char *type :
         {"nfs", "nfs4", "cifs", "smb3", "9p", "fuse.sshfs", "fuse.rclone", "fuse.gvfsd-fuse", "autofs"})
        QTest::newRow(type) << QString::fromLatin1(type) << false;
}

void TestMountTable::isLocal()
{
    QFETCH(QString, type);
    MountEntry entry;
    entry.fileSystemType = type;
    QTEST(entry.isLocal(), "local");
}

void TestMountTable::isReadOnly_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<bool>("readOnly");

    QTest::newRow("rw both") << QByteArray("1 1 8:1 / /m rw,noatime - vfat /dev/sdb1 rw") << false;
    QTest::newRow("ro mount option") << QByteArray("1 1 8:1 / /m ro,noatime - vfat /dev/sdb1 rw") << true;
    QTest::newRow("ro super option") << QByteArray("1 1 8:1 / /m rw,noatime - hfsplus /dev/sdb2 ro,umask=22") << true;
    // "ro" as a substring of another option is no read-only flag.
    QTest::newRow("ro inside another option")
        << QByteArray("1 1 8:1 / /m rw,errors=remount-ro - ext4 /dev/sda1 rw,errors=remount-ro") << false;
}

void TestMountTable::isReadOnly()
{
    QFETCH(QByteArray, line);
    const QList<MountEntry> table = MountTable::parse(line);
    QCOMPARE(table.size(), 1);
    QTEST(table.constFirst().isReadOnly(), "readOnly");
}

void TestMountTable::isMacFormatted_data()
{
    QTest::addColumn<QString>("type");
    QTest::addColumn<bool>("mac");

    QTest::newRow("hfsplus") << QStringLiteral("hfsplus") << true;
    QTest::newRow("hfs") << QStringLiteral("hfs") << true;
    QTest::newRow("vfat") << QStringLiteral("vfat") << false;
    QTest::newRow("apfs is not hfs") << QStringLiteral("apfs") << false;
}

void TestMountTable::isMacFormatted()
{
    QFETCH(QString, type);
    MountEntry entry;
    entry.fileSystemType = type;
    QTEST(entry.isMacFormatted(), "mac");
}

void TestMountTable::entryForMountPoint()
{
    // An iPod mounted twice on the same point: the later mount hides the earlier one.
    const QList<MountEntry> table = MountTable::parse("25 1 8:1 / / rw - ext4 /dev/sda1 rw\n"
                                                      "40 25 8:17 / /media/IPOD rw - vfat /dev/sdb1 rw\n"
                                                      "41 25 8:33 / /media/IPOD2 rw - vfat /dev/sdc1 rw\n"
                                                      "42 40 8:18 / /media/IPOD ro - hfsplus /dev/sdb2 ro\n");
    QCOMPARE(table.size(), 4);

    const MountEntry *stacked = MountTable::entryForMountPoint(table, QStringLiteral("/media/IPOD"));
    QVERIFY(stacked);
    QCOMPARE(stacked->source, QStringLiteral("/dev/sdb2"));
    QVERIFY(stacked->isMacFormatted());

    const MountEntry *slashed = MountTable::entryForMountPoint(table, QStringLiteral("/media/IPOD2/"));
    QVERIFY(slashed);
    QCOMPARE(slashed->source, QStringLiteral("/dev/sdc1"));
    const MountEntry *dotted = MountTable::entryForMountPoint(table, QStringLiteral("/media/./IPOD2"));
    QCOMPARE(dotted, slashed);

    // A folder inside a mount, or a prefix of one, is no mount point.
    QVERIFY(!MountTable::entryForMountPoint(table, QStringLiteral("/media/IPOD/iPod_Control")));
    QVERIFY(!MountTable::entryForMountPoint(table, QStringLiteral("/media/IPO")));
    QVERIFY(!MountTable::entryForMountPoint(table, QStringLiteral("/media")));
    QVERIFY(!MountTable::entryForMountPoint({}, QStringLiteral("/")));
}

void TestMountTable::currentReadsOverrideFile()
{
    QTemporaryDir folder;
    QVERIFY(folder.isValid());
    const QString path = folder.filePath(QStringLiteral("mountinfo"));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("30 25 8:17 / /media/Test\\040Pod rw - vfat /dev/sdb1 rw\n");
    file.close();

    const QByteArray saved = qgetenv("TIVARO_MOUNTINFO");
    qputenv("TIVARO_MOUNTINFO", QFile::encodeName(path));
    const QString source = MountTable::currentSourcePath();
    const QList<MountEntry> overridden = MountTable::current();
    qputenv("TIVARO_MOUNTINFO", QFile::encodeName(path + QStringLiteral(".missing")));
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("Cannot read the mount table")));
    const QList<MountEntry> missing = MountTable::current();
    if (saved.isNull())
        qunsetenv("TIVARO_MOUNTINFO");
    else
        qputenv("TIVARO_MOUNTINFO", saved);

    QCOMPARE(source, path);
    QCOMPARE(overridden.size(), 1);
    QCOMPARE(overridden.constFirst().mountPoint, QStringLiteral("/media/Test Pod"));
    QVERIFY(missing.isEmpty());

    // Without the override it is the kernel's table, which always has a root.
    if (saved.isNull()) {
        QCOMPARE(MountTable::currentSourcePath(), QStringLiteral("/proc/self/mountinfo"));
        QVERIFY(MountTable::entryForMountPoint(MountTable::current(), QStringLiteral("/")));
    }
}

QTEST_GUILESS_MAIN(TestMountTable)
#include "tst_mounttable.moc"
