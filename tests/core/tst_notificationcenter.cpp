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
    void deliversInOrderOnThePostingThread();
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
    QTest::newRow("same name, no sender posted") << sync << QVariant() << sync << QVariant() << true;
    QTest::newRow("other name") << sync << QVariant() << QStringLiteral("SyncStarted") << ipod1 << false;
    QTest::newRow("names are case-sensitive") << sync << QVariant() << QStringLiteral("syncfinished") << ipod1 << false;
    QTest::newRow("same name, same sender") << sync << ipod1 << sync << ipod1 << true;
    QTest::newRow("same name, other sender") << sync << ipod1 << sync << ipod2 << false;
    QTest::newRow("sender wanted, none posted") << sync << ipod1 << sync << QVariant() << false;
    QTest::newRow("any name, other sender") << QString() << ipod1 << QStringLiteral("Anything") << ipod2 << false;
    QTest::newRow("integer senders equal") << sync << QVariant(7) << sync << QVariant(7) << true;
}

void TestNotificationCenter::filtersByNameAndSender()
{
    QFETCH(QString, observedName);
    QFETCH(QVariant, observedSender);
    QFETCH(QString, postedName);
    QFETCH(QVariant, postedSender);
    QFETCH(bool, delivered);

    NotificationCenter center;
    QList<Notification> received;
    center.addObserver(
        observedName, [&](const Notification &notification) { received.append(notification); }, observedSender);
    const QVariantMap userInfo{{QStringLiteral("count"), 3}};
    center.postNotificationName(postedName, postedSender, userInfo);
    QCOMPARE(received.size(), delivered ? 1 : 0);
    if (delivered) {
        QCOMPARE(received.constFirst().name, postedName);
        QCOMPARE(received.constFirst().object, postedSender);
        QCOMPARE(received.constFirst().userInfo, userInfo);
    }
}

void TestNotificationCenter::deliversInOrderOnThePostingThread()
{
    NotificationCenter center;
    QString calls;
    QThread *thread = nullptr;
    const auto observer = [&](char label) {
        return [&, label](const Notification &) {
            calls += QLatin1Char(label);
            thread = QThread::currentThread();
        };
    };
    const QString name = QStringLiteral("Tick");
    center.addObserver(name, observer('a'));
    const NotificationCenter::Token b = center.addObserver(QString(), observer('b'));
    center.addObserver(name, observer('c'));
    center.postNotificationName(name);
    QCOMPARE(calls, QStringLiteral("abc"));

    // Removed and added again, an observer comes last; unknown or removed tokens change nothing.
    center.removeObserver(b);
    center.removeObserver(b);
    center.removeObserver(0);
    center.addObserver(name, observer('b'));
    QCOMPARE(center.observerCount(), 3);
    // Synchronous: by the time the post returns, the observers have run on the poster.
    std::unique_ptr<QThread> poster(QThread::create([&] { center.postNotification(Notification{name, {}, {}}); }));
    poster->start();
    QVERIFY(poster->wait(10000));
    QCOMPARE(calls, QStringLiteral("abcacb"));
    QCOMPARE(thread, poster.get());
}

void TestNotificationCenter::observerRemovedByAnEarlierOneIsNotCalled()
{
    // 1 removes 2, 3 removes itself, 4 only counts.
    NotificationCenter center;
    QString calls;
    NotificationCenter::Token second = 0;
    NotificationCenter::Token third = 0;
    center.addObserver(QString(), [&](const Notification &) {
        calls += QLatin1Char('1');
        center.removeObserver(second);
    });
    second = center.addObserver(QString(), [&](const Notification &) { calls += QLatin1Char('2'); });
    third = center.addObserver(QString(), [&](const Notification &) {
        calls += QLatin1Char('3');
        center.removeObserver(third);
    });
    center.addObserver(QString(), [&](const Notification &) { calls += QLatin1Char('4'); });
    center.postNotificationName(QStringLiteral("One"));
    QCOMPARE(calls, QStringLiteral("134"));
    QCOMPARE(center.observerCount(), 2);
    center.postNotificationName(QStringLiteral("Two"));
    QCOMPARE(calls, QStringLiteral("13414"));
}

void TestNotificationCenter::callbacksMayPostAndObserve()
{
    // The centre must not hold its lock while calling out, or this would deadlock.
    NotificationCenter center;
    QString calls;
    center.addObserver(QStringLiteral("Outer"), [&](const Notification &) {
        calls += QLatin1Char('(');
        center.addObserver(QStringLiteral("Inner"), [&](const Notification &) { calls += QLatin1Char('i'); });
        center.postNotificationName(QStringLiteral("Inner"));
        calls += QLatin1Char(')');
    });
    center.postNotificationName(QStringLiteral("Outer"));
    QCOMPARE(calls, QStringLiteral("(i)"));
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
    NotificationCenter center;
    const QString name = QStringLiteral("Registered");
    QString calls;
    const auto observer = [&calls](char label) {
        return [&calls, label](const Notification &) { calls += QLatin1Char(label); };
    };
    {
        ObserverRegistration scoped(name, observer('s'), {}, center);
        center.postNotificationName(name);
    }
    // A move hands the observer over, and assigning over a registration removes the one it held.
    ObserverRegistration kept(name, observer('r'), {}, center);
    {
        ObserverRegistration moved(name, observer('m'), {}, center);
        kept = std::move(moved);
    }
    center.postNotificationName(name);
    QCOMPARE(calls, QStringLiteral("sm"));
    ObserverRegistration moved(std::move(kept));
    moved.reset();
    QCOMPARE(center.observerCount(), 0);
}

// An object removes its observer and then goes away: a call already running on another thread must
// have ended by the time removal returns, or it would run on a destroyed object.
void TestNotificationCenter::removalWaitsForACallOnAnotherThread()
{
    NotificationCenter center;
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
