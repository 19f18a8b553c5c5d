#include "core/FileWriter_p.h"
#include "core/VolumeEjector_p.h"

#include "UDisks2StandIn.h"

#include <QDBusConnection>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QTest>

namespace {

const QString kBusy = QStringLiteral("org.freedesktop.UDisks2.Error.DeviceBusy");
const QString kFailed = QStringLiteral("org.freedesktop.UDisks2.Error.Failed");
// Desktops mount under the volume label; UDisks2 sends it as bytes.
const QString kSecondPartition = QStringLiteral("J\u00e9r\u00f4me's iPod");

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
    QTest::addColumn<QString>("failure");       // "Method object errorName"
    QTest::addColumn<QString>("steps");         // a device name stands for its unmount
    QTest::addColumn<QString>("errorContains"); // empty when the eject succeeds

    const auto row = [](const char *name, const QString &target, bool ejectable, bool canPowerOff, bool secondMounted,
                        const QString &failure, const char *steps, const QString &errorContains = QString()) {
        QTest::newRow(name) << target << ejectable << canPowerOff << secondMounted << failure
                            << QString::fromLatin1(steps) << errorContains;
    };
    const QString ipod = QStringLiteral("IPOD");
    const QString none;
    row("two partitions, eject, power off", ipod, true, true, true, none, "flush sdb1 sdb2 eject power-off");
    row("second partition named, trailing slash", kSecondPartition + QLatin1Char('/'), true, true, true, none,
        "flush sdb1 sdb2 eject power-off");
    row("second partition not mounted", ipod, true, true, false, none, "flush sdb1 eject power-off");
    row("second partition unmounted meanwhile", ipod, true, true, true,
        QStringLiteral("Unmount sdb2 org.freedesktop.UDisks2.Error.NotMounted"), "flush sdb1 sdb2 eject power-off");
    row("not ejectable", ipod, false, true, true, none, "flush sdb1 sdb2 power-off");
    row("cannot power off", ipod, true, false, true, none, "flush sdb1 sdb2 eject");
    row("neither eject nor power off", ipod, false, false, true, none, "flush sdb1 sdb2");
    row("unmount busy", ipod, true, true, true, QStringLiteral("Unmount sdb1 ") + kBusy, "flush sdb1", kBusy);
    row("second unmount fails", ipod, true, true, true, QStringLiteral("Unmount sdb2 ") + kFailed, "flush sdb1 sdb2",
        QStringLiteral("/dev/sdb2"));
    row("eject fails", ipod, true, true, true, QStringLiteral("Eject iPod ") + kFailed, "flush sdb1 sdb2 eject",
        kFailed);
    row("power off fails after eject", ipod, true, true, true, QStringLiteral("PowerOff iPod ") + kFailed,
        "flush sdb1 sdb2 eject power-off");
    row("power off fails, no eject", ipod, false, true, true, QStringLiteral("PowerOff iPod ") + kFailed,
        "flush sdb1 sdb2 power-off", kFailed);
    row("drive went away", ipod, true, true, true,
        QStringLiteral("GetAll iPod org.freedesktop.DBus.Error.UnknownObject"), "flush sdb1 sdb2",
        QStringLiteral("went away"));
    row("no drive (loop device)", QStringLiteral("Loop"), true, true, true, none, "flush loop0");
    row("unknown path", QStringLiteral("Nowhere"), true, true, true, none, "", QStringLiteral("not a mounted volume"));
}

void TestVolumeEjector::ejectsThroughUDisks2()
{
    QFETCH(QString, target);
    QFETCH(bool, ejectable);
    QFETCH(bool, canPowerOff);
    QFETCH(bool, secondMounted);
    QFETCH(QString, failure);
    QFETCH(QString, steps);
    QFETCH(QString, errorContains);

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
    if (!failure.isEmpty())
        udisks.failCall(failure.section(QLatin1Char(' '), 0, 1), failure.section(QLatin1Char(' '), 2));
    QString error;
    QVERIFY2(udisks.start(&error), qPrintable(error));

    VolumeEjector ejector(QDBusConnection::systemBus());
    QCOMPARE(ejector.unmountAndEject(base + target), errorContains.isEmpty());
    // Each step but the flush is one call to UDisks2, made as the step says.
    QStringList expectedSteps;
    QStringList calls;
    for (const QString &step : steps.split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
        if (step == QLatin1String("eject")) {
            expectedSteps.append(step);
            calls.append(QStringLiteral("Eject iPod"));
        } else if (step == QLatin1String("power-off")) {
            expectedSteps.append(step);
            calls.append(QStringLiteral("PowerOff iPod"));
        } else if (step == QLatin1String("flush")) {
            expectedSteps.append(step);
        } else {
            expectedSteps.append(QStringLiteral("unmount /dev/") + step);
            calls.append(QStringLiteral("Unmount ") + step);
        }
    }
    QCOMPARE(ejector.steps(), expectedSteps);
    QCOMPARE(udisks.calls(), calls);
    const QString message = ejector.errorString();
    QVERIFY2(message.contains(errorContains), qPrintable(message));
    QVERIFY(errorContains.isEmpty()
                ? message.isEmpty()
                : message.contains(QDir::cleanPath(base + target)) || message.contains(QStringLiteral("/dev/sdb")));
}

void TestVolumeEjector::fallsBackWithoutUDisks2_data()
{
    QTest::addColumn<bool>("withStandIn");
    QTest::addColumn<bool>("listedInMountTable");
    QTest::addColumn<QStringList>("steps");
    QTest::addColumn<QString>("errorContains");

    const QStringList umount{QStringLiteral("flush"), QStringLiteral("umount")};
    QTest::newRow("no UDisks2, no mount") << false << false << QStringList() << QStringLiteral("not a mounted volume");
    QTest::newRow("no UDisks2, mount listed") << false << true << umount << QStringLiteral("Cannot unmount");
    QTest::newRow("UDisks2 does not know the mount") << true << true << umount << QStringLiteral("Cannot unmount");
}

void TestVolumeEjector::fallsBackWithoutUDisks2()
{
    QFETCH(bool, withStandIn);
    QFETCH(bool, listedInMountTable);

    // The folder is only described as mounted, so the umount the fallback runs fails harmlessly.
    const QString mountPoint = m_folder.path() + QStringLiteral("/Nowhere");
    const QString mountInfo = m_folder.path() + QStringLiteral("/mountinfo");
    QByteArray table = "25 1 8:1 / / rw - ext4 /dev/sda1 rw\n";
    if (listedInMountTable)
        table += "40 25 8:17 / " + QFile::encodeName(mountPoint).replace(' ', "\\040") + " rw - ext4 /dev/sdz1 rw\n";
    QVERIFY(FileWriter::writeAtomically(mountInfo, table, FileWriter::Cached));
    const QByteArray saved = qgetenv("TIVARO_MOUNTINFO");
    qputenv("TIVARO_MOUNTINFO", QFile::encodeName(mountInfo));
    const auto restore =
        qScopeGuard([&saved] { saved.isNull() ? qunsetenv("TIVARO_MOUNTINFO") : qputenv("TIVARO_MOUNTINFO", saved); });

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
