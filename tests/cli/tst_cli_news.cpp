#include "ChildMemory.h"
#include "CliRun.h"
#include "FatVolume.h"
#include "IPodFixture.h"
#include "TemporaryHome.h"
#include "TestHttpServer.h"

#include <QDirIterator>
#include <QProcess>
#include <QRegularExpression>
#include <QtTest>

#include <csignal>

namespace {

const QByteArray kRss = "<?xml version=\"1.0\"?><rss version=\"2.0\"><channel><title>Daily</title>"
                        "<item><title>First story</title><link>http://d/1</link>"
                        "<description>&lt;p&gt;One &amp;amp; only&lt;/p&gt;</description></item>"
                        "<item><title>Second: the sequel</title><description>Two</description></item>"
                        "<item><title>Third</title><description>Three</description></item></channel></rss>";

const QByteArray kAtom = "<feed xmlns=\"http://www.w3.org/2005/Atom\"><title>Weekly</title>"
                         "<entry><title>Caf&eacute; opens</title><link href=\"http://w/1\"/>"
                         "<content type=\"html\">&lt;p&gt;Coffee &amp;amp; cake&lt;/p&gt;</content></entry>"
                         "<entry><title>Markup</title><content type=\"xhtml\"><div xmlns=\"http://www.w3.org/1999/"
                         "xhtml\"><p>Plain <b>words</b></p></div></content></entry></feed>";

// An outline per feed: (text, url, extra attributes).
QByteArray opml(const QList<QStringList> &feeds)
{
    QByteArray body;
    for (const QStringList &feed : feeds)
        body += QStringLiteral("<outline type=\"rss\" text=\"%1\" xmlUrl=\"%2\" %3/>")
                    .arg(feed.value(0), feed.value(1).toHtmlEscaped(), feed.value(2))
                    .toUtf8();
    return "<?xml version=\"1.0\"?><opml version=\"2.0\"><head/><body><outline text=\"Folder\">" + body +
           "</outline></body></opml>";
}

// The text of a note after its header and title, with "\n" for the iPod's "\r".
QString noteText(const QString &path)
{
    const QByteArray bytes = IPodFixture::readFile(path);
    const qsizetype start = bytes.indexOf("</title>");
    return start < 0 ? QString()
                     : QString::fromUtf8(bytes.mid(start + 8)).replace(QLatin1Char('\r'), QLatin1Char('\n'));
}

// A 5 KB feed whose one description names a 2 KB entity 1,000 times: once 499 pages on the iPod.
QByteArray entityBombFeed()
{
    return "<?xml version=\"1.0\"?><!DOCTYPE rss [<!ENTITY e \"" + QByteArray("word ").repeated(400) +
           "\">]><rss version=\"2.0\"><channel><title>Bomb</title><item><title>T</title><description>" +
           QByteArray("&e;").repeated(1000) + "</description></item></channel></rss>";
}

// A feed of items with these titles, each with a description and link of its own.
QByteArray feedOf(const QStringList &titles)
{
    QByteArray items;
    for (qsizetype i = 0; i < titles.size(); ++i)
        items += "<item><title>" + titles.at(i).toUtf8() + "</title><description>Story " + QByteArray::number(i) +
                 "</description><link>http://h/" + QByteArray::number(i) + "</link></item>";
    return "<?xml version=\"1.0\"?><rss version=\"2.0\"><channel><title>Harbour</title>" + items + "</channel></rss>";
}

QStringList filesBelow(const QString &folder)
{
    QStringList files;
    QDirIterator walk(folder, QDir::Files, QDirIterator::Subdirectories);
    while (walk.hasNext())
        files.append(QDir(folder).relativeFilePath(walk.next()));
    files.sort();
    return files;
}

} // namespace

// The News plug-in through the real program: subscriptions imported from OPML, feeds served on
// loopback, notes written onto a fixture iPod; and the demo a newcomer runs first.
class CliNewsTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<TemporaryHome> m_home;
    std::unique_ptr<TestHttpServer> m_server;
    QString m_iPod;

    QString writeOpml(const QByteArray &bytes)
    {
        const QString path = m_home->path() + QStringLiteral("/feeds.opml");
        IPodFixture::writeFile(m_home->path(), QStringLiteral("feeds.opml"), bytes);
        return path;
    }

    CliRun importAndSync(const QList<QStringList> &feeds)
    {
        const CliRun imported = CliRun::run({"news", "import", writeOpml(opml(feeds))});
        if (imported.exitCode != 0)
            return imported;
        return CliRun::run({"sync", "--ipod", m_iPod, "--quick", "News"});
    }

    QString news(const QString &name) const { return noteText(m_iPod + "/Notes/News/" + name + ".txt"); }

private Q_SLOTS:
    void init()
    {
        // The old home goes first: it puts back the environment it found.
        m_home.reset();
        m_home = std::make_unique<TemporaryHome>();
        m_server = std::make_unique<TestHttpServer>();
        QVERIFY(m_home->isValid() && m_server->isListening());
        m_server->serve("/daily.xml", kRss, "application/rss+xml");
        m_server->serve("/weekly.xml", kAtom, "application/atom+xml");
        m_server->serve("/page.html", "<html><body><p>Not a feed</p></body></html>", "text/html");
        m_iPod = IPodFixture::createWithFamily(m_home->path() + "/IPOD", 6, "NEWS1");
    }

    void importNamesTheFeeds()
    {
        const CliRun run =
            CliRun::run({"news", "import", writeOpml(opml({{"Daily", "http://d/rss"}, {"Weekly", "feed://w/atom"}}))});
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(run.out,
                 QStringLiteral("News will sync 2 feeds:\n  Daily <http://d/rss>\n  Weekly <feed://w/atom>\n"));
        const CliRun setting = CliRun::run({"prefs", "News", "read", "subscriptions"});
        QVERIFY2(setting.out.trimmed().endsWith("/Tivaro/News/Subscriptions.opml"), qPrintable(setting.out));
        QVERIFY(IPodFixture::readFile(setting.out.trimmed()).contains("feed://w/atom"));
    }

    void importRefusesFilesWithoutFeeds_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("no feed outlines") << QByteArray("<opml><body><outline text=\"x\"/></body></opml>");
        QTest::newRow("no body") << QByteArray("<opml><head/></opml>");
        QTest::newRow("not xml") << QByteArray("subscriptions, please");
    }

    void importRefusesFilesWithoutFeeds()
    {
        QFETCH(QByteArray, bytes);
        QCOMPARE(CliRun::run({"news", "import", writeOpml(opml({{"Daily", "http://d/rss"}}))}).exitCode, 0);
        const CliRun run = CliRun::run({"news", "import", writeOpml(bytes)});
        QCOMPARE(run.exitCode, 1);
        QVERIFY2(run.err.contains("nothing was changed"), qPrintable(run.err));
        // The earlier subscriptions are still the ones synced.
        QVERIFY(IPodFixture::readFile(m_home->path() + "/.local/share/Tivaro/News/Subscriptions.opml")
                    .contains("http://d/rss"));
    }

    // An outline file whose entities would expand into 200 MB is refused in one line, in little memory.
    void importRefusesEntitiesExpandingTooFar()
    {
        QCOMPARE(CliRun::run({"news", "import", writeOpml(opml({{"Daily", "http://d/rss"}}))}).exitCode, 0);
        const QByteArray bomb = "<?xml version=\"1.0\"?><!DOCTYPE opml [<!ENTITY e \"" + QByteArray(10000, 'x') +
                                "\">]><opml><body><outline text=\"" + QByteArray("&e;").repeated(20000) +
                                "\" xmlUrl=\"http://x/\"/></body></opml>";
        const QString path = writeOpml(bomb);
        const CliRun run = CliRun::run({"news", "import", path});
        QVERIFY2(ChildMemory::largestPeakMiB() < ChildMemory::kRefusalLimitMiB,
                 qPrintable(QString::number(ChildMemory::largestPeakMiB()) + " MiB"));
        QCOMPARE(run.exitCode, 1);
        QCOMPARE(run.err, "tivaro: \"" + path +
                              "\" cannot be read as OPML: its entities expand into far more text than the document "
                              "holds; nothing was changed\n");
        QVERIFY(IPodFixture::readFile(m_home->path() + "/.local/share/Tivaro/News/Subscriptions.opml")
                    .contains("http://d/rss"));
    }

    void writesOneNotePerFeed()
    {
        const CliRun run =
            importAndSync({{"Daily", m_server->url("/daily.xml").toString()},
                           {"Weekly", m_server->url("/weekly.xml").toString(), "numberOfArticles=\"1\""}});
        QVERIFY2(run.exitCode == 0, qPrintable(run.out + run.err));
        QCOMPARE(news("Daily"),
                 QStringLiteral("First story\n\nOne & only\n-------\nSecond: the sequel\n\nTwo\n-------\n"
                                "Third\n\nThree\n-------"));
        // Atom content is the page inside the element, not its escaped markup.
        QCOMPARE(news("Weekly"), QStringLiteral("Café opens\n\nCoffee & cake"));
        QCOMPARE(filesBelow(m_iPod + "/Notes"), (QStringList{"News/Daily.txt", "News/Weekly.txt"}));
    }

    void articlePagesAreWhereTheLinksPoint()
    {
        const CliRun run = importAndSync(
            {{"Daily", m_server->url("/daily.xml").toString(), "withArticles=\"yes\" showSummary=\"false\""}});
        QVERIFY2(run.exitCode == 0, qPrintable(run.out + run.err));
        const QString feedNote = news("Daily");
        const QRegularExpression link(QStringLiteral("<a href=\"([^\"]+)\">"));
        QStringList targets;
        for (const QRegularExpressionMatch &match : link.globalMatch(feedNote))
            targets.append("News/" + match.captured(1));
        QCOMPARE(targets, (QStringList{"News/_pages/First story.txt", "News/_pages/Second- the sequel.txt",
                                       "News/_pages/Third.txt"}));
        QCOMPARE(filesBelow(m_iPod + "/Notes"), QStringList{"News/Daily.txt"} + targets);
        QCOMPARE(noteText(m_iPod + "/Notes/News/_pages/First story.txt"),
                 QStringLiteral("First story\n\nOne & only\n\nhttp://d/1"));
    }

    // Each broken feed is one error naming it; the good ones are still written.
    void brokenFeedsAreLoggedAndTheOthersSync()
    {
        const CliRun run = importAndSync({{"Gone", m_server->url("/missing.xml").toString()},
                                          {"Page", m_server->url("/page.html").toString()},
                                          {"Daily", m_server->url("/daily.xml").toString()},
                                          {"Dead", "http://127.0.0.1:1/feed.xml"},
                                          {"Reset", m_server->url("/reset").toString()}});
        QCOMPARE(run.exitCode, 1);
        QVERIFY2(run.out.contains("1 plug-in run (News), 4 errors"), qPrintable(run.out));
        for (const QString &expected :
             {QStringLiteral("Cannot fetch \"Gone\""), QStringLiteral("the server answered 404"),
              QStringLiteral("\"Page\" ("), QStringLiteral("is not a news feed"),
              QStringLiteral("Cannot fetch \"Dead\""), QStringLiteral("Cannot fetch \"Reset\"")})
            QVERIFY2(run.out.contains(expected) || run.err.contains(expected), qPrintable(expected + "\n" + run.out));
        QCOMPARE(filesBelow(m_iPod + "/Notes"), QStringList{"News/Daily.txt"});
    }

    // A feed whose entities expand too far is one error naming it; it writes nothing, the others sync.
    void feedWithEntitiesExpandingTooFarIsRefused()
    {
        m_server->serve("/bomb.xml", entityBombFeed(), "application/rss+xml");
        const QString bomb = m_server->url("/bomb.xml").toString();
        const CliRun run =
            importAndSync({{"Bomb", bomb, "withArticles=\"yes\""}, {"Daily", m_server->url("/daily.xml").toString()}});
        // Once 499 pages from this 5 KB feed.
        QCOMPARE(filesBelow(m_iPod + "/Notes"), QStringList{"News/Daily.txt"});
        QVERIFY2(ChildMemory::largestPeakMiB() < ChildMemory::kRefusalLimitMiB,
                 qPrintable(QString::number(ChildMemory::largestPeakMiB()) + " MiB"));
        QCOMPARE(run.exitCode, 1);
        QVERIFY2(run.out.contains("  \"Bomb\" (" + bomb +
                                  ") is not a news feed: its entities expand into far more text than the document "
                                  "holds.\n"),
                 qPrintable(run.out));
        QVERIFY2(run.out.contains("1 plug-in run (News), 1 error, 1 note on the iPod."), qPrintable(run.out));
    }

    // On a real FAT32 volume, every link of a feed's note opens its own article; a page the volume
    // refuses fails alone, with a line in the log.
    void articlePagesOnFat32_data()
    {
        QTest::addColumn<QStringList>("titles");
        QTest::addColumn<QStringList>("pages");
        QTest::addColumn<int>("refused");
        QTest::newRow("titles sharing their first 40 characters")
            << QStringList{"Harbour news: the ferry timetable for winter",
                           "Harbour news: the ferry timetable for winter, again"}
            << QStringList{"Harbour news- the ferry timetable for wi", "Harbour news- the ferry timetable for 2"} << -1;
        // Cut inside the pair, the name would hold a lone surrogate, written "?", which FAT refuses.
        QTest::newRow("no cut inside a surrogate pair")
            << QStringList{QStringLiteral("Thirty-nine characters of titles, then \U0001F389 tonight"), "Last story"}
            << QStringList{"Thirty-nine characters of titles, then", "Last story"} << -1;
        // fusefat refuses names outside ASCII (FAT itself takes them): that page fails.
        QTest::newRow("one page refused")
            << QStringList{"First story", QStringLiteral("Caf\u00e9 opens"), "Last story"}
            << QStringList{"First story", QStringLiteral("Caf\u00e9 opens"), "Last story"} << 1;
    }
    void articlePagesOnFat32()
    {
        QFETCH(QStringList, titles);
        QFETCH(QStringList, pages);
        QFETCH(int, refused);
        FatVolume volume(QStringLiteral("IPOD"));
        if (!volume.isMounted())
            QSKIP(qPrintable(volume.skipReason()));
        const QString iPod = IPodFixture::createWithFamily(volume.mountPoint(), 6, "FAT9");
        QFile probe(iPod + QStringLiteral("/caf\u00e9"));
        if (probe.open(QIODevice::WriteOnly)) {
            probe.remove();
            refused = -1;
        }
        m_server->serve("/harbour.xml", feedOf(titles), "application/rss+xml");
        const QByteArray subscriptions =
            opml({{"Harbour", m_server->url("/harbour.xml").toString(), "withArticles=\"yes\""}});
        QCOMPARE(CliRun::run({"news", "import", writeOpml(subscriptions)}).exitCode, 0);
        const CliRun run = CliRun::run({"sync", "--ipod", iPod, "--quick", "News"});

        const QRegularExpression link(QStringLiteral("<a href=\"_pages/([^\"]+)\\.txt\">"));
        QStringList linked;
        for (const QRegularExpressionMatch &match : link.globalMatch(noteText(iPod + "/Notes/News/Harbour.txt")))
            linked.append(match.captured(1));
        QCOMPARE(linked, pages);
        for (qsizetype i = 0; i < pages.size(); ++i) {
            const QString page = iPod + "/Notes/News/_pages/" + pages.at(i) + ".txt";
            if (i == refused) {
                QVERIFY(!QFileInfo::exists(page));
                continue;
            }
            QVERIFY2(noteText(page).startsWith(titles.at(i) + "\n\nStory " + QString::number(i)),
                     qPrintable(noteText(page)));
        }
        const int written = 1 + int(pages.size()) - (refused < 0 ? 0 : 1);
        if (refused < 0) {
            QVERIFY2(run.exitCode == 0, qPrintable(run.out));
            QVERIFY2(run.out.contains(QStringLiteral("0 errors, %1 notes").arg(written)), qPrintable(run.out));
            return;
        }
        QCOMPARE(run.exitCode, 1);
        QVERIFY2(run.out.contains("  Cannot write the article \"" + pages.at(refused) + "\" of \"Harbour\": "),
                 qPrintable(run.out));
        QVERIFY2(run.out.contains(QStringLiteral("1 plug-in run (News), 1 error, %1 notes").arg(written)),
                 qPrintable(run.out));
    }

    void oldNewsStaysWhenNoFeedArrives()
    {
        const QString url = m_server->url("/daily.xml").toString();
        QCOMPARE(importAndSync({{"Daily", url}}).exitCode, 0);
        m_server.reset();
        const CliRun offline = importAndSync({{"Daily", url}});
        QCOMPARE(offline.exitCode, 1);
        QVERIFY(news("Daily").startsWith("First story"));
    }

    // With its own folder chosen, News writes and clears only Notes/Velmora/News; the user's Notes/News
    // and notes of their own beside the news stay.
    void newsClearsOnlyTheFolderItWrites()
    {
        m_home->writeApplicationPreferences({{"notesUseTVRFolder", true}});
        IPodFixture::writeFile(m_iPod, "Notes/News/mine.txt", "the user's own news");
        IPodFixture::writeFile(m_iPod, "Notes/Velmora/News/kept.txt", "the user's, in Tivaro's folder");
        const QString daily = m_server->url("/daily.xml").toString();
        const QString weekly = m_server->url("/weekly.xml").toString();
        const CliRun first = importAndSync({{"Daily", daily}, {"Weekly", weekly, "withArticles=\"yes\""}});
        QVERIFY2(first.exitCode == 0, qPrintable(first.out + first.err));
        QCOMPARE(filesBelow(m_iPod + "/Notes"),
                 (QStringList{"News/mine.txt", "Velmora/News/Daily.txt", "Velmora/News/Weekly.txt",
                              "Velmora/News/_pages/Café opens.txt", "Velmora/News/_pages/Markup.txt",
                              "Velmora/News/kept.txt"}));
        // Weekly is no longer subscribed: its note and pages go, nothing else does.
        const CliRun second = importAndSync({{"Daily", daily}});
        QVERIFY2(second.exitCode == 0, qPrintable(second.out + second.err));
        QCOMPARE(filesBelow(m_iPod + "/Notes"),
                 (QStringList{"News/mine.txt", "Velmora/News/Daily.txt", "Velmora/News/kept.txt"}));
        const CliRun log = CliRun::run({"log", "--last", "1"});
        QVERIFY2(log.out.contains("Removed 3 old news notes."), qPrintable(log.out));
    }

    // A feed that fails this time keeps the news it had; the others are brought up to date.
    void aFailedFeedKeepsItsOldNews()
    {
        const QString daily = m_server->url("/daily.xml").toString();
        const QString weekly = m_server->url("/weekly.xml").toString();
        QCOMPARE(importAndSync({{"Daily", daily}, {"Weekly", weekly, "withArticles=\"yes\""}}).exitCode, 0);
        m_server->serve("/weekly.xml", "<html>down for maintenance</html>", "text/html");
        m_server->serve("/daily.xml", QByteArray(kRss).replace("First story", "Fresh story"), "application/rss+xml");
        const CliRun run = importAndSync({{"Daily", daily}, {"Weekly", weekly, "withArticles=\"yes\""}});
        QCOMPARE(run.exitCode, 1);
        QVERIFY(news("Daily").startsWith("Fresh story"));
        QVERIFY(news("Weekly").contains("Café opens"));
        QCOMPARE(filesBelow(m_iPod + "/Notes"), (QStringList{"News/Daily.txt", "News/Weekly.txt",
                                                             "News/_pages/Café opens.txt", "News/_pages/Markup.txt"}));
    }

    // A feed that never ends does not hold a cancelled sync: Ctrl-C stops its download at once.
    void ctrlCStopsAStalledFeed()
    {
        QCOMPARE(CliRun::run({"news", "import",
                              writeOpml(opml({{"Daily", m_server->url("/daily.xml").toString()},
                                              {"Slow", m_server->url("/stall/10").toString()}}))})
                     .exitCode,
                 0);
        QProcess sync;
        sync.start(qEnvironmentVariable("TIVARO_CLI"), {"sync", "--ipod", m_iPod, "--quick", "News"});
        QVERIFY(sync.waitForStarted());
        QByteArray out;
        QVERIFY(QTest::qWaitFor(
            [&] {
                sync.waitForReadyRead(50);
                out += sync.readAllStandardOutput();
                return out.contains("Writing Daily");
            },
            10000));
        ::kill(pid_t(sync.processId()), SIGINT);
        // Well before the 20-second watchdog would have ended the stalled download.
        QVERIFY(sync.waitForFinished(5000));
        QCOMPARE(sync.exitCode(), 130);
        out += sync.readAllStandardOutput();
        QVERIFY2(out.contains("User cancelled sync."), out.constData());
        QVERIFY(news("Daily").startsWith("First story"));
    }

    void withoutSubscriptionsTheSyncSaysWhatToDo()
    {
        const CliRun run = CliRun::run({"sync", "--ipod", m_iPod, "--quick", "News"});
        QVERIFY2(run.exitCode == 1, qPrintable(QString::number(run.exitCode) + "\n" + run.out + run.err));
        QVERIFY2(run.out.contains("tivaro news import FILE"), qPrintable(run.out));
    }

    void demoSyncsTheSampleFeeds()
    {
        const QString folder = m_home->path() + "/demo";
        for (int round = 0; round < 2; ++round) {
            const CliRun run = CliRun::run({"demo", "--folder", folder});
            QVERIFY2(run.exitCode == 0, qPrintable(run.out + run.err));
            QVERIFY2(run.out.contains("1 plug-in run (News), 0 errors, 6 notes on the iPod."), qPrintable(run.out));
            QVERIFY(run.out.contains("News/_pages/Eject before you unplug.txt"));
        }
        const QString iPod = folder + "/Tivaro Demo";
        QCOMPARE(filesBelow(iPod + "/Notes").size(), 6);
        QVERIFY(noteText(iPod + "/Notes/News/Classic iPod Tips.txt").contains("Turn on Enable disk use"));
        // Everything the demo keeps stays in its folder: the home's own settings were not written.
        QVERIFY(!QFileInfo::exists(m_home->path() + "/.config/Tivaro"));
        QVERIFY(!QFileInfo::exists(m_home->path() + "/.local/share/Tivaro"));
        QVERIFY(QFileInfo::exists(folder + "/home/data/Tivaro/SyncLog.plist"));
    }

    void demoLeavesOtherFoldersAlone()
    {
        const QString folder = m_home->path() + "/mine";
        IPodFixture::writeFile(folder, "letter.txt", "keep me");
        const CliRun run = CliRun::run({"demo", "--folder", folder});
        QCOMPARE(run.exitCode, 1);
        QVERIFY2(run.err.contains("is not a Tivaro demo"), qPrintable(run.err));
        QCOMPARE(IPodFixture::readFile(folder + "/letter.txt"), QByteArray("keep me"));
    }
};

QTEST_GUILESS_MAIN(CliNewsTest)
#include "tst_cli_news.moc"
