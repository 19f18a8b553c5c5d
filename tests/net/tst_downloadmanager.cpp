#include "TemporaryHome.h"
#include "TestHttpServer.h"

#include "net/TVRDownloadItem.h"
#include "net/TVRDownloadManager.h"
#include "net/TVRDownloadManagerDelegate.h"
#include "net/TVRQueue_p.h"

#include <QtTest>

#include <cmath>

namespace {

// Every start and end in order, as "+path" and "-path", and the most items seen running at once.
class Recorder : public TVRDownloadManagerDelegate
{
public:
    QStringList events;
    int running = 0;
    int mostRunning = 0;
    int finished = 0;
    std::function<void()> onFinished;

    void downloadStarted(TVRDownloadItem *item) override
    {
        events.append('+' + item->url().path());
        mostRunning = std::max(mostRunning, ++running);
    }
    void downloadFinished(TVRDownloadItem *item) override
    {
        events.append('-' + item->url().path());
        --running;
        ++finished;
        if (onFinished)
            onFinished();
    }
    int started() const { return int(events.filter(QRegularExpression("^\\+")).size()); }
};

} // namespace

// The download queue against a real local server.
class DownloadManagerTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<TemporaryHome> m_home;
    TestHttpServer m_server;

    std::shared_ptr<TVRDownloadManager::ItemList> items(const QStringList &paths)
    {
        auto list = std::make_shared<TVRDownloadManager::ItemList>();
        for (const QString &path : paths)
            list->append(TVRDownloadItem::withURL(m_server.url(path)));
        return list;
    }
    static QStringList numbered(const QString &path, int count)
    {
        QStringList paths;
        for (int i = 0; i < count; ++i)
            paths.append(path + QString::number(i));
        return paths;
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_server.isListening());
        for (int i = 0; i < 12; ++i)
            m_server.serve("/file" + QString::number(i), "body " + QByteArray::number(i));
    }
    void init()
    {
        m_home.reset();
        m_home = std::make_unique<TemporaryHome>();
    }
    void cleanupTestCase() { m_home.reset(); }

    void tenItemsFourAtOnce()
    {
        Recorder delegate;
        TVRDownloadManager manager(&delegate);
        manager.setDownloadItems(items(numbered("/file", 10)));
        manager.startDownload();
        QCOMPARE(delegate.started(), 4);
        QCOMPARE(manager.numberOfRemainingDownloads(), 10);
        QTRY_COMPARE(delegate.finished, 10);
        QCOMPARE(delegate.started(), 10);
        QCOMPARE(delegate.mostRunning, 4);
        QCOMPARE(manager.numberOfRemainingDownloads(), 0);
        QCOMPARE(manager.percentComplete(), 100.0f);
    }

    void oneAtATimeKeepsListOrder()
    {
        Recorder delegate;
        TVRDownloadManager manager(&delegate);
        manager.setMaxDownloads(1);
        const auto list = items({"/file0", "/file1", "/file2"});
        const auto first = list->first();
        manager.setDownloadItems(list);
        manager.startDownload();
        QTRY_COMPARE(delegate.finished, 3);
        QCOMPARE(delegate.events, QStringList({"+/file0", "-/file0", "+/file1", "-/file1", "+/file2", "-/file2"}));
        QCOMPARE(first->downloader()->data(), QByteArray("body 0"));
    }

    void timeoutIsAnOrdinaryFinish()
    {
        m_home->writeApplicationPreferences({{"DownloadTimeout", 1}});
        Recorder delegate;
        TVRDownloadManager manager(&delegate);
        const auto list = items({"/stall/3", "/file0"});
        const auto stalled = list->first();
        manager.setDownloadItems(list);
        manager.startDownload();
        QTRY_COMPARE_WITH_TIMEOUT(delegate.finished, 2, 5000);
        QCOMPARE(delegate.events.last(), "-/stall/3");
        QCOMPARE(stalled->downloader()->data(), TestHttpServer::patternBytes(3));
    }

    void cancelKeepsWaitingItems()
    {
        m_home->writeApplicationPreferences({{"DownloadTimeout", 1}});
        Recorder delegate;
        TVRDownloadManager manager(&delegate);
        manager.setMaxDownloads(2);
        manager.setDownloadItems(items(numbered("/stall/", 5)));
        manager.startDownload();
        QCOMPARE(delegate.started(), 2);
        manager.cancelDownload();
        QCOMPARE(manager.numberOfRemainingDownloads(), 3);
        // Past the cancelled items' time-outs: none of them reports.
        QTest::qWait(1500);
        QCOMPARE(delegate.finished, 0);
        manager.startDownload();
        QCOMPARE(delegate.started(), 4);
        QCOMPARE(manager.numberOfRemainingDownloads(), 3);
        manager.cancelDownload();
    }

    void percentComplete()
    {
        Recorder delegate;
        TVRDownloadManager manager(&delegate);
        QVERIFY(std::isnan(manager.percentComplete()));
        manager.setMaxDownloads(3);
        // Three quick items, then nine that never end on their own.
        manager.setDownloadItems(items(numbered("/file", 3) + numbered("/stall/", 9)));
        manager.startDownload();
        QTRY_COMPARE(delegate.finished, 3);
        QCOMPARE(manager.percentComplete(), 25.0f);
        manager.cancelDownload();
    }

    // The totals' quirks, kept as they were.
    void totals()
    {
        Recorder delegate;
        TVRDownloadManager manager(&delegate);
        const auto orphans = items({"/file0", "/file1"});
        // No waiting list yet: the items are dropped, the total grows.
        manager.addDownloadItems(*orphans);
        QCOMPARE(manager.numberOfRemainingDownloads(), 0);
        QCOMPARE(manager.percentComplete(), 0.0f);
        const auto list = items({"/file0", "/file1"});
        manager.setDownloadItems(list);
        QCOMPARE(manager.percentComplete(), 0.0f);
        // The same list object again leaves the total at 0.
        manager.setDownloadItems(list);
        QVERIFY(std::isnan(manager.percentComplete()));
        manager.addDownloadItems(*items({"/file2"}));
        QTRY_COMPARE(delegate.finished, 3);
        QCOMPARE(manager.percentComplete(), 300.0f);
    }

    void secondStartDoesNotCancelTheFirst()
    {
        Recorder delegate;
        TVRDownloadManager manager(&delegate);
        const auto list = items({"/drip/2/100"});
        const auto item = list->first();
        manager.setDownloadItems(list);
        manager.startDownload();
        const std::shared_ptr<TVRDownloader> first = item->downloader();
        item->start();
        QVERIFY(item->downloader() != first);
        QTRY_COMPARE(delegate.finished, 2);
        QCOMPARE(first->data(), TestHttpServer::dripChunk().repeated(2));
    }

    // An item whose URL cannot be loaded still ends, so the queue goes on.
    void unloadableItemEnds()
    {
        Recorder delegate;
        TVRDownloadManager manager(&delegate);
        manager.setMaxDownloads(1);
        auto list = items({"/file0"});
        list->prepend(TVRDownloadItem::withURL(QUrl("gopher://127.0.0.1/feed")));
        const auto unloadable = list->first();
        manager.setDownloadItems(list);
        manager.startDownload();
        QTRY_COMPARE(delegate.finished, 2);
        QCOMPARE(delegate.events.first(), "+/feed");
        QVERIFY(!unloadable->downloader());
    }

    void managerDeletedByItsDelegate()
    {
        Recorder delegate;
        auto manager = std::make_unique<TVRDownloadManager>(&delegate);
        delegate.onFinished = [&manager] { manager.reset(); };
        manager->setDownloadItems(items({"/file0", "/file1"}));
        manager->startDownload();
        QTRY_VERIFY(!manager);
        // The other item was cancelled with the manager and reports nothing.
        QTest::qWait(100);
        QCOMPARE(delegate.finished, 1);
    }

    void queue_data()
    {
        QTest::addColumn<QStringList>("list");
        QTest::addColumn<QString>("popObject");
        QTest::addColumn<QString>("popped");
        QTest::addColumn<QStringList>("left");
        QTest::newRow("pop removes every equal element")
            << QStringList{"a", "b", "a", "c"} << QString() << "a" << QStringList{"b", "c"};
        QTest::newRow("pop of an empty list") << QStringList() << QString() << QString() << QStringList();
        QTest::newRow("popObject") << QStringList{"a", "b", "c", "b"} << "b"
                                   << "b" << QStringList{"a", "c"};
        QTest::newRow("popObject of a stranger") << QStringList{"a"} << "z"
                                                 << "z" << QStringList{"a"};
    }
    void queue()
    {
        QFETCH(QStringList, list);
        QFETCH(QString, popObject);
        QFETCH(QString, popped);
        QFETCH(QStringList, left);
        const QString result = popObject.isNull() ? TVRQueue::pop(list) : TVRQueue::popObject(list, popObject);
        QCOMPARE(result, popped);
        QCOMPARE(result.isNull(), popped.isNull());
        QCOMPARE(list, left);
    }

    void queueComparesItemsByIdentity()
    {
        const auto twin = items({"/file0", "/file0"});
        TVRDownloadManager::ItemList list = *twin;
        QCOMPARE(TVRQueue::popObject(list, twin->at(1)), twin->at(1));
        QCOMPARE(list, TVRDownloadManager::ItemList{twin->at(0)});
    }
};

QTEST_MAIN(DownloadManagerTest)
#include "tst_downloadmanager.moc"
