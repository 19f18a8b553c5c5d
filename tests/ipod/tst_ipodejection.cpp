#include "IPodFixture.h"
#include "TemporaryHome.h"
#include "UDisks2StandIn.h"

#include "ipod/IPodEjection.h"
#include "ipod/TVRiPod.h"

#include <QDBusConnection>
#include <QThread>
#include <QtTest>

namespace {

const QString kBusy = QStringLiteral("org.freedesktop.UDisks2.Error.DeviceBusy");
const QStringList kWholeEject{"Unmount sdb1", "Eject iPod", "PowerOff iPod"};

} // namespace

// An iPod ejected while the thread that asked goes on serving its events, against a stand-in UDisks2
// on the private bus.
class IPodEjectionTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void eventLoopTurnsWhileEjecting();
    void reportsTheOutcomeOnTheAskingThread_data();
    void reportsTheOutcomeOnTheAskingThread();
    void destroyedWhileEjectingWaitsForTheEnd();

private:
    // A stand-in that knows the iPod's folder as the mounted partition sdb1 of an ejectable drive.
    void describeIPod(UDisks2StandIn &udisks) const;

    TemporaryHome m_home;
    TVRiPodPtr m_iPod;
};

void IPodEjectionTest::initTestCase()
{
    // Never talk to the machine's real UDisks2: only the private bus the test runner provides.
    const QByteArray system = qgetenv("DBUS_SYSTEM_BUS_ADDRESS");
    if (system.isEmpty() || system != qgetenv("DBUS_SESSION_BUS_ADDRESS"))
        QSKIP("needs the private bus of dbus-run-session as system bus; run it through ctest");
    QVERIFY(QDBusConnection::systemBus().isConnected());
    m_iPod = TVRiPod::iPodAtPath(IPodFixture::createWithFamily(m_home.path() + "/IPOD", 6, "SER1"));
    QVERIFY(m_iPod);
}

void IPodEjectionTest::describeIPod(UDisks2StandIn &udisks) const
{
    udisks.addDrive("iPod", true, true);
    udisks.addBlock("sdb1", "iPod", {m_iPod->path()});
}

void IPodEjectionTest::eventLoopTurnsWhileEjecting()
{
    UDisks2StandIn udisks;
    describeIPod(udisks);
    udisks.holdCall("Unmount sdb1");
    QString error;
    QVERIFY2(udisks.start(&error), qPrintable(error));

    IPodEjection ejection(m_iPod);
    QSignalSpy finished(&ejection, &IPodEjection::finished);
    int ticks = 0;
    QTimer timer;
    timer.setInterval(1);
    connect(&timer, &QTimer::timeout, this, [&ticks] { ++ticks; });
    QVERIFY(!ejection.isRunning());
    ejection.start();
    timer.start();
    QVERIFY(ejection.isRunning());

    // UDisks2 holds the unmount, and this thread's timers still fire.
    QVERIFY(QTest::qWaitFor([&] { return udisks.isHoldingCall() && ticks >= 3; }, 10000));
    QVERIFY(finished.isEmpty());
    QVERIFY(ejection.isRunning());

    udisks.releaseHeldCall();
    QVERIFY(finished.wait(10000));
    QCOMPARE(finished.first(), QVariantList({true, QString()}));
    QCOMPARE(udisks.calls(), kWholeEject);
    QVERIFY(!ejection.isRunning());
}

void IPodEjectionTest::reportsTheOutcomeOnTheAskingThread_data()
{
    QTest::addColumn<QString>("failure"); // "Method object errorName"
    QTest::addColumn<bool>("known");      // whether UDisks2 knows the iPod's folder
    QTest::addColumn<QString>("errorContains");
    QTest::newRow("ejected") << QString() << true << QString();
    QTest::newRow("unmount busy") << "Unmount sdb1 " + kBusy << true << kBusy;
    QTest::newRow("not a mounted volume") << QString() << false << "is not a mounted volume";
}

void IPodEjectionTest::reportsTheOutcomeOnTheAskingThread()
{
    QFETCH(QString, failure);
    QFETCH(bool, known);
    QFETCH(QString, errorContains);
    UDisks2StandIn udisks;
    if (known)
        describeIPod(udisks);
    if (!failure.isEmpty())
        udisks.failCall(failure.section(' ', 0, 1), failure.section(' ', 2));
    QString error;
    QVERIFY2(udisks.start(&error), qPrintable(error));

    IPodEjection ejection(m_iPod);
    QThread *reportedOn = nullptr;
    QVariantList outcome;
    connect(&ejection, &IPodEjection::finished, this, [&](bool ejected, const QString &message) {
        reportedOn = QThread::currentThread();
        outcome = {ejected, message};
    });
    ejection.start();
    QVERIFY(QTest::qWaitFor([&] { return !outcome.isEmpty(); }, 10000));
    QCOMPARE(reportedOn, QThread::currentThread());
    QCOMPARE(outcome.at(0).toBool(), errorContains.isEmpty());
    QVERIFY2(errorContains.isEmpty() ? outcome.at(1).toString().isEmpty()
                                     : outcome.at(1).toString().contains(errorContains),
             qPrintable(outcome.at(1).toString()));
    // The thread leaves the shared iPod alone: what went wrong comes with the signal only.
    QVERIFY(m_iPod->errorString().isEmpty());
}

// The thread never outlives the ejection that started it: destroying one that runs waits for the
// eject to end, and its outcome is then never reported.
void IPodEjectionTest::destroyedWhileEjectingWaitsForTheEnd()
{
    UDisks2StandIn udisks;
    describeIPod(udisks);
    udisks.holdCall("Unmount sdb1");
    QString error;
    QVERIFY2(udisks.start(&error), qPrintable(error));

    auto ejection = std::make_unique<IPodEjection>(m_iPod);
    bool reported = false;
    connect(ejection.get(), &IPodEjection::finished, this, [&reported] { reported = true; });
    ejection->start();
    QVERIFY(QTest::qWaitFor([&] { return udisks.isHoldingCall(); }, 10000));

    // Released from elsewhere while this thread is most likely inside the destructor already.
    const std::unique_ptr<QThread> releaser(QThread::create([&udisks] {
        QThread::msleep(200);
        udisks.releaseHeldCall();
    }));
    releaser->start();
    ejection.reset();
    QCOMPARE(udisks.calls(), kWholeEject);
    QVERIFY(releaser->wait(10000));
    QCoreApplication::processEvents();
    QVERIFY(!reported);
}

QTEST_GUILESS_MAIN(IPodEjectionTest)
#include "tst_ipodejection.moc"
