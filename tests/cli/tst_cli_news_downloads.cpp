#include "CliRun.h"
#include "IPodFixture.h"
#include "TemporaryHome.h"
#include "TestHttpServer.h"

#include <QTcpServer>
#include <QtTest>

namespace {

// A feed of `count` items, "Story 1" to "Story <count>".
QByteArray feed(int count, const QByteArray &title = "Daily")
{
    QByteArray items;
    for (int i = 1; i <= count; ++i)
        items += "<item><title>Story " + QByteArray::number(i) + "</title><description>Text " + QByteArray::number(i) +
                 "</description></item>";
    return "<?xml version=\"1.0\"?><rss version=\"2.0\"><channel><title>" + title + "</title>" + items +
           "</channel></rss>";
}

QByteArray opml(const QString &title, const QString &url)
{
    return QStringLiteral("<?xml version=\"1.0\"?><opml version=\"2.0\"><head/><body>"
                          "<outline type=\"rss\" text=\"%1\" xmlUrl=\"%2\"/></body></opml>")
        .arg(title, url.toHtmlEscaped())
        .toUtf8();
}

// A port where nothing listens: taken from the system, then given back.
quint16 deadPort()
{
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    return probe.serverPort();
}

} // namespace

// What a News sync makes of feeds whose download goes wrong, through the real program: one error
// line naming the feed and what happened, and the iPod's old news left as it was.
class CliNewsDownloadsTest : public QObject
{
    Q_OBJECT

    TestHttpServer m_server;
    std::unique_ptr<TemporaryHome> m_home;
    QString m_iPod;

    CliRun sync(const QString &title, const QString &url)
    {
        IPodFixture::writeFile(m_home->path(), "feeds.opml", opml(title, url));
        const CliRun imported = CliRun::run({"news", "import", m_home->path() + "/feeds.opml"});
        if (imported.exitCode != 0)
            return imported;
        return CliRun::run({"sync", "--ipod", m_iPod, "--quick", "News"});
    }
    QByteArray note(const QString &name) const
    {
        return IPodFixture::readFile(m_iPod + "/Notes/News/" + name + ".txt");
    }

private Q_SLOTS:
    void cleanupTestCase() { m_home.reset(); }
    void initTestCase()
    {
        QVERIFY2(QFileInfo::exists(qEnvironmentVariable("TIVARO_CLI")), "TIVARO_CLI names the tivaro program");
        QVERIFY(m_server.isListening());
        m_server.serve("/daily.xml", feed(20), "application/rss+xml");
    }
    void init()
    {
        // The old home goes first: it puts back the environment it found.
        m_home.reset();
        m_home = std::make_unique<TemporaryHome>();
        QVERIFY(m_home->isValid());
        m_iPod = IPodFixture::createWithFamily(m_home->path() + "/IPOD", 6, "NEWS1");
        // Yesterday's news, whole.
        const CliRun first = sync("Daily", m_server.url("/daily.xml").toString());
        QVERIFY2(first.exitCode == 0, qPrintable(first.out + first.err));
        QVERIFY(note("Daily").contains("Story 10"));
    }

    void failedDownloadsAreNamedAndKeepTheOldNews_data()
    {
        QTest::addColumn<QString>("url");
        QTest::addColumn<QVariantMap>("preferences");
        QTest::addColumn<QString>("problem");
        const QByteArray whole = feed(20);
        // Eight whole items and part of the ninth.
        const int cut = int(whole.indexOf("<item><title>Story 9")) + 20;
        QTest::newRow("cut short")
            << m_server.url(QStringLiteral("/cut/%1/daily.xml").arg(cut)).toString() << QVariantMap()
            << QStringLiteral("cut short: %1 bytes of %2 bytes arrived.").arg(cut).arg(whole.size());
        QTest::newRow("refused") << QStringLiteral("http://127.0.0.1:%1/daily.xml").arg(deadPort()) << QVariantMap()
                                 << "connection refused.";
        // A feed that never ends no longer holds the sync.
        QTest::newRow("endless") << m_server.url("/endless/100").toString() << QVariantMap{{"DownloadDeadline", 1}}
                                 << "not finished after 1 second, the DownloadDeadline limit.";
        QTest::newRow("too large") << m_server.url("/generate/100000").toString()
                                   << QVariantMap{{"DownloadMaximumBytes", 10000}}
                                   << "the answer is larger than 10000 bytes, the DownloadMaximumBytes limit.";
    }
    void failedDownloadsAreNamedAndKeepTheOldNews()
    {
        QFETCH(QString, url);
        QFETCH(QVariantMap, preferences);
        QFETCH(QString, problem);
        m_home->writeApplicationPreferences(preferences);
        const CliRun run = sync("Daily", url);
        QCOMPARE(run.exitCode, 1);
        const QString line = "Cannot fetch \"Daily\" (" + url + "): " + problem + "\n";
        QVERIFY2(run.out.contains(line), qPrintable(line + "\n" + run.out));
        QVERIFY(note("Daily").contains("Story 10"));
    }

    // A redirect to a file of the user's is refused: nothing of it reaches the iPod.
    void redirectToAFileIsRefused()
    {
        IPodFixture::writeFile(m_home->path(), "private.xml", feed(1, "Private"));
        const QUrl file = QUrl::fromLocalFile(m_home->path() + "/private.xml");
        const CliRun run = sync("Daily", m_server.redirectTo(file).toString());
        QCOMPARE(run.exitCode, 1);
        QVERIFY2(run.out.contains("redirect to \"" + file.toString() + "\" refused: only http and https are followed."),
                 qPrintable(run.out));
        QVERIFY(!note("Daily").contains("Private"));
        QVERIFY(note("Daily").contains("Story 10"));
    }

    // A subscription to feed://host/... syncs as tivaro feed parse reads it.
    void feedSchemeSubscriptionsSync()
    {
        m_server.serve("/other.xml", feed(3, "Other"), "application/rss+xml");
        const QString url = m_server.url("/other.xml").toString().replace("http:", "feed:");
        const CliRun run = sync("Other", url);
        QVERIFY2(run.exitCode == 0, qPrintable(run.out + run.err));
        QVERIFY(note("Other").contains("Story 3"));
    }
};

QTEST_GUILESS_MAIN(CliNewsDownloadsTest)
#include "tst_cli_news_downloads.moc"
