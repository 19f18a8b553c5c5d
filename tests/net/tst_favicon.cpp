#include "CliRun.h"
#include "TemporaryHome.h"
#include "TestHttpServer.h"

#include "core/Paths.h"
#include "net/FaviconManager.h"

#include <QBuffer>
#include <QDir>
#include <QtTest>

namespace {

// A 16×16 square of one colour, encoded in `format`.
QByteArray squareBytes(const QColor &colour, const char *format)
{
    QImage image(16, 16, QImage::Format_ARGB32);
    image.fill(colour);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, format);
    return bytes;
}

QString cachePath(const QString &name)
{
    return Paths::cachesFolder() + QLatin1Char('/') + name;
}

QStringList cacheFiles()
{
    return QDir(Paths::cachesFolder()).entryList(QDir::Files | QDir::Hidden, QDir::Name);
}

QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

QImage shippedWebImage()
{
    return QImage(Paths::frameworkResourcesFolder() + QStringLiteral("/web.tif"));
}

} // namespace

// Icons fetched from a local server into a temporary home's cache folder, one server and home a test.
class FaviconTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<TemporaryHome> m_home;
    std::unique_ptr<TestHttpServer> m_server;

    // The cache file name of any page on the server.
    QString serverHost() const { return QStringLiteral("127.0.0.1:%1").arg(m_server->port()); }

private Q_SLOTS:
    void initTestCase() { QVERIFY2(!shippedWebImage().isNull(), "web.tif is shipped and readable"); }

    void init()
    {
        m_home = std::make_unique<TemporaryHome>();
        QVERIFY(m_home->isValid());
        m_server = std::make_unique<TestHttpServer>();
        QVERIFY(m_server->isListening());
    }

    void cleanup()
    {
        m_server.reset();
        m_home.reset();
    }

    void servedIconIsCachedOnce_data()
    {
        QTest::addColumn<QByteArray>("format");
        QTest::addColumn<QString>("scheme");
        QTest::addColumn<QString>("path");
        QTest::newRow("ico, http page") << QByteArray("ICO") << "http"
                                        << "/feed.xml";
        QTest::newRow("png named .ico") << QByteArray("PNG") << "http"
                                        << "/";
        QTest::newRow("https page, fetched over http") << QByteArray("BMP") << "https"
                                                       << "/page";
        QTest::newRow("feed scheme with query") << QByteArray("ICO") << "feed"
                                                << "/rss?n=1";
    }
    void servedIconIsCachedOnce()
    {
        QFETCH(QByteArray, format);
        QFETCH(QString, scheme);
        QFETCH(QString, path);
        const QByteArray bytes = squareBytes(Qt::red, format.constData());
        m_server->serve(QStringLiteral("/favicon.ico"), bytes, "image/x-icon");
        // The cache folder and its parent are made when missing.
        QVERIFY(QDir(m_home->path() + QStringLiteral("/.cache")).removeRecursively());

        const QUrl page(QStringLiteral("%1://%2%3").arg(scheme, serverHost(), path));
        const QImage icon = FaviconManager::faviconManager()->faviconForURL(page);
        QCOMPARE(icon.size(), QSize(16, 16));
        QCOMPARE(icon.pixelColor(8, 8), QColor(Qt::red));
        QCOMPARE(cacheFiles(), QStringList{serverHost()});
        QCOMPARE(readFile(cachePath(serverHost())), bytes);

        // Another manager, another page on the host: the same file, no second request.
        QCOMPARE(FaviconManager::faviconManager()->faviconForURL(m_server->url(QStringLiteral("/other"))), icon);
        QCOMPARE(m_server->requestCount(QStringLiteral("/favicon.ico")), 1);
        QCOMPARE(cacheFiles().size(), 1);
    }

    // Pre-seeded files, so no name is looked up: each URL must find the one of its exact host.
    void cacheFileIsNamedAfterHost_data()
    {
        QTest::addColumn<QString>("url");
        QTest::addColumn<QColor>("colour");
        QTest::newRow("host") << "http://example.test/feed" << QColor(Qt::red);
        QTest::newRow("www is another host") << "http://www.example.test/news" << QColor(Qt::green);
        QTest::newRow("https") << "https://example.test/" << QColor(Qt::red);
        QTest::newRow("user info left out") << "http://user:pw@example.test/" << QColor(Qt::red);
        QTest::newRow("upper case, as QUrl lowers it") << "HTTP://Example.TEST/x" << QColor(Qt::red);
        QTest::newRow("port") << "http://example.test:8080/" << QColor(Qt::blue);
    }
    void cacheFileIsNamedAfterHost()
    {
        QFETCH(QString, url);
        QFETCH(QColor, colour);
        const QStringList names{"example.test", "example.test:8080", "www.example.test"};
        const QList<QColor> colours{Qt::red, Qt::blue, Qt::green};
        QVERIFY(QDir().mkpath(Paths::cachesFolder()));
        for (qsizetype i = 0; i < names.size(); ++i)
            QVERIFY(writeFile(cachePath(names[i]), squareBytes(colours[i], "PNG")));

        const QImage icon = FaviconManager::faviconManager()->faviconForURL(QUrl(url));
        QCOMPARE(icon.pixelColor(0, 0), colour);
        QCOMPARE(cacheFiles(), names);
    }

    void noIconCachesNothing_data()
    {
        QTest::addColumn<bool>("serverUp");
        QTest::addColumn<QByteArray>("body"); // null: not served, a 404
        QTest::newRow("404") << true << QByteArray();
        QTest::newRow("error page") << true << QByteArray("<html>No icon here</html>");
        QTest::newRow("empty body") << true << QByteArray("");
        QTest::newRow("nothing listening") << false << QByteArray();
    }
    void noIconCachesNothing()
    {
        QFETCH(bool, serverUp);
        QFETCH(QByteArray, body);
        if (!body.isNull())
            m_server->serve(QStringLiteral("/favicon.ico"), body, "text/html");
        const QUrl page = m_server->url(QStringLiteral("/feed"));
        if (!serverUp)
            m_server.reset();

        const std::unique_ptr<FaviconManager> manager = FaviconManager::faviconManager();
        QCOMPARE(manager->faviconForURL(page), shippedWebImage());
        QVERIFY(cacheFiles().isEmpty());
        // Nothing was kept, so the next request asks again.
        QCOMPARE(manager->faviconForURL(page), shippedWebImage());
        if (serverUp)
            QCOMPARE(m_server->requestCount(QStringLiteral("/favicon.ico")), 2);
    }

    void cachedNonImageIsKept()
    {
        // The server has an icon by now, but a cache file is never refreshed.
        m_server->serve(QStringLiteral("/favicon.ico"), squareBytes(Qt::red, "ICO"), "image/x-icon");
        QVERIFY(QDir().mkpath(Paths::cachesFolder()));
        QVERIFY(writeFile(cachePath(serverHost()), "not an image"));

        QCOMPARE(FaviconManager::faviconManager()->faviconForURL(m_server->url(QStringLiteral("/"))),
                 shippedWebImage());
        QCOMPARE(readFile(cachePath(serverHost())), QByteArray("not an image"));
        QCOMPARE(m_server->requestCount(), 0);
    }

    void urlWithoutHostTouchesNothing_data()
    {
        QTest::addColumn<QUrl>("url");
        QTest::newRow("file") << QUrl("file:///tmp/feed.xml");
        QTest::newRow("about") << QUrl("about:blank");
        QTest::newRow("empty") << QUrl();
        QTest::newRow("invalid") << QUrl("http://../");
    }
    void urlWithoutHostTouchesNothing()
    {
        QFETCH(QUrl, url);
        QCOMPARE(FaviconManager::faviconManager()->faviconForURL(url), shippedWebImage());
        QVERIFY(!QFileInfo::exists(Paths::cachesFolder()));
    }

    void command()
    {
        const QByteArray bytes = squareBytes(Qt::red, "ICO");
        m_server->serve(QStringLiteral("/favicon.ico"), bytes, "image/x-icon");
        const QString png = m_home->path() + QStringLiteral("/icon.png");

        const CliRun run = CliRun::run({"favicon", m_server->url(QStringLiteral("/feed")).toString(), "--output", png});
        QCOMPARE(run.err, QString());
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(run.out, QStringLiteral("16x16\n"));
        QCOMPARE(QImage(png, "PNG").convertToFormat(QImage::Format_ARGB32),
                 QImage::fromData(bytes).convertToFormat(QImage::Format_ARGB32));
    }
};

QTEST_MAIN(FaviconTest)
#include "tst_favicon.moc"
