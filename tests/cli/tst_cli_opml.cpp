#include "ChildMemory.h"
#include "CliRun.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QtTest>

namespace {

// moc cannot read raw string literals, hence the escapes.
const QByteArray kSubscriptions =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<opml version=\"1.0\">\n"
    "  <head><title>Subscriptions</title></head>\n"
    "  <body>\n"
    "    <outline text=\"News\">\n"
    "      <outline text=\"World &amp;amp; Politics\" type=\"rss\" url=\"http://news.example.org/world.xml\" "
    "htmlUrl=\"http://news.example.org/\"/>\n"
    "    </outline>\n"
    "    <outline text=\"&lt;b&gt;Links&lt;/b&gt;\" url=\"http://example.com/more.opml\"/>\n"
    "  </body>\n"
    "</opml>\n";

// One outline whose text names a 10 KB entity 20,000 times: 70 KB that would be 200 MB of text.
QByteArray entityBomb()
{
    return "<?xml version=\"1.0\"?><!DOCTYPE opml [<!ENTITY e \"" + QByteArray(10000, 'x') +
           "\">]><opml><body><outline text=\"" + QByteArray("&e;").repeated(20000) +
           "\" xmlUrl=\"http://x/\"/></body></opml>";
}

} // namespace

// `tivaro opml` run as a user runs it, on files the test writes.
class CliOpmlTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_directory;

    QString write(const QString &name, const QByteArray &bytes)
    {
        QFile file(m_directory.filePath(name));
        if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
            return QString();
        return file.fileName();
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY2(QFileInfo::exists(qEnvironmentVariable("TIVARO_CLI")), "TIVARO_CLI names the tivaro program");
        QVERIFY(m_directory.isValid());
    }

    void printsText_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("out");
        QTest::addColumn<QString>("errStart");
        QTest::newRow("tree") << "list.opml" << kSubscriptions << 0
                              << "News\n  World & Politics [rss] http://news.example.org/world.xml\n"
                                 "Links http://example.com/more.opml\n"
                              << "";
        QTest::newRow("no body") << "empty.opml" << QByteArray("<opml><head/></opml>") << 0 << ""
                                 << "";
        QTest::newRow("not XML") << "list.csv" << QByteArray("a,b\n") << 1 << ""
                                 << "tivaro: \"";
        QTest::newRow("entities expanding too far") << "bomb.opml" << entityBomb() << 1 << ""
                                                    << "tivaro: \"";
    }
    void printsText()
    {
        QFETCH(QString, name);
        QFETCH(QByteArray, bytes);
        QFETCH(int, exitCode);
        QFETCH(QString, out);
        QFETCH(QString, errStart);
        const QString path = write(name, bytes);
        QVERIFY(!path.isEmpty());
        const CliRun run = CliRun::run({"opml", path});
        QCOMPARE(run.exitCode, exitCode);
        QCOMPARE(run.out, out);
        QVERIFY2(errStart.isEmpty() ? run.err.isEmpty() : run.err.startsWith(errStart), qPrintable(run.err));
    }

    void printsJson()
    {
        const QString path = write("list.opml", kSubscriptions);
        const CliRun run = CliRun::run({"opml", path, "--json"});
        QCOMPARE(run.exitCode, 0);
        const QJsonArray outlines = QJsonDocument::fromJson(run.out.toUtf8()).array();
        QCOMPARE(outlines.size(), 2);
        const QJsonObject news = outlines.at(0).toObject();
        QCOMPARE(news.value("text").toString(), QString("News"));
        QVERIFY(news.value("type").isNull());
        QVERIFY(news.value("url").isNull());
        const QJsonObject world = news.value("children").toArray().at(0).toObject();
        QCOMPARE(world.value("text").toString(), QString("World & Politics"));
        QCOMPARE(world.value("type").toString(), QString("rss"));
        QCOMPARE(world.value("url").toString(), QString("http://news.example.org/world.xml"));
        QCOMPARE(world.value("attributes").toObject().value("htmlUrl").toString(), QString("http://news.example.org/"));
        QCOMPARE(world.value("attributes").toObject().value("text").toString(), QString("World &amp; Politics"));
        QCOMPARE(world.value("children").toArray().size(), 0);
        QCOMPARE(outlines.at(1).toObject().value("text").toString(), QString("Links"));
    }

    // Refused in one line, before its entities have grown: the child's peak memory stays small.
    void entityBombIsRefusedInLittleMemory()
    {
        const QString path = write("bomb.opml", entityBomb());
        QVERIFY(!path.isEmpty());
        const CliRun run = CliRun::run({"opml", path, "--json"});
        // Every child so far counts; all of them are small.
        QVERIFY2(ChildMemory::largestPeakMiB() < ChildMemory::kRefusalLimitMiB,
                 qPrintable(QString::number(ChildMemory::largestPeakMiB()) + " MiB"));
        QCOMPARE(run.exitCode, 1);
        QCOMPARE(run.out, QString());
        QCOMPARE(run.err, "tivaro: \"" + path +
                              "\" cannot be read as OPML: its entities expand into far more text than the document "
                              "holds\n");
    }

    void usageErrors_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("exitCode");
        QTest::newRow("no file") << QStringList{"opml"} << 2;
        QTest::newRow("two files") << QStringList{"opml", "a", "b"} << 2;
        QTest::newRow("missing file") << QStringList{"opml", "/nonexistent/list.opml"} << 1;
    }
    void usageErrors()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, exitCode);
        const CliRun run = CliRun::run(arguments);
        QCOMPARE(run.exitCode, exitCode);
        QVERIFY(run.out.isEmpty());
        QVERIFY(run.err.startsWith("tivaro: "));
    }
};

QTEST_GUILESS_MAIN(CliOpmlTest)
#include "tst_cli_opml.moc"
