#include "TemporaryHome.h"

#include "core/NotificationCenter.h"
#include "core/ObserverRegistration.h"
#include "sync/LogManager.h"
#include "sync/TVRSyncInfo.h"
#include "sync/TVRSyncPrefs.h"
#include "sync/TVRSyncUtils.h"
#include "sync/ThreadWorker_p.h"

#include <QThread>
#include <QtTest>

#include <functional>

// What plug-ins use while they sync: the notifications to the driver, the sync preferences and
// info, and the background worker.
class SyncServicesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_home.isValid()); }

    void postsToTheDriver_data();
    void postsToTheDriver();
    void syncPrefs_data();
    void syncPrefs();
    void syncInfoSharesTheLog();

    void workerDeliversOnTheStartingThread();
    void workerWithoutWorkStartsNothing();
    void workerCancellation();
    void workerSkipsAGoneReceiver();
    void workerHandsBackSafelyWhileTheReceiverDies();

private:
    TemporaryHome m_home;
};

void SyncServicesTest::postsToTheDriver_data()
{
    QTest::addColumn<std::function<void()>>("post");
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("senderIsThis");
    QTest::addColumn<QVariantMap>("userInfo");
    QObject *self = this;
    QTest::newRow("complete") << std::function<void()>([self] { TVRSyncUtils::reportSyncComplete(self); })
                              << "tvrSyncUtilsComplete" << true << QVariantMap();
    // The time-out is dropped on purpose: the request always carries 0.
    QTest::newRow("download, time-out dropped")
        << std::function<void()>([self] { TVRSyncUtils::downloadURL(QUrl("http://example.com/feed"), self, 30); })
        << "tvrSyncUtilsDownloadURL" << false
        << QVariantMap{{"url", QUrl("http://example.com/feed")},
                       {"delegate", QVariant::fromValue<QObject *>(self)},
                       {"timeout", 0}};
    QTest::newRow("cancel download") << std::function<void()>(&TVRSyncUtils::cancelDownload)
                                     << "tvrSyncUtilsCancelDownload" << false << QVariantMap();
    QTest::newRow("feedback") << std::function<void()>([] { TVRSyncUtils::provideSyncFeedback("3 of 7 feeds"); })
                              << "tvrSyncUtilsProvideSyncFeedback" << false
                              << QVariantMap{{"feedback", QString("3 of 7 feeds")}};
    QTest::newRow("progress") << std::function<void()>(&TVRSyncUtils::incrementSyncProgress)
                              << "tvrSyncIncrementProgress" << false << QVariantMap();
}

void SyncServicesTest::postsToTheDriver()
{
    QFETCH(std::function<void()>, post);
    QFETCH(QString, name);
    QFETCH(bool, senderIsThis);
    QFETCH(QVariantMap, userInfo);
    QList<Notification> received;
    // Observing every name: the operation must post exactly one notification, and this one.
    ObserverRegistration observer(QString(), [&](const Notification &n) { received.append(n); });
    post();
    QCOMPARE(received.size(), 1);
    QCOMPARE(received.first().name, name);
    QCOMPARE(received.first().object.value<QObject *>() == this, senderIsThis);
    QCOMPARE(received.first().userInfo, userInfo);
}

void SyncServicesTest::syncPrefs_data()
{
    QTest::addColumn<QVariantMap>("preferences");
    QTest::addColumn<bool>("useSubFolders");
    QTest::newRow("absent: true") << QVariantMap() << true;
    QTest::newRow("false") << QVariantMap{{"notesOrganizeByFolders", false}} << false;
    QTest::newRow("true") << QVariantMap{{"notesOrganizeByFolders", true}} << true;
}

void SyncServicesTest::syncPrefs()
{
    QFETCH(QVariantMap, preferences);
    QFETCH(bool, useSubFolders);
    m_home.writeApplicationPreferences(preferences);
    QCOMPARE(TVRSyncPrefs().notesUseSubFolders(), useSubFolders);
}

void SyncServicesTest::syncInfoSharesTheLog()
{
    const auto log = LogManager::sharedManager();
    const TVRSyncInfo info(nullptr, std::make_shared<TVRSyncPrefs>(), log, true);
    info.logManager()->appendError("from a plug-in");
    QCOMPARE(log->errorCount(), 1);
    QVERIFY(info.connectedToInternet());
}

void SyncServicesTest::workerDeliversOnTheStartingThread()
{
    QThread *workThread = nullptr;
    QThread *endThread = nullptr;
    QVariant delivered;
    const auto worker = ThreadWorker::workOn(
        [&](const QVariant &argument, ThreadWorker &) {
            workThread = QThread::currentThread();
            return QVariant(argument.toInt() * 2);
        },
        21,
        [&](const QVariant &result) {
            endThread = QThread::currentThread();
            delivered = result;
        },
        this);
    QVERIFY(worker);
    QTRY_COMPARE(delivered, QVariant(42));
    QVERIFY(workThread && workThread != QThread::currentThread());
    QCOMPARE(endThread, QThread::currentThread());
}

void SyncServicesTest::workerWithoutWorkStartsNothing()
{
    QVERIFY(!ThreadWorker::workOn(
        {}, {}, [](const QVariant &) {}, this));
}

void SyncServicesTest::workerCancellation()
{
    std::atomic<bool> sawCancel = false;
    bool ended = false;
    const auto worker = ThreadWorker::workOn(
        [&](const QVariant &, ThreadWorker &self) {
            while (!self.cancelled())
                QThread::msleep(1);
            sawCancel = true;
            return QVariant();
        },
        {}, [&](const QVariant &) { ended = true; }, this);
    QVERIFY(!worker->cancelled());
    worker->markAsCancelled();
    worker->markAsCancelled();
    QVERIFY(worker->cancelled());
    QTRY_VERIFY(ended);
    QVERIFY(sawCancel);
}

void SyncServicesTest::workerSkipsAGoneReceiver()
{
    auto receiver = std::make_unique<QObject>();
    std::atomic<bool> release = false;
    std::atomic<bool> workDone = false;
    bool ended = false;
    ThreadWorker::workOn(
        [&](const QVariant &, ThreadWorker &) {
            while (!release)
                QThread::msleep(1);
            workDone = true;
            return QVariant();
        },
        {}, [&](const QVariant &) { ended = true; }, receiver.get());
    receiver.reset();
    release = true;
    QTRY_VERIFY(workDone);
    QTest::qWait(50);
    QVERIFY(!ended);
}

// The receiver is deleted on this thread at the moment the work ends on the other, at a slightly
// different instant each round. Nothing may touch it once freed (AddressSanitizer would say so),
// the ending function runs only while it lives, and every worker goes away afterwards.
void SyncServicesTest::workerHandsBackSafelyWhileTheReceiverDies()
{
    // Hundreds of "result dropped" lines say nothing here.
    QLoggingCategory::setFilterRules("tivaro.sync.debug=false");
    for (int round = 0; round < 400; ++round) {
        auto *receiver = new QObject;
        std::atomic<bool> release = false;
        bool receiverAlive = true;
        bool endedAfterDeath = false;
        std::weak_ptr<ThreadWorker> worker = ThreadWorker::workOn(
            [&](const QVariant &, ThreadWorker &) {
                while (!release)
                    ;
                return QVariant();
            },
            {}, [&](const QVariant &) { endedAfterDeath = !receiverAlive; }, receiver);
        // Let the thread get going, then free it and delete the receiver a few instants later.
        QThread::usleep(200);
        release = true;
        std::atomic<int> spin = 0;
        while (spin.fetch_add(1, std::memory_order_relaxed) < (round % 40) * 25)
            ;
        delete receiver;
        receiverAlive = false;
        // Looked at without QTRY's pauses: four hundred rounds must stay quick.
        QDeadlineTimer deadline(10000);
        while (!worker.expired() && !deadline.hasExpired()) {
            QCoreApplication::processEvents();
            QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
            QThread::yieldCurrentThread();
        }
        QVERIFY(worker.expired());
        QVERIFY(!endedAfterDeath);
    }
    // A receiver that lives long enough still gets its result: the check is no blanket skip.
    auto receiver = std::make_unique<QObject>();
    bool ended = false;
    ThreadWorker::workOn([](const QVariant &, ThreadWorker &) { return QVariant(); }, {},
                         [&](const QVariant &) { ended = true; }, receiver.get());
    QTRY_VERIFY(ended);
    QLoggingCategory::setFilterRules(QString());
}

QTEST_MAIN(SyncServicesTest)
#include "tst_syncservices.moc"
