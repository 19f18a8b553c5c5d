#include "TestHttpServer.h"

#include "feeds/TVROPMLDocument.h"
#include "feeds/TVROPMLNode.h"

#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QtTest>

namespace {

QString dataFile(const QString &name)
{
    return QStringLiteral(TIVARO_FEEDS_DATA "/") + name;
}

// "text [type] <url>" for each node, indented by depth: the whole tree in one comparable list.
void outline(const Node &node, int depth, QStringList &lines)
{
    for (const std::shared_ptr<Node> &child : node.children()) {
        const auto &opml = static_cast<const TVROPMLNode &>(*child);
        lines.append(QString(depth * 2, QLatin1Char(' ')) + opml.text() + " [" + opml.type() + "] <" + opml.url() +
                     ">");
        outline(*child, depth + 1, lines);
    }
}

QStringList outline(const TVROPMLNode &root)
{
    QStringList lines;
    outline(root, 0, lines);
    return lines;
}

} // namespace

class OPMLTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void subscriptionList()
    {
        const auto document = TVROPMLDocument::documentWithContentsOfFile(dataFile("subscriptions.opml"));
        const std::shared_ptr<TVROPMLNode> root = document->rootNode();
        QVERIFY(root);
        const QStringList expected{
            "News [] <>",
            "  World & Politics [rss] <http://news.example.org/world.xml>",
            "  Science [rss] <http://news.example.org/science.xml>",
            "Tech [] <>",
            "  Gadgets [] <>",
            QString::fromUtf8("    Tom’s Gear [rss] <http://gear.example.com/feed.rss>"),
            "  Linked outline [link] <http://example.com/more.opml>",
            QString::fromUtf8("Café blog [rss] <http://cafe.example.net/atom.xml>"),
        };
        QCOMPARE(outline(*root), expected);
    }

    void nodesKeepEveryAttribute()
    {
        const auto root = TVROPMLDocument::documentWithContentsOfFile(dataFile("subscriptions.opml"))->rootNode();
        QVERIFY(root);
        const auto world = std::static_pointer_cast<TVROPMLNode>(root->childAtIndex(0)->childAtIndex(0));
        const XMLTree::Attributes expected{{"text", "World &amp; Politics"},
                                           {"type", "rss"},
                                           {"url", "http://news.example.org/world.xml"},
                                           {"htmlUrl", "http://news.example.org/"}};
        QCOMPARE(world->attributes(), expected);
        QCOMPARE(world->description(), QString("World & Politics"));
        QCOMPARE(world->parent(), root->childAtIndex(0));
        const auto gear =
            std::static_pointer_cast<TVROPMLNode>(root->childAtIndex(1)->childAtIndex(0)->childAtIndex(0));
        QCOMPARE(gear->attributes().last().second, QString::fromUtf8("Reviews ’n’ more"));
    }

    void groups_data()
    {
        QTest::addColumn<QList<int>>("path");
        QTest::addColumn<bool>("isGroup");
        QTest::newRow("folder") << QList<int>{0} << true;
        QTest::newRow("feed") << QList<int>{0, 0} << false;
        QTest::newRow("nested folder") << QList<int>{1, 0} << true;
        QTest::newRow("link to an outline") << QList<int>{1, 1} << true;
    }
    void groups()
    {
        QFETCH(QList<int>, path);
        QFETCH(bool, isGroup);
        std::shared_ptr<Node> node =
            TVROPMLDocument::documentWithContentsOfFile(dataFile("subscriptions.opml"))->rootNode();
        for (int index : path)
            node = node->childAtIndex(index);
        QCOMPARE(node->isGroup(), isGroup);
    }

    void documentsWithoutOutlines_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QString>("problem");
        QTest::newRow("no body") << "no-body.opml" << QString();
        QTest::newRow("XML but not OPML") << "not-opml.xml" << QString();
        QTest::newRow("not XML") << "not-xml.csv"
                                 << "it is not well-formed XML";
        QTest::newRow("missing file") << "missing.opml"
                                      << "it is empty or cannot be read";
    }
    void documentsWithoutOutlines()
    {
        QFETCH(QString, file);
        QFETCH(QString, problem);
        const auto document = TVROPMLDocument::documentWithContentsOfFile(dataFile(file));
        QCOMPARE(document->problem(), problem);
        QCOMPARE(bool(document->rootNode()), problem.isNull());
        if (document->rootNode())
            QCOMPARE(document->rootNode()->numberOfChildren(), 0);
    }

    // Entities named in attributes expand up to 64 Ki characters freely, beyond that up to five
    // times the document's size; past that the document gives no outline at all.
    void entityExpansionIsBounded_data()
    {
        QTest::addColumn<int>("length");
        QTest::addColumn<int>("outlines");
        QTest::addColumn<int>("references");
        QTest::addColumn<bool>("read");
        QTest::newRow("a short name in every outline") << 20 << 500 << 1 << true;
        QTest::newRow("64 Ki characters") << 1024 << 16 << 4 << true;
        QTest::newRow("more in a small document") << 1024 << 16 << 5 << false;
        QTest::newRow("10 KB in 2,000 outlines") << 10000 << 2000 << 1 << false;
        QTest::newRow("10 KB named 20,000 times in one") << 10000 << 1 << 20000 << false;
    }
    void entityExpansionIsBounded()
    {
        QFETCH(int, length);
        QFETCH(int, outlines);
        QFETCH(int, references);
        QFETCH(bool, read);
        const QByteArray outline =
            "<outline text=\"" + QByteArray("&e;").repeated(references) + "\" xmlUrl=\"http://x/\"/>";
        const QByteArray xml = "<?xml version=\"1.0\"?><!DOCTYPE opml [<!ENTITY e \"" + QByteArray(length, 'e') +
                               "\">]><opml><body>" + outline.repeated(outlines) + "</body></opml>";
        const auto document = TVROPMLDocument::documentWithData(xml);
        QCOMPARE(bool(document->rootNode()), read);
        if (!read) {
            QCOMPARE(document->problem(), QString("its entities expand into far more text than the document holds"));
            return;
        }
        QCOMPARE(document->rootNode()->numberOfChildren(), outlines);
        const auto last = std::static_pointer_cast<TVROPMLNode>(document->rootNode()->childAtIndex(outlines - 1));
        QCOMPARE(last->text(), QString(length * references, u'e'));
    }

    void textAttribute_data()
    {
        QTest::addColumn<QByteArray>("attribute");
        QTest::addColumn<QString>("text");
        QTest::newRow("escaped markup around a word") << QByteArray("&lt;b&gt;Word&lt;/b&gt;") << "Word";
        QTest::newRow("markup escaped twice") << QByteArray("&amp;lt;i&amp;gt;Word&amp;lt;/i&amp;gt;") << "Word";
        QTest::newRow("entity escaped twice") << QByteArray("Q&amp;amp;A") << "Q&A";
        QTest::newRow("surrounding space trimmed") << QByteArray("  Spaced  ") << "Spaced";
    }
    void textAttribute()
    {
        QFETCH(QByteArray, attribute);
        QFETCH(QString, text);
        const QByteArray xml = "<opml><body><outline text=\"" + attribute + "\"/></body></opml>";
        const auto root = TVROPMLDocument::documentWithData(xml)->rootNode();
        QVERIFY(root);
        QCOMPARE(std::static_pointer_cast<TVROPMLNode>(root->childAtIndex(0))->text(), text);
    }

    // Outline titles are attributes, where XML refuses an external reference outright; in content
    // the reference stays unread.
    void externalEntityIsNotRead_data()
    {
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<bool>("hasRoot");
        QTest::newRow("in an attribute") << QByteArray("<opml><body><outline text=\"a&x;b\"/></body></opml>") << false;
        QTest::newRow("in content") << QByteArray("<opml><body><outline text=\"ab\">&x;</outline></body></opml>")
                                    << true;
    }
    void externalEntityIsNotRead()
    {
        QFETCH(QByteArray, body);
        QFETCH(bool, hasRoot);
        QTemporaryDir directory;
        QFile secret(directory.filePath("secret.txt"));
        QVERIFY(secret.open(QIODevice::WriteOnly));
        secret.write("TOP-SECRET");
        secret.close();
        const QByteArray xml = "<?xml version=\"1.0\"?><!DOCTYPE opml [<!ENTITY x SYSTEM \"" +
                               QUrl::fromLocalFile(secret.fileName()).toEncoded() + "\">]>" + body;
        const auto root = TVROPMLDocument::documentWithData(xml)->rootNode();
        QCOMPARE(bool(root), hasRoot);
        if (!root)
            return;
        const auto node = std::static_pointer_cast<TVROPMLNode>(root->childAtIndex(0));
        QCOMPARE(node->text(), QString("ab"));
        QCOMPARE(node->numberOfChildren(), 1);
        QVERIFY(static_cast<const TVROPMLNode &>(*node->childAtIndex(0)).attributes().isEmpty());
    }

    void billionLaughsEndsQuickly()
    {
        QElapsedTimer timer;
        timer.start();
        const auto document = TVROPMLDocument::documentWithContentsOfFile(dataFile("billion-laughs.opml"));
        QVERIFY(!document->rootNode());
        QCOMPARE(document->problem(), QString("its entities expand into far more text than the document holds"));
        QVERIFY2(timer.elapsed() < 5000, qPrintable(QString::number(timer.elapsed())));
    }

    void downloadsFromURL()
    {
        QFile file(dataFile("subscriptions.opml"));
        QVERIFY(file.open(QIODevice::ReadOnly));
        TestHttpServer server;
        QVERIFY(server.isListening());
        server.serve("/list.opml", file.readAll(), "text/x-opml");
        const auto root = TVROPMLDocument::documentWithContentsOfURL(server.url("/list.opml"))->rootNode();
        QVERIFY(root);
        QCOMPARE(root->numberOfChildren(), 3);
        QVERIFY(!TVROPMLDocument::documentWithContentsOfURL(server.url("/missing.opml"))->rootNode());
    }
};

QTEST_GUILESS_MAIN(OPMLTest)
#include "tst_opml.moc"
