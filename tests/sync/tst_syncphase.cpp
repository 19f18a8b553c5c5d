#include "sync/SyncPhase.h"

#include <QMetaEnum>
#include <QtTest>

namespace {

SyncPhase::Phase phaseNamed(const QString &name)
{
    bool known = false;
    const int value = QMetaEnum::fromType<SyncPhase::Phase>().keyToValue(name.toLatin1().constData(), &known);
    if (!known)
        qFatal("no phase %s", qPrintable(name));
    return SyncPhase::Phase(value);
}

} // namespace

// The moves a sync driver may not make are refused, whatever the driver asks. The roads a whole
// sync takes are checked by the syncer's own tests.
class SyncPhaseTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void refusesMovesOutsideTheTable_data();
    void refusesMovesOutsideTheTable();
};

void SyncPhaseTest::refusesMovesOutsideTheTable_data()
{
    QTest::addColumn<QStringList>("road");
    QTest::addColumn<QString>("refused");
    const QStringList toSyncing{"Preparing", "SyncingPlugins"};
    const QStringList toEjecting{"Preparing", "SyncingPlugins", "Finishing", "WaitingToEject", "Ejecting"};
    QTest::newRow("a plug-in's report with no sync") << QStringList() << "SyncingPlugins";
    QTest::newRow("an eject with no sync") << QStringList() << "Ejecting";
    QTest::newRow("a second start while syncing") << toSyncing << "Preparing";
    QTest::newRow("the same phase again") << QStringList{"Preparing"} << "Preparing";
    QTest::newRow("idle without finishing") << toSyncing << "Idle";
    QTest::newRow("internet checked after the plug-ins") << toSyncing << "CheckingInternet";
    QTest::newRow("plug-ins again once finishing")
        << QStringList{"Preparing", "SyncingPlugins", "Finishing"} << "SyncingPlugins";
    QTest::newRow("a start while ejecting") << toEjecting << "Preparing";
    QTest::newRow("an eject called back once begun") << toEjecting << "WaitingToEject";
}

void SyncPhaseTest::refusesMovesOutsideTheTable()
{
    QFETCH(QStringList, road);
    QFETCH(QString, refused);
    SyncPhase phase;
    for (const QString &step : road)
        QVERIFY2(phase.moveTo(phaseNamed(step)), qPrintable(step));
    const SyncPhase::Phase before = phase.current();

    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^A sync cannot move from .*" +
                                                          (road.isEmpty() ? QString("Idle") : road.last()) + " to .*" +
                                                          refused + "$"));
    QVERIFY(!SyncPhase::allows(before, phaseNamed(refused)));
    QVERIFY(!phase.moveTo(phaseNamed(refused)));
    QCOMPARE(phase.current(), before);
}

QTEST_GUILESS_MAIN(SyncPhaseTest)
#include "tst_syncphase.moc"
