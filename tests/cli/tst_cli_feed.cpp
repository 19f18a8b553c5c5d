#include "ChildMemory.h"
#include "CliRun.h"
#include "TemporaryHome.h"
#include "TestHttpServer.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

#include <memory>

namespace {

QString dataFile(const QString &name)
{
    return QStringLiteral(TIVARO_FEEDS_DATA "/") + name;
}

QByteArray dataBytes(const QString &name)
{
    QFile file(dataFile(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// The value at a path such as "items/0/title"; "count" gives an array's size.
QJsonValue valueAt(QJsonValue value, const QString &path)
{
    for (const QString &step : path.split(u'/')) {
        if (value.isArray())
            value = step == u"count" ? QJsonValue(value.toArray().size()) : value.toArray().at(step.toInt());
        else
            value = value.toObject().value(step);
    }
    return value;
}

// 70 KB that once became a 200 MB description and took 1.8 GB: one 10 KB entity named 20,000 times.
QByteArray entityBomb()
{
    return "<?xml version=\"1.0\"?><!DOCTYPE rss [<!ENTITY e \"" + QByteArray(10000, 'x') +
           "\">]><rss version=\"2.0\"><channel><title>Bomb</title><item><title>T</title><description>" +
           QByteArray("&e;").repeated(20000) + "</description></item></channel></rss>";
}

} // namespace

// `tivaro feed parse` and `tivaro feed format` run as a user runs them, on the feeds in
// tests/feeds/data/feeds and on a local server.
class CliFeedTest : public QObject
{
    Q_OBJECT

    TemporaryHome m_home;
    TestHttpServer m_server;
    QString m_deadServer;
    QString m_entityBomb;

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY2(QFileInfo::exists(qEnvironmentVariable("TIVARO_CLI")), "TIVARO_CLI names the tivaro program");
        QVERIFY(m_home.isValid());
        QVERIFY(m_server.isListening());
        m_server.serve("/harbour.rss", dataBytes("feeds/harbour.rss"), "application/rss+xml");
        m_server.serve("/page.html", dataBytes("feeds/harbour.html"), "text/html");
        m_server.serve("/empty.xml", "", "application/rss+xml");
        // A port that was just listening and no longer is.
        auto gone = std::make_unique<TestHttpServer>();
        m_deadServer = gone->url("/feed.xml").toString();
        m_entityBomb = m_home.path() + "/bomb.rss";
        QFile bomb(m_entityBomb);
        QVERIFY(bomb.open(QIODevice::WriteOnly) && bomb.write(entityBomb()) > 0);
    }

    void parseJson_data()
    {
        QTest::addColumn<QString>("source");
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<QString>("path");
        QTest::addColumn<QJsonValue>("expected");
        const QString rss = dataFile("feeds/harbour.rss");
        const QString atom = dataFile("feeds/harbour-blog.atom");
        const QStringList raw{"--raw"};
        QTest::newRow("version") << rss << raw << "version" << QJsonValue("2.0");
        QTest::newRow("RSS is no Atom") << rss << raw << "isAtomFeed" << QJsonValue(false);
        QTest::newRow("header title") << rss << raw << "header/title" << QJsonValue("Harbour Town News");
        QTest::newRow("image child flattened")
            << rss << raw << "header/imageurl" << QJsonValue("http://news.example.org/logo.png");
        QTest::newRow("image names its children") << rss << raw << "header/image" << QJsonValue("urltitle");
        QTest::newRow("item count") << rss << raw << "items/count" << QJsonValue(4);
        QTest::newRow("enclosure as object") << rss << raw << "items/0/enclosure/length" << QJsonValue("12345");
        QTest::newRow("raw: no title") << rss << raw << "items/1/title" << QJsonValue(QJsonValue::Undefined);
        QTest::newRow("raw: empty link") << rss << raw << "items/1/link" << QJsonValue("");
        QTest::newRow("raw: double-escaped title once unescaped")
            << rss << raw << "items/3/title" << QJsonValue("Caf&amp;eacute; reopens");
        QTest::newRow("title from description")
            << rss << QStringList() << "items/1/title" << QJsonValue("Market day moves to Friday.");
        QTest::newRow("link from description")
            << rss << QStringList() << "items/1/link" << QJsonValue("http://news.example.org/market");
        QTest::newRow("CDATA description trimmed")
            << rss << QStringList() << "items/1/description"
            << QJsonValue("<p>Market day moves to Friday. <a href=\"http://news.example.org/market\">Read "
                          "more</a></p>");
        QTest::newRow("long title becomes description")
            << rss << QStringList() << "items/2/description"
            << QJsonValue("The old lighthouse on the northern pier opens to visitors again next summer");
        QTest::newRow("long title shortened")
            << rss << QStringList() << "items/2/title" << QJsonValue("The old lighthouse on the northern pier...");
        QTest::newRow("entity left in title converted")
            << rss << QStringList() << "items/3/convertedTitle" << QJsonValue(QStringLiteral("Café reopens"));
        QTest::newRow("--normalize is the default")
            << rss << QStringList{"--normalize"} << "items/1/title" << QJsonValue("Market day moves to Friday.");
        QTest::newRow("Atom has no version") << atom << raw << "version" << QJsonValue(QJsonValue::Null);
        QTest::newRow("Atom") << atom << raw << "isAtomFeed" << QJsonValue(true);
        QTest::newRow("Atom header") << atom << raw << "header/updated" << QJsonValue("2024-03-01T10:00:00Z");
        QTest::newRow("Atom link of the last link")
            << atom << raw << "items/0/link" << QJsonValue("http://blog.example.org/nets/comments");
        QTest::newRow("Atom content after summary wins")
            << atom << raw << "items/0/description"
            << QJsonValue("<content type=\"html\">&lt;p&gt;All the nets are &lt;i&gt;mended&lt;/i&gt;.&lt;/p&gt;"
                          "</content>");
        QTest::newRow("Atom author names its child") << atom << raw << "items/0/author" << QJsonValue("name");
        QTest::newRow("URL") << m_server.url("/harbour.rss").toString() << QStringList() << "items/2/link"
                             << QJsonValue("http://news.example.org/lighthouse");
        QTest::newRow("file URL") << QUrl::fromLocalFile(rss).toString() << QStringList() << "items/count"
                                  << QJsonValue(4);
    }
    void parseJson()
    {
        QFETCH(QString, source);
        QFETCH(QStringList, options);
        QFETCH(QString, path);
        QFETCH(QJsonValue, expected);
        const CliRun run = CliRun::run(QStringList{"feed", "parse", source, "--json"} + options);
        QCOMPARE(run.err, QString());
        QCOMPARE(run.exitCode, 0);
        QJsonParseError error;
        const QJsonDocument document = QJsonDocument::fromJson(run.out.toUtf8(), &error);
        QCOMPARE(error.error, QJsonParseError::NoError);
        QCOMPARE(valueAt(document.object(), path), expected);
    }

    // The listing for people: sections, enclosure attributes, a value of several lines indented.
    void parseText()
    {
        const CliRun run = CliRun::run({"feed", "parse", "--raw", dataFile("feeds/harbour.rss")});
        QCOMPARE(run.err, QString());
        QCOMPARE(run.exitCode, 0);
        const QStringList lines = run.out.split(u'\n');
        QCOMPARE(lines.mid(0, 5), (QStringList{"version: 2.0", "kind: RSS", "", "header",
                                               "  description: Local news from the harbour"}));
        QCOMPARE(
            lines.mid(11, 7),
            (QStringList{"item 1", "  description: <p>The <b>winter</b> timetable starts", "          on Monday.</p>",
                         "  enclosure: length=12345 type=audio/mpeg url=http://news.example.org/ferry.mp3",
                         "  link: http://news.example.org/ferry", "  title: Ferry & bus timetables change", ""}));
        QCOMPARE(lines.count(QStringLiteral("item 4")), 1);
    }

    void format_data()
    {
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<QString>("out");
        QTest::newRow("all items") << QStringList()
                                   << "Ferry & bus timetables change\n\nThe winter timetable starts\non Monday.\n"
                                      "-------\n"
                                      "Market day moves to Friday.\n\nMarket day moves to Friday. Read more\n"
                                      "-------\n"
                                      "The old lighthouse on the northern pier...\n\nThe old lighthouse on the "
                                      "northern pier opens to visitors again next summer\n"
                                      "-------\n"
                                      "Caf&eacute; reopens\n\nCoffee again.\n"
                                      "-------\n";
        QTest::newRow("two articles") << QStringList{"--articles", "2"}
                                      << "Ferry & bus timetables change\n\nThe winter timetable starts\non Monday.\n"
                                         "-------\n"
                                         "Market day moves to Friday.\n\nMarket day moves to Friday. Read more\n";
        QTest::newRow("no summary") << QStringList{"--no-summary", "--articles", "3"}
                                    << "Ferry & bus timetables change\n-------\nMarket day moves to Friday.\n"
                                       "-------\nThe old lighthouse on the northern pier...\n";
        QTest::newRow("with articles")
            << QStringList{"--with-articles", "--articles", "1"}
            << "<a href=\"_pages/Ferry & bus timetables change.txt\">Ferry & bus timetables change</a>\n\n"
               "The winter timetable starts\non Monday.\n";
    }
    void format()
    {
        QFETCH(QStringList, options);
        QFETCH(QString, out);
        const CliRun run = CliRun::run(QStringList{"feed", "format", dataFile("feeds/harbour.rss")} + options);
        QCOMPARE(run.err, QString());
        QCOMPARE(run.out, out);
        QCOMPARE(run.exitCode, 0);
    }

    void errors_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("errStart");
        const QString missing = dataFile("feeds/none.rss");
        const QString page = dataFile("feeds/harbour.html");
        const QString csv = dataFile("not-xml.csv");
        const QString notFound = m_server.url("/missing.xml").toString();
        const QString served = m_server.url("/page.html").toString();
        const QString empty = m_server.url("/empty.xml").toString();
        QTest::newRow("missing file") << QStringList{"parse", missing} << 1
                                      << "tivaro: cannot read " + missing + ": No such file or directory\n";
        QTest::newRow("XML page, no channel") << QStringList{"parse", page} << 1 << "tivaro: " + page + " is no feed";
        QTest::newRow("not XML") << QStringList{"format", csv} << 1 << "tivaro: " + csv + " is no feed";
        QTest::newRow("404 answer") << QStringList{"parse", notFound} << 1 << "tivaro: " + notFound + " is no feed";
        QTest::newRow("HTML answer") << QStringList{"format", served} << 1 << "tivaro: " + served + " is no feed";
        QTest::newRow("entities expanding too far")
            << QStringList{"parse", m_entityBomb} << 1
            << "tivaro: " + m_entityBomb +
                   " is no feed: its entities expand into far more text than the document holds\n";
        QTest::newRow("empty answer") << QStringList{"parse", empty} << 1
                                      << "tivaro: cannot download " + empty + ": RSSNoData: ";
        QTest::newRow("dead server") << QStringList{"parse", m_deadServer} << 1
                                     << "tivaro: cannot download " + m_deadServer + ": RSSDownloadFailed: ";
        QTest::newRow("no source") << QStringList{"parse"} << 2 << "tivaro: feed parse takes one FILE or URL\n";
        QTest::newRow("two sources") << QStringList{"format", page, page} << 2
                                     << "tivaro: feed format takes one FILE or URL\n";
        QTest::newRow("raw and normalize") << QStringList{"parse", page, "--raw", "--normalize"} << 2
                                           << "tivaro: --raw and --normalize exclude each other\n";
        QTest::newRow("no articles") << QStringList{"format", page, "--articles", "0"} << 2
                                     << "tivaro: --articles takes a whole number above 0, not \"0\"\n";
        QTest::newRow("articles not a number") << QStringList{"format", page, "--articles", "ten"} << 2
                                               << "tivaro: --articles takes a whole number above 0, not \"ten\"\n";
    }
    // One line on standard error, nothing on standard output.
    void errors()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, exitCode);
        QFETCH(QString, errStart);
        const CliRun run = CliRun::run(QStringList{"feed"} + arguments);
        QVERIFY2(run.err.startsWith(errStart), qPrintable(run.err));
        QCOMPARE(run.err.count(u'\n'), 1);
        QCOMPARE(run.out, QString());
        QCOMPARE(run.exitCode, exitCode);
    }

    // The feed is refused before its entities have grown: the child's peak memory stays small.
    void entityBombTakesLittleMemory_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::newRow("parse") << QStringList{"parse", "--json"};
        QTest::newRow("format") << QStringList{"format", "--with-articles"};
    }
    void entityBombTakesLittleMemory()
    {
        QFETCH(QStringList, arguments);
        const CliRun run = CliRun::run(QStringList{"feed"} + arguments + QStringList{m_entityBomb});
        // Every child so far counts; all of them are small. Unbounded, this one took 1.8 GB.
        QVERIFY2(ChildMemory::largestPeakMiB() < ChildMemory::kRefusalLimitMiB,
                 qPrintable(QString::number(ChildMemory::largestPeakMiB()) + " MiB"));
        QCOMPARE(run.exitCode, 1);
        QVERIFY2(run.err.contains("its entities expand into far more text"), qPrintable(run.err));
    }
};

QTEST_GUILESS_MAIN(CliFeedTest)
#include "tst_cli_feed.moc"
