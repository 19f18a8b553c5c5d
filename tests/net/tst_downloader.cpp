#include "TemporaryHome.h"
#include "TestHttpServer.h"

#include "net/DownloadLimits.h"
#include "net/DownloadURL_p.h"
#include "net/NSURLXtra_p.h"
#include "net/TVRDownloader.h"

#include <QElapsedTimer>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QtTest>

#include <atomic>
#include <functional>

#include <sys/stat.h>

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
// The content of a local file that no redirect may bring back.
const QByteArray kSecret = "the user's own file";

} // namespace

// The asynchronous and synchronous downloader against a real local server.
class DownloaderTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<TemporaryHome> m_home;
    std::unique_ptr<TestHttpServer> m_server;
    QTemporaryDir m_files;
    QUrl m_secretFile;

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
        QFile secret(m_files.filePath("secret.txt"));
        QVERIFY(secret.open(QIODevice::WriteOnly) && secret.write(kSecret) == kSecret.size());
        m_secretFile = QUrl::fromLocalFile(secret.fileName());
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
        // Another path of the same server is the same origin: the credential still goes.
        QTest::newRow("credential after a redirect") << "/redirect/1/auth/ann/secret/hello"
                                                     << "ann"
                                                     << "/auth/ann/secret/hello" << 200 << kHello << 3;
        QTest::newRow("feed: URL") << QString() << QString() << "/hello" << 200 << kHello << 1;
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
        // No path: the feed reader's name for http://.../hello.
        const QUrl url =
            path.isEmpty() ? QUrl(m_server->url("/hello").toString().replace("http:", "feed:")) : m_server->url(path);
        const auto downloader = TVRDownloader::loadWithURL(url, &delegate, credential);
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
        QVERIFY(!downloader->failure());
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
        QTest::addColumn<QVariant>("stored");
        QTest::addColumn<float>("seconds");
        QTest::newRow("absent") << QVariant() << 20.0f;
        QTest::newRow("45") << QVariant(45) << 45.0f;
        QTest::newRow("45 as text") << QVariant("45") << 45.0f;
        // 0 would fail every download at once and a negative value switch the watchdog off.
        QTest::newRow("0") << QVariant(0) << 20.0f;
        QTest::newRow("negative") << QVariant(-5) << 20.0f;
        QTest::newRow("not a number") << QVariant("soon") << 20.0f;
        QTest::newRow("a boolean") << QVariant(true) << 20.0f;
    }
    void timeoutPreference()
    {
        QFETCH(QVariant, stored);
        QFETCH(float, seconds);
        m_home->writeApplicationPreferences(stored.isValid() ? QVariantMap{{"DownloadTimeout", stored}}
                                                             : QVariantMap());
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

    // Every failure in its own words, with the error type the delegate is told.
    void failureSaysWhatHappened_data()
    {
        // A path on the test server, or a whole URL.
        QTest::addColumn<QString>("path");
        QTest::addColumn<QVariantMap>("preferences");
        // A credential for "ann" when not empty.
        QTest::addColumn<QString>("password");
        // The request's own time-out when not 0.
        QTest::addColumn<int>("requestTimeoutMs");
        QTest::addColumn<int>("errorType");
        QTest::addColumn<int>("kind");
        // A regular expression for failure().text().
        QTest::addColumn<QString>("text");
        const QString port = QString::number(m_server->port());
        QTest::newRow("refused") << QStringLiteral("http://127.0.0.1:%1/").arg(deadPort()) << QVariantMap() << QString()
                                 << 0 << 2 << int(DownloadFailure::Refused) << "^connection refused$";
        QTest::newRow("no such host") << "http://no-such-host.invalid/feed" << QVariantMap() << QString() << 0 << 2
                                      << int(DownloadFailure::HostNotFound)
                                      << "^host \"no-such-host.invalid\" not found$";
        QTest::newRow("TLS") << m_server->url("/hello").toString().replace("http:", "https:") << QVariantMap()
                             << QString() << 0 << 2 << int(DownloadFailure::Tls)
                             << "^secure connection \\(TLS\\) failed: \\S";
        QTest::newRow("redirect loop") << "/loop" << QVariantMap() << QString() << 0 << 2
                                       << int(DownloadFailure::RedirectLoop)
                                       << "^redirect loop: more than 20 redirects$";
        QTest::newRow("redirect to a file") << m_server->redirectTo(m_secretFile).toString() << QVariantMap()
                                            << QString() << 0 << 2 << int(DownloadFailure::RedirectRefused)
                                            << "^redirect to \"" + QRegularExpression::escape(m_secretFile.toString()) +
                                                   "\" refused: only http and https are followed$";
        QTest::newRow("closed unanswered")
            << "/reset" << QVariantMap() << QString() << 0 << 2 << int(DownloadFailure::NoAnswer)
            << "^the server closed the connection without answering$";
        QTest::newRow("closed half-way") << "/short/1000" << QVariantMap() << QString() << 0 << 2
                                         << int(DownloadFailure::CutShort)
                                         << "^cut short: 1000 bytes of 2000 bytes arrived$";
        QTest::newRow("reset half-way") << "/partial/1000" << QVariantMap() << QString() << 0 << 2
                                        << int(DownloadFailure::CutShort)
                                        << "^cut short: 1000 bytes of 2000 bytes arrived$";
        QTest::newRow("broken chunks") << "/brokenchunks/1000" << QVariantMap() << QString() << 0 << 2
                                       << int(DownloadFailure::CutShort)
                                       << "^cut short: the connection broke after 1000 bytes$";
        QTest::newRow("no credential") << "/auth/ann/secret/hello" << QVariantMap() << QString() << 0 << 2
                                       << int(DownloadFailure::AuthenticationRefused)
                                       << "^the server asks for a user name and password$";
        QTest::newRow("wrong credential")
            << "/auth/ann/secret/hello" << QVariantMap() << "guess" << 0 << 2
            << int(DownloadFailure::AuthenticationRefused) << "^the server refused the user name and password$";
        QTest::newRow("credential asked by another host")
            << m_server->redirectTo(m_server->url("/auth/ann/secret/hello", "localhost")).toString() << QVariantMap()
            << "secret" << 0 << 2 << int(DownloadFailure::CredentialWithheld)
            << "^localhost:" + port + " asks for a password, which is only sent to 127.0.0.1:" + port + "$";
        QTest::newRow("announced too large") << "/bytes/2000" << QVariantMap{{"DownloadMaximumBytes", 1000}}
                                             << QString() << 0 << 2 << int(DownloadFailure::TooLarge)
                                             << "^the answer is larger than 1000 bytes, the DownloadMaximumBytes "
                                                "limit$";
        QTest::newRow("too large unannounced")
            << "/generate/3000/unsized" << QVariantMap{{"DownloadMaximumBytes", 2048}} << QString() << 0 << 2
            << int(DownloadFailure::TooLarge) << "^the answer is larger than 2 KB, the DownloadMaximumBytes limit$";
        // Data every 100 ms keeps the watchdog quiet; the deadline ends it.
        QTest::newRow("deadline") << "/endless/100" << QVariantMap{{"DownloadDeadline", 1}} << QString() << 0 << 0
                                  << int(DownloadFailure::DeadlinePassed)
                                  << "^not finished after 1 second, the DownloadDeadline limit$";
        QTest::newRow("watchdog") << "/stall/0" << QVariantMap{{"DownloadTimeout", 1}} << QString() << 0 << 0
                                  << int(DownloadFailure::TimedOut) << "^no data for 1 second$";
        // The request's own time-out (15 seconds unless set) comes before a longer watchdog.
        QTest::newRow("request time-out") << "/stall/0" << QVariantMap() << QString() << 1000 << 2
                                          << int(DownloadFailure::Stalled) << "^no data for 1 second$";
    }
    void failureSaysWhatHappened()
    {
        QFETCH(QString, path);
        QFETCH(QVariantMap, preferences);
        QFETCH(QString, password);
        QFETCH(int, requestTimeoutMs);
        QFETCH(int, errorType);
        QFETCH(int, kind);
        QFETCH(QString, text);
        m_home->writeApplicationPreferences(preferences);
        FailureRecorder delegate;
        std::optional<TVRDownloader::Credential> credential;
        if (!password.isEmpty())
            credential = TVRDownloader::Credential{"ann", password};
        QNetworkRequest request(path.startsWith('/') ? m_server->url(path) : QUrl(path));
        if (requestTimeoutMs)
            request.setTransferTimeout(requestTimeoutMs);
        const auto downloader = TVRDownloader::loadWithRequest(request, &delegate, credential);
        QVERIFY(downloader);
        QTRY_VERIFY_WITH_TIMEOUT(delegate.ended(), 10000);
        QCOMPARE(delegate.heard.failures, QList<int>{errorType});
        QCOMPARE(int(downloader->failure().kind()), kind);
        const QString said = downloader->failure().text();
        QVERIFY2(QRegularExpression(text).match(said).hasMatch(), qPrintable(said));
        QVERIFY(!downloader->data().contains(kSecret));
    }

    // A file: URL reads a file, never a device or a pipe that could be read for ever.
    void fileURLs_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("failure");
        QTest::newRow("file") << m_secretFile.toLocalFile() << kSecret << QString();
        QTest::newRow("missing") << m_files.filePath("none.xml") << QByteArray()
                                 << "couldn't open file " + m_files.filePath("none.xml");
        QTest::newRow("device") << "/dev/zero" << QByteArray() << "/dev/zero is not a regular file";
        QTest::newRow("folder") << m_files.path() << QByteArray() << m_files.path() + " is not a regular file";
        QTest::newRow("pipe") << m_files.filePath("pipe") << QByteArray()
                              << m_files.filePath("pipe") + " is not a regular file";
    }
    void fileURLs()
    {
        QFETCH(QString, path);
        QFETCH(QByteArray, body);
        QFETCH(QString, failure);
        if (path.endsWith("/pipe") && !QFileInfo::exists(path))
            QCOMPARE(::mkfifo(QFile::encodeName(path).constData(), 0600), 0);
        FailureRecorder delegate;
        const auto downloader = TVRDownloader::loadWithURL(QUrl::fromLocalFile(path), &delegate);
        QTRY_VERIFY(delegate.ended());
        QCOMPARE(downloader->failure().text(), failure);
        DownloadFailure blocking;
        QCOMPARE(TVRDownloader::downloadData(QUrl::fromLocalFile(path), &blocking), body);
        QCOMPARE(blocking.text(), failure);
        if (failure.isEmpty())
            QCOMPARE(downloader->data(), body);
    }

    // A redirect may lead to another web address, never to something the computer holds.
    void redirectsStayOnTheWeb_data()
    {
        QTest::addColumn<QUrl>("target");
        QTest::newRow("file") << m_secretFile;
        QTest::newRow("data") << QUrl("data:text/plain," + QUrl::toPercentEncoding(kSecret));
        QTest::newRow("qrc") << QUrl("qrc:/qt-project.org/qmime/freedesktop.org.xml");
    }
    void redirectsStayOnTheWeb()
    {
        QFETCH(QUrl, target);
        const QUrl redirect = m_server->redirectTo(target);
        FailureRecorder delegate;
        const auto downloader = TVRDownloader::loadWithURL(redirect, &delegate);
        QTRY_VERIFY(delegate.ended());
        QCOMPARE(delegate.heard.failures, QList<int>{TVRDownloader::ConnectionFailed});
        QCOMPARE(downloader->data(), QByteArray());
        QCOMPARE(downloader->url(), redirect);
        DownloadFailure failure;
        QCOMPARE(TVRDownloader::downloadData(redirect, &failure), QByteArray());
        QCOMPARE(failure.kind(), DownloadFailure::RedirectRefused);
    }

    // What identifies the user to the server they named never reaches another one.
    void credentialStaysWithItsServer()
    {
        const QString guarded = "/auth/ann/secret/hello";
        const qsizetype before = m_server->requestHeaders(guarded).size();
        FailureRecorder delegate;
        QNetworkRequest request(m_server->redirectTo(m_server->url(guarded, "localhost")));
        const auto downloader =
            TVRDownloader::loadWithRequest(request, &delegate, TVRDownloader::Credential{"ann", "secret"});
        QTRY_VERIFY(delegate.ended());
        QCOMPARE(delegate.heard.failures, QList<int>{TVRDownloader::ConnectionFailed});
        const auto asked = m_server->requestHeaders(guarded).mid(before);
        QVERIFY(!asked.isEmpty());
        for (const auto &headers : asked) {
            QCOMPARE(headers.value("host"), "localhost:" + QByteArray::number(m_server->port()));
            QVERIFY2(!headers.contains("authorization"), headers.value("authorization").constData());
        }

        // Nor does an Authorization header or a cookie the caller set on the request.
        FailureRecorder plain;
        request.setUrl(m_server->redirectTo(m_server->url("/hello", "localhost")));
        request.setRawHeader("Authorization", "Basic YW5uOnNlY3JldA==");
        request.setRawHeader("Cookie", "session=1");
        const auto redirected = TVRDownloader::loadWithRequest(request, &plain);
        QTRY_VERIFY(plain.ended());
        QCOMPARE(plain.heard.finished, 1);
        QCOMPARE(redirected->data(), kHello);
        const auto headers = m_server->requestHeaders("/hello").last();
        QVERIFY(!headers.contains("authorization") && !headers.contains("cookie"));
        QVERIFY(m_server->requestHeaders("/location").last().contains("authorization"));
    }

    // A chunked answer that ends properly, a trailer after its last chunk, is whole.
    void chunkedAnswerWithTrailer()
    {
        FailureRecorder delegate;
        const auto downloader = TVRDownloader::loadWithURL(m_server->url("/chunked/2500"), &delegate);
        QTRY_VERIFY(delegate.ended());
        QCOMPARE(delegate.heard.finished, 1);
        QCOMPARE(downloader->data(), TestHttpServer::patternBytes(2500));
        QCOMPARE(downloader->urlResponse()->expectedContentLength, -1);
        QCOMPARE(TVRDownloader::downloadData(m_server->url("/chunked/2500")), TestHttpServer::patternBytes(2500));
    }

    // A body that stops before its announced end is no answer, also to a delegate that hears of
    // failures only as downloadFinished: it finds the failure, not a shorter document.
    void cutShortIsAFailure()
    {
        PlainRecorder delegate;
        const auto downloader = TVRDownloader::loadWithURL(m_server->url("/short/1000"), &delegate);
        QTRY_COMPARE(delegate.heard.finished, 1);
        QCOMPARE(downloader->failure().kind(), DownloadFailure::CutShort);
        QCOMPARE(delegate.heard.data, TestHttpServer::patternBytes(1000));
    }

    void limitsFromPreferences_data()
    {
        QTest::addColumn<QVariantMap>("preferences");
        QTest::addColumn<qint64>("maximumBytes");
        QTest::addColumn<double>("deadlineSeconds");
        const qint64 bytes = DownloadLimits::kDefaultMaximumBytes;
        const double seconds = DownloadLimits::kDefaultDeadlineSeconds;
        QTest::newRow("absent") << QVariantMap() << bytes << seconds;
        QTest::newRow("set") << QVariantMap{{"DownloadMaximumBytes", 5000}, {"DownloadDeadline", 30}} << qint64(5000)
                             << 30.0;
        QTest::newRow("as text") << QVariantMap{{"DownloadMaximumBytes", " 5000"}, {"DownloadDeadline", "30"}}
                                 << qint64(5000) << 30.0;
        QTest::newRow("large") << QVariantMap{{"DownloadMaximumBytes", qint64(1) << 40}} << (qint64(1) << 40)
                               << seconds;
        QTest::newRow("real numbers") << QVariantMap{{"DownloadMaximumBytes", 5000.7}, {"DownloadDeadline", 1e300}}
                                      << qint64(5000) << 1e15;
        QTest::newRow("0") << QVariantMap{{"DownloadMaximumBytes", 0}, {"DownloadDeadline", 0}} << bytes << seconds;
        QTest::newRow("negative") << QVariantMap{{"DownloadMaximumBytes", -1}, {"DownloadDeadline", -30}} << bytes
                                  << seconds;
        QTest::newRow("wrong type") << QVariantMap{{"DownloadMaximumBytes", QVariantList{1}},
                                                   {"DownloadDeadline", "soon"}}
                                    << bytes << seconds;
    }
    void limitsFromPreferences()
    {
        QFETCH(QVariantMap, preferences);
        QFETCH(qint64, maximumBytes);
        QFETCH(double, deadlineSeconds);
        m_home->writeApplicationPreferences(preferences);
        const DownloadLimits limits = DownloadLimits::fromPreferences();
        QCOMPARE(limits.maximumBytes, maximumBytes);
        QCOMPARE(limits.deadlineSeconds, deadlineSeconds);
    }

    void feedURLs_data()
    {
        QTest::addColumn<QUrl>("url");
        QTest::addColumn<QUrl>("web");
        QTest::newRow("feed://") << QUrl("feed://example.com/rss?x=1") << QUrl("http://example.com/rss?x=1");
        QTest::newRow("feed:https://") << QUrl("feed:https://example.com/rss") << QUrl("https://example.com/rss");
        QTest::newRow("feed://https://") << QUrl("feed://https://example.com/rss") << QUrl("https://example.com/rss");
        QTest::newRow("feed://http://") << QUrl("feed://http://example.com:8080/rss")
                                        << QUrl("http://example.com:8080/rss");
        QTest::newRow("upper case") << QUrl("FEED://Example.com/rss") << QUrl("http://example.com/rss");
        QTest::newRow("http") << QUrl("http://example.com/rss") << QUrl("http://example.com/rss");
        QTest::newRow("file") << QUrl("file:///tmp/feed.xml") << QUrl("file:///tmp/feed.xml");
    }
    void feedURLs()
    {
        QFETCH(QUrl, url);
        QFETCH(QUrl, web);
        QCOMPARE(DownloadURL::withoutFeedScheme(url), web);
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
        QTest::newRow("feed: URL") << QUrl(m_server->url("/hello").toString().replace("http:", "feed:")) << kHello
                                   << QString(kHello);
        // Part of a body is no body.
        QTest::newRow("cut short") << m_server->url("/short/1000") << QByteArray() << QString();
        QTest::newRow("redirect to a file") << m_server->redirectTo(m_secretFile) << QByteArray() << QString();
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
        QTest::ignoreMessage(QtWarningMsg, "TVRDownloader error: no data for 5 seconds");
        QVERIFY(TVRDownloader::downloadData(m_server->url("/stall/0")).isNull());
        QVERIFY2(clock.elapsed() >= 4500 && clock.elapsed() < 12000, qPrintable(QString::number(clock.elapsed())));
    }

    void synchronousFailures_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QVariantMap>("preferences");
        QTest::addColumn<int>("kind");
        QTest::newRow("too large") << "/generate/3000/unsized" << QVariantMap{{"DownloadMaximumBytes", 1000}}
                                   << int(DownloadFailure::TooLarge);
        QTest::newRow("deadline") << "/endless/100" << QVariantMap{{"DownloadDeadline", 1}}
                                  << int(DownloadFailure::DeadlinePassed);
        QTest::newRow("broken chunks") << "/brokenchunks/1000" << QVariantMap() << int(DownloadFailure::CutShort);
    }
    void synchronousFailures()
    {
        QFETCH(QString, path);
        QFETCH(QVariantMap, preferences);
        QFETCH(int, kind);
        m_home->writeApplicationPreferences(preferences);
        DownloadFailure failure;
        const QByteArray body = TVRDownloader::downloadData(m_server->url(path), &failure);
        QVERIFY(body.isNull());
        QCOMPARE(int(failure.kind()), kind);
    }

    // A blocking download that hangs holds up only its own caller: one begun before it on another
    // thread ends when its own answer is in, not when the slow one's is.
    void blockingDownloadsRunSideBySide()
    {
        std::atomic<bool> firstEnded = false;
        QByteArray first;
        std::unique_ptr<QThread> earlier(QThread::create([this, &first, &firstEnded] {
            first = TVRDownloader::downloadData(m_server->url("/drip/2/300"));
            firstEnded = true;
        }));
        earlier->start();
        QTRY_COMPARE(m_server->requestCount("/drip/2/300"), 1);
        // Ten chunks 300 ms apart: slow, but never idle long enough to fail.
        QCOMPARE(TVRDownloader::downloadData(m_server->url("/drip/10/300")), TestHttpServer::dripChunk().repeated(10));
        QVERIFY2(firstEnded, "the earlier download waited for the later one");
        QVERIFY(earlier->wait(10000));
        QCOMPARE(first, TestHttpServer::dripChunk().repeated(2));
    }
};

QTEST_MAIN(DownloaderTest)
#include "tst_downloader.moc"
