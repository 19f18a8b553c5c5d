#include "TemporaryHome.h"
#include "TestHttpServer.h"

#include "net/NSURLXtra.h"
#include "net/TVRDownloader.h"

#include <QElapsedTimer>
#include <QTcpServer>
#include <QtTest>

#include <functional>

namespace {

// What a delegate heard, in order.
struct Heard {
    int finished = 0;
    QList<int> failures;
    QByteArray data;
};

// A delegate that hears of failures on their own.
class FailureRecorder : public TVRDownloaderDelegate, public TVRDownloadFailureDelegate
{
public:
    Heard heard;
    std::function<void()> onEnd;
    void downloadFinished(TVRDownloader *downloader) override
    {
        ++heard.finished;
        heard.data = downloader->data();
        if (onEnd)
            onEnd();
    }
    void downloadFailedWithErrorType(int errorType) override
    {
        heard.failures.append(errorType);
        if (onEnd)
            onEnd();
    }
    bool ended() const { return heard.finished + heard.failures.size() > 0; }
};

// A delegate with the required message only: failures arrive as downloadFinished.
class PlainRecorder : public TVRDownloaderDelegate
{
public:
    Heard heard;
    void downloadFinished(TVRDownloader *downloader) override
    {
        ++heard.finished;
        heard.data = downloader->data();
    }
};

// A port where nothing listens: taken from the system, then given back.
quint16 deadPort()
{
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    return probe.serverPort();
}

const QByteArray kHello = "hello world";

} // namespace

// The asynchronous and synchronous downloader against a real local server.
class DownloaderTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<TemporaryHome> m_home;
    std::unique_ptr<TestHttpServer> m_server;

    // A fresh home whose preferences hold only "DownloadTimeout" (none when `seconds` is 0).
    void useTimeout(int seconds)
    {
        m_home.reset();
        m_home = std::make_unique<TemporaryHome>();
        m_home->writeApplicationPreferences(seconds ? QVariantMap{{"DownloadTimeout", seconds}} : QVariantMap());
    }

private Q_SLOTS:
    void initTestCase()
    {
        m_server = std::make_unique<TestHttpServer>();
        QVERIFY(m_server->isListening());
        m_server->serve("/hello", kHello, "text/plain; charset=utf-8");
    }
    void init() { useTimeout(0); }
    void cleanupTestCase() { m_home.reset(); }

    void completes_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("user");
        QTest::addColumn<QString>("finalPath");
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<int>("requests");
        QTest::newRow("body") << "/hello" << QString() << "/hello" << 200 << kHello << 1;
        QTest::newRow("redirect chain") << "/redirect/3/hello" << QString() << "/hello" << 200 << kHello << 4;
        // The first request carries no credential; the challenge is answered once.
        QTest::newRow("right credential") << "/auth/ann/secret/hello"
                                          << "ann"
                                          << "/auth/ann/secret/hello" << 200 << kHello << 2;
        // An error status is an answer like any other, as the sync driver expects.
        QTest::newRow("not found") << "/missing" << QString() << "/missing" << 404 << QByteArray("not found") << 1;
    }
    void completes()
    {
        QFETCH(QString, path);
        QFETCH(QString, user);
        QFETCH(QString, finalPath);
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        QFETCH(int, requests);
        const int before = m_server->requestCount();
        FailureRecorder delegate;
        std::optional<TVRDownloader::Credential> credential;
        if (!user.isEmpty())
            credential = TVRDownloader::Credential{user, "secret"};
        const auto downloader = TVRDownloader::loadWithURL(m_server->url(path), &delegate, credential);
        QVERIFY(downloader);
        QVERIFY(downloader->isDownloading());
        QTRY_VERIFY(delegate.ended());
        QCOMPARE(delegate.heard.finished, 1);
        QCOMPARE(delegate.heard.failures, QList<int>());
        QVERIFY(!downloader->isDownloading());
        QCOMPARE(downloader->data(), body);
        QCOMPARE(downloader->url(), m_server->url(finalPath));
        QCOMPARE(downloader->description(), m_server->url(finalPath).toString());
        QVERIFY(downloader->urlResponse());
        QCOMPARE(downloader->urlResponse()->statusCode, status);
        QCOMPARE(downloader->urlResponse()->mimeType, "text/plain");
        QCOMPARE(downloader->urlResponse()->expectedContentLength, body.size());
        QCOMPARE(m_server->requestCount() - before, requests);
    }

    void fails_data()
    {
        // A path on the test server, or a whole URL.
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("password");
        QTest::addColumn<int>("timeout");
        QTest::addColumn<int>("errorType");
        QTest::addColumn<int>("requests");
        QTest::newRow("no credential") << "/auth/ann/secret/hello" << QString() << 0 << 2 << 1;
        // The wrong credential is offered once; the second challenge fails the transfer.
        QTest::newRow("wrong credential") << "/auth/ann/secret/hello"
                                          << "guess" << 0 << 2 << 2;
        QTest::newRow("reset") << "/reset" << QString() << 0 << 2 << -1;
        QTest::newRow("header, then silence") << "/stall/0" << QString() << 1 << 0 << 1;
        QTest::newRow("refused") << QStringLiteral("http://127.0.0.1:%1/").arg(deadPort()) << QString() << 0 << 2 << 0;
    }
    void fails()
    {
        QFETCH(QString, path);
        QFETCH(QString, password);
        QFETCH(int, timeout);
        QFETCH(int, errorType);
        QFETCH(int, requests);
        useTimeout(timeout);
        const int before = m_server->requestCount();
        FailureRecorder delegate;
        std::optional<TVRDownloader::Credential> credential;
        if (!password.isEmpty())
            credential = TVRDownloader::Credential{"ann", password};
        const QUrl url = path.startsWith('/') ? m_server->url(path) : QUrl(path);
        const auto downloader = TVRDownloader::loadWithURL(url, &delegate, credential);
        QVERIFY(downloader);
        QTRY_VERIFY_WITH_TIMEOUT(delegate.ended(), 5000);
        QCOMPARE(delegate.heard.failures, QList<int>{errorType});
        QCOMPARE(delegate.heard.finished, 0);
        QVERIFY(!downloader->isDownloading());
        // Qt tries a request again once when a connection closes without an answer.
        if (requests >= 0)
            QCOMPARE(m_server->requestCount() - before, requests);
    }

    // Without the failure message the delegate is told downloadFinished, with what arrived.
    void failureWithoutFailureInterface_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<int>("timeout");
        QTest::addColumn<int>("received");
        QTest::newRow("reset after 1000 bytes") << "/partial/1000" << 0 << 1000;
        QTest::newRow("time-out after 5 bytes") << "/stall/5" << 1 << 5;
    }
    void failureWithoutFailureInterface()
    {
        QFETCH(QString, path);
        QFETCH(int, timeout);
        QFETCH(int, received);
        useTimeout(timeout);
        PlainRecorder delegate;
        const auto downloader = TVRDownloader::loadWithURL(m_server->url(path), &delegate);
        QTRY_COMPARE_WITH_TIMEOUT(delegate.heard.finished, 1, 5000);
        QCOMPARE(delegate.heard.data, TestHttpServer::patternBytes(received));
        QVERIFY(!downloader->isDownloading());
    }

    // Each chunk restarts the watchdog: 5 chunks 300 ms apart outlast a 1-second time-out.
    void steadyDripCompletes()
    {
        useTimeout(1);
        FailureRecorder delegate;
        const auto downloader = TVRDownloader::loadWithURL(m_server->url("/drip/5/300"), &delegate);
        QTRY_VERIFY_WITH_TIMEOUT(delegate.ended(), 5000);
        QCOMPARE(delegate.heard.finished, 1);
        QCOMPARE(downloader->data(), TestHttpServer::dripChunk().repeated(5));
    }

    void cancelIsSilent()
    {
        useTimeout(1);
        FailureRecorder delegate;
        const int before = m_server->requestCount("/stall/0");
        const auto downloader = TVRDownloader::loadWithURL(m_server->url("/stall/0"), &delegate);
        QTRY_VERIFY(m_server->requestCount("/stall/0") > before);
        downloader->cancel();
        QVERIFY(!downloader->isDownloading());
        // Past the moment the watchdog would have fired.
        QTest::qWait(1500);
        QVERIFY(!delegate.ended());
    }

    void timeoutPreference_data()
    {
        QTest::addColumn<int>("stored");
        QTest::addColumn<float>("seconds");
        QTest::newRow("absent") << 0 << 20.0f;
        QTest::newRow("45") << 45 << 45.0f;
    }
    void timeoutPreference()
    {
        QFETCH(int, stored);
        QFETCH(float, seconds);
        useTimeout(stored);
        FailureRecorder delegate;
        const auto downloader = TVRDownloader::loadWithURL(m_server->url("/stall/0"), &delegate);
        QCOMPARE(downloader->timeoutSeconds(), seconds);
        // Read once, at creation: a later change is for later downloaders.
        m_home->writeApplicationPreferences({{"DownloadTimeout", 7}});
        QCOMPARE(downloader->timeoutSeconds(), seconds);
        const auto later = TVRDownloader::loadWithURL(m_server->url("/stall/0"), &delegate);
        QCOMPARE(later->timeoutSeconds(), 7.0f);
        downloader->cancel();
        later->cancel();
    }

    void droppedInsideTheDelegateCall_data()
    {
        QTest::addColumn<QString>("path");
        QTest::newRow("finished") << "/hello";
        QTest::newRow("failed") << "/reset";
    }
    void droppedInsideTheDelegateCall()
    {
        QFETCH(QString, path);
        FailureRecorder delegate;
        std::shared_ptr<TVRDownloader> downloader = TVRDownloader::loadWithURL(m_server->url(path), &delegate);
        std::weak_ptr<TVRDownloader> watch = downloader;
        delegate.onEnd = [&downloader] { downloader.reset(); };
        QTRY_VERIFY(delegate.ended());
        QVERIFY(watch.expired());
        // Whatever the dropped transfer left behind must not call again.
        QTest::qWait(100);
        QCOMPARE(delegate.heard.finished + delegate.heard.failures.size(), 1);
    }

    void unloadableURL_data()
    {
        QTest::addColumn<QUrl>("url");
        QTest::newRow("empty") << QUrl();
        QTest::newRow("relative") << QUrl("feed.xml");
        QTest::newRow("unknown scheme") << QUrl("gopher://127.0.0.1/feed");
    }
    void unloadableURL()
    {
        QFETCH(QUrl, url);
        FailureRecorder delegate;
        QVERIFY(!TVRDownloader::loadWithURL(url, &delegate));
    }

    void decode_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("isNull");
        QTest::newRow("UTF-8") << QByteArray("na\xC3\xAFve \xE6\x97\xA5") << QString("naïve 日") << false;
        QTest::newRow("ASCII") << QByteArray("plain") << QString("plain") << false;
        QTest::newRow("EUC-JP") << TestHttpServer::eucJpBody() << TestHttpServer::eucJpText() << false;
        // Latin-1 would read anything; EUC-JP does not, so these bytes are no text.
        QTest::newRow("undecodable") << QByteArray("caf\xE9 \xFF") << QString() << true;
        QTest::newRow("empty") << QByteArray("", 0) << QString("") << false;
        QTest::newRow("nothing") << QByteArray() << QString() << true;
    }
    void decode()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, text);
        QFETCH(bool, isNull);
        const QString decoded = TVRDownloader::decode(bytes);
        QCOMPARE(decoded, text);
        QCOMPARE(decoded.isNull(), isNull);
    }

    void synchronous_data()
    {
        QTest::addColumn<QUrl>("url");
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<QString>("string");
        QTest::newRow("body") << m_server->url("/hello") << kHello << QString(kHello);
        QTest::newRow("redirected") << m_server->url("/redirect/2/hello") << kHello << QString(kHello);
        QTest::newRow("EUC-JP") << m_server->url("/eucjp") << TestHttpServer::eucJpBody()
                                << TestHttpServer::eucJpText();
        QTest::newRow("error status") << m_server->url("/status/500") << QByteArray("status 500")
                                      << QString("status 500");
        QTest::newRow("dead port") << QUrl(QStringLiteral("http://127.0.0.1:%1/").arg(deadPort())) << QByteArray()
                                   << QString();
    }
    void synchronous()
    {
        QFETCH(QUrl, url);
        QFETCH(QByteArray, data);
        QFETCH(QString, string);
        const QByteArray downloaded = NSURLXtra::downloadData(url);
        QCOMPARE(downloaded, data);
        QCOMPARE(downloaded.isNull(), data.isNull());
        const QString text = NSURLXtra::downloadString(url);
        QCOMPARE(text, string);
        QCOMPARE(text.isNull(), string.isNull());
    }

    // The synchronous request gives up after 5 seconds without data, far sooner than 15 or 20.
    void synchronousStallGivesUp()
    {
        QElapsedTimer clock;
        clock.start();
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^TVRDownloader error: "));
        QVERIFY(TVRDownloader::downloadData(m_server->url("/stall/0")).isNull());
        QVERIFY2(clock.elapsed() >= 4500 && clock.elapsed() < 12000, qPrintable(QString::number(clock.elapsed())));
    }
};

QTEST_MAIN(DownloaderTest)
#include "tst_downloader.moc"
