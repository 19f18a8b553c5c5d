#include "core/VolumeEjector.h"

#include "UDisks2StandIn.h"

#include <QDBusConnection>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

namespace {

const QString kBusy = QStringLiteral("org.freedesktop.UDisks2.Error.DeviceBusy");
const QString kFailed = QStringLiteral("org.freedesktop.UDisks2.Error.Failed");
const QString kNotMounted = QStringLiteral("org.freedesktop.UDisks2.Error.NotMounted");
// Desktops mount under the volume label; UDisks2 sends it as bytes.
const QString kSecondPartition = QStringLiteral("J\u00e9r\u00f4me's iPod");

// Sets TIVARO_MOUNTINFO for its lifetime, so the kernel's table can be replaced by a described one.
class MountInfoOverride
{
public:
    explicit MountInfoOverride(const QString &path)
        : m_saved(qgetenv("TIVARO_MOUNTINFO"))
    {
        qputenv("TIVARO_MOUNTINFO", QFile::encodeName(path));
    }
    ~MountInfoOverride()
    {
        if (m_saved.isNull())
            qunsetenv("TIVARO_MOUNTINFO");
        else
            qputenv("TIVARO_MOUNTINFO", m_saved);
    }
    MountInfoOverride(const MountInfoOverride &) = delete;
    MountInfoOverride &operator=(const MountInfoOverride &) = delete;

private:
    QByteArray m_saved;
};

} // namespace

class TestVolumeEjector : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void ejectsThroughUDisks2_data();
    void ejectsThroughUDisks2();
    void fallsBackWithoutUDisks2_data();
    void fallsBackWithoutUDisks2();

private:
    QTemporaryDir m_folder;
};

void TestVolumeEjector::initTestCase()
{
    // Never talk to the machine's real UDisks2: only the private bus the test runner provides.
    const QByteArray system = qgetenv("DBUS_SYSTEM_BUS_ADDRESS");
    if (system.isEmpty() || system != qgetenv("DBUS_SESSION_BUS_ADDRESS"))
        QSKIP("needs the private bus of dbus-run-session as system bus; run it through ctest");
    QVERIFY(QDBusConnection::systemBus().isConnected());
    QVERIFY(m_folder.isValid());
    for (const QString &name : {QStringLiteral("IPOD"), kSecondPartition, QStringLiteral("Other"),
                                QStringLiteral("Loop"), QStringLiteral("Nowhere")})
        QVERIFY(QDir(m_folder.path()).mkpath(name));
}

void TestVolumeEjector::ejectsThroughUDisks2_data()
{
    QTest::addColumn<QString>("target");
    QTest::addColumn<bool>("ejectable");
    QTest::addColumn<bool>("canPowerOff");
    QTest::addColumn<bool>("secondMounted");
    // "Method object errorName"
    QTest::addColumn<QStringList>("failures");
    QTest::addColumn<bool>("result");
    QTest::addColumn<QStringList>("steps");
    QTest::addColumn<QStringList>("calls");
    QTest::addColumn<QString>("errorContains");

    const QString flush = QStringLiteral("flush");
    const QString unmount1 = QStringLiteral("unmount /dev/sdb1");
    const QString unmount2 = QStringLiteral("unmount /dev/sdb2");
    const QString eject = QStringLiteral("eject");
    const QString powerOff = QStringLiteral("power-off");
    const QString callUnmount1 = QStringLiteral("Unmount sdb1");
    const QString callUnmount2 = QStringLiteral("Unmount sdb2");
    const QString callEject = QStringLiteral("Eject iPod");
    const QString callPowerOff = QStringLiteral("PowerOff iPod");
    const QString ipod = QStringLiteral("IPOD");

    QTest::newRow("two partitions, eject, power off")
        << ipod << true << true << true << QStringList() << true
        << QStringList{flush, unmount1, unmount2, eject, powerOff}
        << QStringList{callUnmount1, callUnmount2, callEject, callPowerOff} << QString();
    QTest::newRow("second partition named, trailing slash")
        << QString(kSecondPartition + QLatin1Char('/')) << true << true << true << QStringList() << true
        << QStringList{flush, unmount1, unmount2, eject, powerOff}
        << QStringList{callUnmount1, callUnmount2, callEject, callPowerOff} << QString();
    QTest::newRow("second partition not mounted")
        << ipod << true << true << false << QStringList() << true << QStringList{flush, unmount1, eject, powerOff}
        << QStringList{callUnmount1, callEject, callPowerOff} << QString();
    QTest::newRow("second partition unmounted meanwhile")
        << ipod << true << true << true << QStringList{QStringLiteral("Unmount sdb2 ") + kNotMounted} << true
        << QStringList{flush, unmount1, unmount2, eject, powerOff}
        << QStringList{callUnmount1, callUnmount2, callEject, callPowerOff} << QString();
    QTest::newRow("not ejectable") << ipod << false << true << true << QStringList() << true
                                   << QStringList{flush, unmount1, unmount2, powerOff}
                                   << QStringList{callUnmount1, callUnmount2, callPowerOff} << QString();
    QTest::newRow("cannot power off") << ipod << true << false << true << QStringList() << true
                                      << QStringList{flush, unmount1, unmount2, eject}
                                      << QStringList{callUnmount1, callUnmount2, callEject} << QString();
    QTest::newRow("neither eject nor power off")
        << ipod << false << false << true << QStringList() << true << QStringList{flush, unmount1, unmount2}
        << QStringList{callUnmount1, callUnmount2} << QString();
    QTest::newRow("unmount busy") << ipod << true << true << true
                                  << QStringList{QStringLiteral("Unmount sdb1 ") + kBusy} << false
                                  << QStringList{flush, unmount1} << QStringList{callUnmount1} << kBusy;
    QTest::newRow("second unmount fails")
        << ipod << true << true << true << QStringList{QStringLiteral("Unmount sdb2 ") + kFailed} << false
        << QStringList{flush, unmount1, unmount2} << QStringList{callUnmount1, callUnmount2}
        << QStringLiteral("/dev/sdb2");
    QTest::newRow("eject fails") << ipod << true << true << true << QStringList{QStringLiteral("Eject iPod ") + kFailed}
                                 << false << QStringList{flush, unmount1, unmount2, eject}
                                 << QStringList{callUnmount1, callUnmount2, callEject} << kFailed;
    QTest::newRow("power off fails after eject")
        << ipod << true << true << true << QStringList{QStringLiteral("PowerOff iPod ") + kFailed} << true
        << QStringList{flush, unmount1, unmount2, eject, powerOff}
        << QStringList{callUnmount1, callUnmount2, callEject, callPowerOff} << QString();
    QTest::newRow("power off fails, no eject")
        << ipod << false << true << true << QStringList{QStringLiteral("PowerOff iPod ") + kFailed} << false
        << QStringList{flush, unmount1, unmount2, powerOff} << QStringList{callUnmount1, callUnmount2, callPowerOff}
        << kFailed;
    QTest::newRow("drive went away") << ipod << true << true << true
                                     << QStringList{QStringLiteral(
                                            "GetAll iPod org.freedesktop.DBus.Error.UnknownObject")}
                                     << false << QStringList{flush, unmount1, unmount2}
                                     << QStringList{callUnmount1, callUnmount2} << QStringLiteral("went away");
    QTest::newRow("no drive (loop device)") << QStringLiteral("Loop") << true << true << true << QStringList() << true
                                            << QStringList{flush, QStringLiteral("unmount /dev/loop0")}
                                            << QStringList{QStringLiteral("Unmount loop0")} << QString();
    QTest::newRow("unknown path") << QStringLiteral("Nowhere") << true << true << true << QStringList() << false
                                  << QStringList() << QStringList() << QStringLiteral("not a mounted volume");
}

void TestVolumeEjector::ejectsThroughUDisks2()
{
    QFETCH(QString, target);
    QFETCH(bool, ejectable);
    QFETCH(bool, canPowerOff);
    QFETCH(bool, secondMounted);
    QFETCH(QStringList, failures);

    const QString base = m_folder.path() + QLatin1Char('/');
    UDisks2StandIn udisks;
    udisks.addDrive(QStringLiteral("iPod"), ejectable, canPowerOff);
    udisks.addDrive(QStringLiteral("Other"), true, true);
    udisks.addBlock(QStringLiteral("sdb"), QStringLiteral("iPod"), {}, false);
    udisks.addBlock(QStringLiteral("sdb1"), QStringLiteral("iPod"), {base + QStringLiteral("IPOD")});
    udisks.addBlock(QStringLiteral("sdc1"), QStringLiteral("Other"), {base + QStringLiteral("Other")});
    udisks.addBlock(QStringLiteral("sdb2"), QStringLiteral("iPod"),
                    secondMounted ? QStringList{base + kSecondPartition} : QStringList());
    udisks.addBlock(QStringLiteral("loop0"), QString(), {base + QStringLiteral("Loop")});
    for (const QString &failure : std::as_const(failures)) {
        const QStringList parts = failure.split(QLatin1Char(' '));
        udisks.failCall(parts.at(0), parts.at(1), parts.at(2));
    }
    QString error;
    QVERIFY2(udisks.start(&error), qPrintable(error));

    VolumeEjector ejector(QDBusConnection::systemBus());
    const bool result = ejector.unmountAndEject(base + target);
    QTEST(result, "result");
    QTEST(ejector.steps(), "steps");
    QTEST(udisks.calls(), "calls");
    QFETCH(QString, errorContains);
    if (result) {
        QVERIFY2(ejector.errorString().isEmpty(), qPrintable(ejector.errorString()));
    } else {
        QVERIFY2(ejector.errorString().contains(errorContains), qPrintable(ejector.errorString()));
        QVERIFY(ejector.errorString().contains(QDir::cleanPath(base + target)) ||
                ejector.errorString().contains(QStringLiteral("/dev/sdb")));
    }
}

void TestVolumeEjector::fallsBackWithoutUDisks2_data()
{
    QTest::addColumn<bool>("withStandIn");
    QTest::addColumn<bool>("listedInMountTable");
    QTest::addColumn<QStringList>("steps");
    QTest::addColumn<QString>("errorContains");

    QTest::newRow("no UDisks2, no mount") << false << false << QStringList() << QStringLiteral("not a mounted volume");
    QTest::newRow("no UDisks2, mount listed")
        << false << true << QStringList{QStringLiteral("flush"), QStringLiteral("umount")}
        << QStringLiteral("Cannot unmount");
    QTest::newRow("UDisks2 does not know the mount")
        << true << true << QStringList{QStringLiteral("flush"), QStringLiteral("umount")}
        << QStringLiteral("Cannot unmount");
}

void TestVolumeEjector::fallsBackWithoutUDisks2()
{
    QFETCH(bool, withStandIn);
    QFETCH(bool, listedInMountTable);

    // The folder is only described as mounted, so the umount the fallback runs fails harmlessly.
    const QString mountPoint = m_folder.path() + QStringLiteral("/Nowhere");
    const QString mountInfo = m_folder.path() + QStringLiteral("/mountinfo");
    QFile table(mountInfo);
    QVERIFY(table.open(QIODevice::WriteOnly | QIODevice::Truncate));
    table.write("25 1 8:1 / / rw - ext4 /dev/sda1 rw\n");
    if (listedInMountTable) {
        QByteArray point = QFile::encodeName(mountPoint);
        point.replace(' ', "\\040");
        table.write("40 25 8:17 / " + point + " rw,nosuid - ext4 /dev/sdz1 rw\n");
    }
    table.close();
    const MountInfoOverride override(mountInfo);

    UDisks2StandIn udisks;
    if (withStandIn) {
        udisks.addDrive(QStringLiteral("iPod"), true, true);
        udisks.addBlock(QStringLiteral("sdb1"), QStringLiteral("iPod"), {m_folder.path() + QStringLiteral("/IPOD")});
        QString error;
        QVERIFY2(udisks.start(&error), qPrintable(error));
    }

    QElapsedTimer timer;
    timer.start();
    VolumeEjector ejector(QDBusConnection::systemBus());
    QVERIFY(!ejector.unmountAndEject(mountPoint));
    // An absent service is answered at once by the bus; nothing may wait for a timeout.
    QVERIFY2(timer.elapsed() < 10000, qPrintable(QString::number(timer.elapsed())));
    QTEST(ejector.steps(), "steps");
    QFETCH(QString, errorContains);
    QVERIFY2(ejector.errorString().contains(errorContains), qPrintable(ejector.errorString()));
    QVERIFY(ejector.errorString().contains(mountPoint));
    QVERIFY(udisks.calls().isEmpty());
}

QTEST_GUILESS_MAIN(TestVolumeEjector)
#include "tst_volumeejector.moc"
