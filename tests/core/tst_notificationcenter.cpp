#include "core/NotificationCenter.h"
#include "core/ObserverRegistration.h"

#include <QSemaphore>
#include <QTest>
#include <QThread>

#include <atomic>
#include <memory>

class TestNotificationCenter : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void filtersByNameAndSender_data();
    void filtersByNameAndSender();
    void deliversInOrderOfAddition();
    void deliversOnThePostingThread();
    void observerRemovedByAnEarlierOneIsNotCalled();
    void callbacksMayPostAndObserve();
    void concurrentObserversWhilePosting();
    void registrationRemovesItsObserver();
    void removalWaitsForACallOnAnotherThread();
};

void TestNotificationCenter::filtersByNameAndSender_data()
{
    QTest::addColumn<QString>("observedName");
    QTest::addColumn<QVariant>("observedSender");
    QTest::addColumn<QString>("postedName");
    QTest::addColumn<QVariant>("postedSender");
    QTest::addColumn<bool>("delivered");

    const QString sync = QStringLiteral("SyncFinished");
    const QVariant ipod1 = QStringLiteral("iPod 1");
    const QVariant ipod2 = QStringLiteral("iPod 2");
    QTest::newRow("any name, any sender") << QString() << QVariant() << sync << ipod1 << true;
    QTest::newRow("same name, any sender") << sync << QVariant() << sync << ipod1 << true;
    QTest::newRow("same name, no sender posted") << sync << QVariant() << sync << QVariant() << true;
    QTest::newRow("other name") << sync << QVariant() << QStringLiteral("SyncStarted") << ipod1 << false;
    QTest::newRow("names are case-sensitive") << sync << QVariant() << QStringLiteral("syncfinished") << ipod1 << false;
    QTest::newRow("same name, same sender") << sync << ipod1 << sync << ipod1 << true;
    QTest::newRow("same name, other sender") << sync << ipod1 << sync << ipod2 << false;
    QTest::newRow("sender wanted, none posted") << sync << ipod1 << sync << QVariant() << false;
    QTest::newRow("any name, same sender") << QString() << ipod1 << QStringLiteral("Anything") << ipod1 << true;
    QTest::newRow("any name, other sender") << QString() << ipod1 << QStringLiteral("Anything") << ipod2 << false;
    QTest::newRow("integer senders equal") << sync << QVariant(7) << sync << QVariant(7) << true;
}

void TestNotificationCenter::filtersByNameAndSender()
{
    QFETCH(QString, observedName);
    QFETCH(QVariant, observedSender);
    QFETCH(QString, postedName);
    QFETCH(QVariant, postedSender);

    NotificationCenter center;
    QList<Notification> received;
    center.addObserver(
        observedName, [&](const Notification &notification) { received.append(notification); }, observedSender);
    const QVariantMap userInfo{{QStringLiteral("count"), 3}};
    center.postNotificationName(postedName, postedSender, userInfo);

    QFETCH(bool, delivered);
    QCOMPARE(received.size(), delivered ? 1 : 0);
    if (delivered) {
        QCOMPARE(received.constFirst().name, postedName);
        QCOMPARE(received.constFirst().object, postedSender);
        QCOMPARE(received.constFirst().userInfo, userInfo);
    }
}

void TestNotificationCenter::deliversInOrderOfAddition()
{
    NotificationCenter center;
    QStringList calls;
    const auto observer = [&calls](const QString &label) {
        return [&calls, label](const Notification &) { calls.append(label); };
    };
    const QString name = QStringLiteral("Tick");
    center.addObserver(name, observer(QStringLiteral("a")));
    const NotificationCenter::Token b = center.addObserver(QString(), observer(QStringLiteral("b")));
    center.addObserver(name, observer(QStringLiteral("c")));
    center.postNotificationName(name);
    QCOMPARE(calls, (QStringList{QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c")}));

    // Removed and added again, an observer comes last.
    calls.clear();
    center.removeObserver(b);
    center.addObserver(name, observer(QStringLiteral("b")));
    center.postNotification(Notification{name, {}, {}});
    QCOMPARE(calls, (QStringList{QStringLiteral("a"), QStringLiteral("c"), QStringLiteral("b")}));
    QCOMPARE(center.observerCount(), 3);

    // Removing an unknown or already removed token changes nothing.
    center.removeObserver(b);
    center.removeObserver(0);
    QCOMPARE(center.observerCount(), 3);
}

void TestNotificationCenter::deliversOnThePostingThread()
{
    NotificationCenter center;
    QThread *deliveredOn = nullptr;
    int calls = 0;
    center.addObserver(QStringLiteral("Done"), [&](const Notification &) {
        deliveredOn = QThread::currentThread();
        ++calls;
    });

    std::unique_ptr<QThread> poster(
        QThread::create([&center] { center.postNotificationName(QStringLiteral("Done")); }));
    poster->start();
    QVERIFY(poster->wait(10000));
    // Synchronous: by the time postNotificationName returned, the observer had run on the poster.
    QCOMPARE(calls, 1);
    QCOMPARE(deliveredOn, poster.get());

    center.postNotificationName(QStringLiteral("Done"));
    QCOMPARE(calls, 2);
    QCOMPARE(deliveredOn, QThread::currentThread());
}

void TestNotificationCenter::observerRemovedByAnEarlierOneIsNotCalled()
{
    NotificationCenter center;
    QStringList calls;
    NotificationCenter::Token second = 0;
    NotificationCenter::Token self = 0;
    center.addObserver(QString(), [&](const Notification &) {
        calls.append(QStringLiteral("first"));
        center.removeObserver(second);
    });
    second = center.addObserver(QString(), [&](const Notification &) { calls.append(QStringLiteral("second")); });
    self = center.addObserver(QString(), [&](const Notification &) {
        calls.append(QStringLiteral("self"));
        center.removeObserver(self);
    });
    center.addObserver(QString(), [&](const Notification &) { calls.append(QStringLiteral("last")); });

    center.postNotificationName(QStringLiteral("One"));
    QCOMPARE(calls, (QStringList{QStringLiteral("first"), QStringLiteral("self"), QStringLiteral("last")}));
    QCOMPARE(center.observerCount(), 2);

    calls.clear();
    center.postNotificationName(QStringLiteral("Two"));
    QCOMPARE(calls, (QStringList{QStringLiteral("first"), QStringLiteral("last")}));
}

void TestNotificationCenter::callbacksMayPostAndObserve()
{
    // The centre must not hold its lock while calling out, or these would deadlock.
    NotificationCenter center;
    QStringList calls;
    center.addObserver(QStringLiteral("Outer"), [&](const Notification &) {
        calls.append(QStringLiteral("outer"));
        center.addObserver(QStringLiteral("Inner"),
                           [&](const Notification &) { calls.append(QStringLiteral("inner")); });
        center.postNotificationName(QStringLiteral("Inner"));
        calls.append(QStringLiteral("outer done"));
    });
    center.postNotificationName(QStringLiteral("Outer"));
    QCOMPARE(calls, (QStringList{QStringLiteral("outer"), QStringLiteral("inner"), QStringLiteral("outer done")}));
    QCOMPARE(center.observerCount(), 2);
}

void TestNotificationCenter::concurrentObserversWhilePosting()
{
    NotificationCenter center;
    std::atomic<int> everything{0};
    center.addObserver(QString(), [&everything](const Notification &) { ++everything; });

    constexpr int kThreads = 8;
    constexpr int kRounds = 2000;
    std::atomic<int> own[kThreads] = {};
    std::atomic<int> broadcasts{0};
    std::atomic<bool> stop{false};

    // Each worker adds, posts to, and removes its own observer; a broadcaster posts all along.
    std::vector<std::unique_ptr<QThread>> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back(QThread::create([&center, &own, i] {
            const QString name = QStringLiteral("Worker%1").arg(i);
            for (int round = 0; round < kRounds; ++round) {
                const auto token = center.addObserver(
                    name, [&own, i](const Notification &) { ++own[i]; }, i);
                center.postNotificationName(name, i);
                center.postNotificationName(name, i + 1000); // another sender: not for this observer
                center.removeObserver(token);
                center.postNotificationName(name, i); // after removal: not delivered
            }
        }));
    }
    threads.emplace_back(QThread::create([&] {
        while (!stop.load()) {
            center.postNotificationName(QStringLiteral("Broadcast"));
            ++broadcasts;
        }
    }));
    for (const auto &thread : threads)
        thread->start();
    for (int i = 0; i < kThreads; ++i)
        QVERIFY(threads[i]->wait(60000));
    stop = true;
    QVERIFY(threads.back()->wait(60000));

    for (int i = 0; i < kThreads; ++i)
        QCOMPARE(own[i].load(), kRounds);
    QCOMPARE(everything.load(), kThreads * kRounds * 3 + broadcasts.load());
    QCOMPARE(center.observerCount(), 1);
}

void TestNotificationCenter::registrationRemovesItsObserver()
{
    NotificationCenter &center = NotificationCenter::defaultCenter();
    const int before = center.observerCount();
    const QString name = QStringLiteral("RegistrationTest");
    int calls = 0;
    const auto count = [&calls](const Notification &) { ++calls; };
    {
        ObserverRegistration registration(name, count);
        QCOMPARE(center.observerCount(), before + 1);
        center.postNotificationName(name);
        QCOMPARE(calls, 1);
    }
    QCOMPARE(center.observerCount(), before);
    center.postNotificationName(name);
    QCOMPARE(calls, 1);

    // A move hands the observer over; the moved-from object removes nothing.
    ObserverRegistration kept;
    {
        ObserverRegistration first(name, count);
        kept = std::move(first);
    }
    center.postNotificationName(name);
    QCOMPARE(calls, 2);

    // Assigning over a registration removes the observer it held.
    int replacedCalls = 0;
    ObserverRegistration replaced(name, [&replacedCalls](const Notification &) { ++replacedCalls; });
    replaced = std::move(kept);
    QCOMPARE(center.observerCount(), before + 1);
    center.postNotificationName(name);
    QCOMPARE(calls, 3);
    QCOMPARE(replacedCalls, 0);

    ObserverRegistration moved(std::move(replaced));
    moved.reset();
    QCOMPARE(center.observerCount(), before);
    center.postNotificationName(name);
    QCOMPARE(calls, 3);
}

// An object removes its observer and then goes away: a call already running on another thread must
// have ended by the time removal returns, or it would run on a destroyed object.
void TestNotificationCenter::removalWaitsForACallOnAnotherThread()
{
    NotificationCenter &center = NotificationCenter::defaultCenter();
    const QString name = QStringLiteral("SlowObserver");
    QSemaphore started;
    std::atomic<bool> finished{false};
    std::atomic<int> calls{0};
    const NotificationCenter::Token token = center.addObserver(name, [&](const Notification &) {
        ++calls;
        started.release();
        QThread::msleep(200);
        finished = true;
    });
    std::unique_ptr<QThread> poster(QThread::create([&] { center.postNotificationName(name); }));
    poster->start();
    QVERIFY(started.tryAcquire(1, 5000));
    center.removeObserver(token);
    QVERIFY(finished);
    poster->wait();
    center.postNotificationName(name);
    QCOMPARE(calls.load(), 1);
}

QTEST_GUILESS_MAIN(TestNotificationCenter)
#include "tst_notificationcenter.moc"
