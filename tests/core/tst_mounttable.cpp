#include "core/FileWriter_p.h"
#include "core/MountTable.h"

#include <QFile>
#include <QRegularExpression>
#include <QScopeGuard>
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
    void classifiesFileSystems_data();
    void classifiesFileSystems();
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
    QTest::addColumn<bool>("readOnly");

    const auto row = [](const char *name, const char *line, const char *mountPoint, const char *type,
                        const char *source, const char *mountOptions, const char *superOptions, bool readOnly) {
        const auto list = [](const char *options) {
            return QString::fromUtf8(options).split(QLatin1Char(','), Qt::SkipEmptyParts);
        };
        QTest::newRow(name) << QByteArray(line) << QString::fromUtf8(mountPoint) << QString::fromUtf8(type)
                            << QString::fromUtf8(source) << list(mountOptions) << list(superOptions) << readOnly;
    };
    row("one optional field", "36 35 98:0 /mnt1 /mnt/parent rw,relatime master:1 - ext3 /dev/root rw,errors=continue",
        "/mnt/parent", "ext3", "/dev/root", "rw,relatime", "rw,errors=continue", false);
    row("no optional field", "120 25 8:33 / /media/user/IPOD rw,nosuid - vfat /dev/sdc1 rw,fmask=0022",
        "/media/user/IPOD", "vfat", "/dev/sdc1", "rw,nosuid", "rw,fmask=0022", false);
    row("several optional fields",
        "61 30 0:52 / /srv/share rw shared:33 master:2 propagate_from:4 unbindable - nfs4 server:/export rw,vers=4.2",
        "/srv/share", "nfs4", "server:/export", "rw", "rw,vers=4.2", false);
    // Older kernels may end a line after the source.
    row("no super options", "22 1 0:20 / /proc rw,relatime - proc proc", "/proc", "proc", "proc", "rw,relatime", "",
        false);
    // A mount point literally called "-" must not be taken for the separator.
    row("mount point named -", "70 1 8:1 / /- rw shared:1 - ext4 /dev/sda1 rw", "/-", "ext4", "/dev/sda1", "rw", "rw",
        false);
    row("ro mount option", "1 1 8:1 / /m ro,noatime - vfat /dev/sdb1 rw", "/m", "vfat", "/dev/sdb1", "ro,noatime", "rw",
        true);
    row("ro super option", "1 1 8:1 / /m rw - hfsplus /dev/sdb2 ro,umask=22", "/m", "hfsplus", "/dev/sdb2", "rw",
        "ro,umask=22", true);
    row("ro inside another option", "1 1 8:1 / /m rw,errors=remount-ro - ext4 /dev/sda1 rw,errors=remount-ro", "/m",
        "ext4", "/dev/sda1", "rw,errors=remount-ro", "rw,errors=remount-ro", false);
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
    QTEST(entry.isReadOnly(), "readOnly");
}

void TestMountTable::unescapesMountPoints_data()
{
    QTest::addColumn<QByteArray>("field");
    QTest::addColumn<QString>("mountPoint");

    QTest::newRow("space") << QByteArray("/media/user/My\\040iPod") << QStringLiteral("/media/user/My iPod");
    QTest::newRow("newline") << QByteArray("/mnt/a\\012b") << QStringLiteral("/mnt/a\nb");
    QTest::newRow("escape at the very end") << QByteArray("/mnt/trailing\\040") << QStringLiteral("/mnt/trailing ");
    QTest::newRow("several, backslash") << QByteArray("/mnt/\\040a\\040\\134\\040") << QStringLiteral("/mnt/ a \\ ");
    // Names are bytes in the locale's encoding (UTF-8 here) and stay so after unescaping.
    QTest::newRow("utf-8 name") << QByteArray("/media/J\xc3\xa9r\xc3\xb4me\\040iPod")
                                << QStringLiteral("/media/J\u00e9r\u00f4me iPod");
    QTest::newRow("backslash without octal digits") << QByteArray("/mnt/a\\xyz") << QStringLiteral("/mnt/a\\xyz");
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
    QStringList points;
    for (const MountEntry &entry : MountTable::parse(text))
        points.append(entry.mountPoint);
    QCOMPARE(points, (QStringList{QStringLiteral("/"), QStringLiteral("/media/IPOD")}));
}

void TestMountTable::classifiesFileSystems_data()
{
    QTest::addColumn<QString>("type");
    QTest::addColumn<bool>("local");
    QTest::addColumn<bool>("mac");

    const auto row = [](const char *type, bool local, bool mac) {
        QTest::newRow(type) << QString::fromLatin1(type) << local << mac;
    };
    row("ext4", true, false);
    row("vfat", true, false);
    row("fuseblk", true, false);
    row("fuse.exfat", true, false);
    row("hfsplus", true, true);
    row("hfs", true, true);
    row("apfs", true, false);
    row("nfs4", false, false);
    row("cifs", false, false);
    row("sshfs", false, false);
    row("fuse.sshfs", false, false);
    row("fuse.gvfsd-fuse", false, false);
    // Touching an automount point would mount it.
    row("autofs", false, false);
}

void TestMountTable::classifiesFileSystems()
{
    MountEntry entry;
    QFETCH(QString, type);
    entry.fileSystemType = type;
    QTEST(entry.isLocal(), "local");
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

    const MountEntry *slashed = MountTable::entryForMountPoint(table, QStringLiteral("/media/IPOD2/"));
    QVERIFY(slashed);
    QCOMPARE(slashed->source, QStringLiteral("/dev/sdc1"));
    QCOMPARE(MountTable::entryForMountPoint(table, QStringLiteral("/media/./IPOD2")), slashed);

    // A folder inside a mount, or a prefix of one, is no mount point.
    for (const QString &path :
         {QStringLiteral("/media/IPOD/iPod_Control"), QStringLiteral("/media/IPO"), QStringLiteral("/media")})
        QVERIFY2(!MountTable::entryForMountPoint(table, path), qPrintable(path));
    QVERIFY(!MountTable::entryForMountPoint({}, QStringLiteral("/")));
}

void TestMountTable::currentReadsOverrideFile()
{
    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("mountinfo"));
    QVERIFY(FileWriter::writeAtomically(path, "30 25 8:17 / /media/Test\\040Pod rw - vfat /dev/sdb1 rw\n",
                                        FileWriter::Cached));
    const QByteArray saved = qgetenv("TIVARO_MOUNTINFO");
    const auto restore =
        qScopeGuard([&saved] { saved.isNull() ? qunsetenv("TIVARO_MOUNTINFO") : qputenv("TIVARO_MOUNTINFO", saved); });
    if (saved.isNull()) {
        // Without the override it is the kernel's table, which always has a root.
        QCOMPARE(MountTable::currentSourcePath(), QStringLiteral("/proc/self/mountinfo"));
        QVERIFY(MountTable::entryForMountPoint(MountTable::current(), QStringLiteral("/")));
    }

    qputenv("TIVARO_MOUNTINFO", QFile::encodeName(path));
    QCOMPARE(MountTable::currentSourcePath(), path);
    const QList<MountEntry> overridden = MountTable::current();
    QCOMPARE(overridden.size(), 1);
    QCOMPARE(overridden.constFirst().mountPoint, QStringLiteral("/media/Test Pod"));

    qputenv("TIVARO_MOUNTINFO", QFile::encodeName(path + QStringLiteral(".missing")));
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("Cannot read the mount table")));
    QVERIFY(MountTable::current().isEmpty());
}

QTEST_GUILESS_MAIN(TestMountTable)
#include "tst_mounttable.moc"
