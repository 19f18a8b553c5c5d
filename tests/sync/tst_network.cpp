#include "TemporaryHome.h"

#include "sync/TVRNetwork.h"

#include <QEventLoop>
#include <QThread>
#include <QtTest>

namespace {

// Remembers the answer and the thread it came on.
class Listener : public TVRNetworkDelegate
{
public:
    int calls = 0;
    bool connected = false;
    QThread *thread = nullptr;
    QEventLoop *loop = nullptr;
    void detectedInternetConnection(TVRNetwork *network) override
    {
        ++calls;
        connected = network->connectedToInternet();
        thread = QThread::currentThread();
        if (loop)
            loop->quit();
    }
};

} // namespace

// Reachability judged on this machine only: names that resolve locally or never resolve, so that
// no test asks a name server.
class NetworkTest : public QObject
{
    Q_OBJECT

    TemporaryHome m_home;

private Q_SLOTS:
    void cleanup() { TVRNetwork::setHosts({}); }

    void reachability_data()
    {
        QTest::addColumn<QString>("host");
        QTest::addColumn<bool>("callSucceeded");
        QTest::addColumn<bool>("reachable");
        QTest::newRow("localhost") << "localhost" << true << true;
        QTest::newRow("numeric") << "127.0.0.1" << true << true;
        QTest::newRow(".invalid") << "feeds.invalid" << false << false;
        QTest::newRow("empty") << "" << false << false;
    }
    void reachability()
    {
        QFETCH(QString, host);
        QFETCH(bool, callSucceeded);
        QFETCH(bool, reachable);
        const TVRNetwork::Reachability result = TVRNetwork::checkReachabilityByName(host);
        QCOMPARE(result.callSucceeded, callSucceeded);
        QCOMPARE(result.reachable, reachable);
        QVERIFY(!result.connectionRequired);
        QCOMPARE(TVRNetwork::isConnected(result), callSucceeded && reachable);
    }

    void twoHosts_data()
    {
        QTest::addColumn<QStringList>("hosts");
        QTest::addColumn<bool>("connected");
        QTest::newRow("first reachable") << QStringList{"localhost", "b.invalid"} << true;
        QTest::newRow("first failing, second reachable") << QStringList{"a.invalid", "localhost"} << true;
        QTest::newRow("neither") << QStringList{"a.invalid", "b.invalid"} << false;
        // Only two are asked.
        QTest::newRow("third not asked") << QStringList{"a.invalid", "b.invalid", "localhost"} << false;
    }
    void twoHosts()
    {
        QFETCH(QStringList, hosts);
        QFETCH(bool, connected);
        TVRNetwork::setHosts(hosts);
        QCOMPARE(TVRNetwork::getConnectedToInternet(), connected);
    }

    void hostsFromThePreference()
    {
        m_home.writeApplicationPreferences({{"ReachabilityHosts", QStringList{"a.invalid", "localhost"}}});
        QCOMPARE(TVRNetwork::hosts(), QStringList({"a.invalid", "localhost"}));
        TVRNetwork::setHosts({"localhost"});
        QCOMPARE(TVRNetwork::hosts(), QStringList({"localhost"}));
        TVRNetwork::setHosts({});
        m_home.writeApplicationPreferences({});
        QCOMPARE(TVRNetwork::hosts().size(), 2);
    }

    void answersOnTheMainThread()
    {
        TVRNetwork::setHosts({"a.invalid", "localhost"});
        Listener listener;
        TVRNetwork network;
        QVERIFY(!network.connectedToInternet());
        network.detectInternetConnectionWithDelegate(&listener);
        QTRY_COMPARE(listener.calls, 1);
        QCOMPARE(listener.thread, QThread::currentThread());
        QVERIFY(listener.connected);
        QVERIFY(network.connectedToInternet());
    }

    void answersOnAnotherStartingThread()
    {
        TVRNetwork::setHosts({"a.invalid", "b.invalid"});
        Listener listener;
        QThread *starter = QThread::create([&listener] {
            QEventLoop loop;
            listener.loop = &loop;
            TVRNetwork network;
            network.detectInternetConnectionWithDelegate(&listener);
            loop.exec();
        });
        starter->start();
        QVERIFY(starter->wait(10000));
        // The worker's thread object is deleted by the main thread's event loop, even though the thread
        // that started it is gone; let it run.
        QTest::qWait(200);
        QCOMPARE(listener.calls, 1);
        QCOMPARE(listener.thread, starter);
        QVERIFY(!listener.connected);
        delete starter;
    }
};

QTEST_MAIN(NetworkTest)
#include "tst_network.moc"
