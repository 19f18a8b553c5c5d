#include "feeds/FeedNoteItems.h"
#include "feeds/RSS.h"
#include "text/NSStringXtra.h"

#include <QDirIterator>
#include <QFile>
#include <QStringEncoder>
#include <QTest>

#include <memory>

namespace {

// A null expectation: the feed has no version, or the value is not compared.
const QString kNone;

QString samplePath(const QString &file)
{
    return QStringLiteral(TIVARO_FEED_SAMPLES "/") + file;
}

QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

std::unique_ptr<RSS> parseSample(const QString &file)
{
    return RSS::initWithData(readFile(samplePath(file)));
}

// An item's value; "enclosure/url" reaches into the enclosure's attributes.
QString itemValue(const RSS::Item &item, const QString &key)
{
    const QStringList path = key.split(u'/');
    const QVariant value = item.value(path.constFirst());
    return path.size() == 2 ? value.toMap().value(path.at(1)).toString() : value.toString();
}

void addParsed(const char *file, const QString &version, int items, const QString &headerTitle,
               const QString &title = kNone, const QString &link = kNone, const QString &description = kNone)
{
    QTest::newRow(file) << file << true << version << items << headerTitle << title << link << description;
}

void addRefused(const char *file)
{
    QTest::newRow(file) << file << false << kNone << 0 << kNone << kNone << kNone << kNone;
}

void addCorpusRows(const QString &folder)
{
    QStringList files;
    QDirIterator it(folder, {QStringLiteral("*.xml")}, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext())
        files.append(it.next());
    files.sort();
    for (const QString &path : files)
        QTest::newRow(qPrintable(path.mid(folder.size() + 1))) << path;
}

// The option shapes a plug-in formats with.
QList<QVariantMap> formatShapes()
{
    return {{},
            {{QStringLiteral("withArticles"), true}, {QStringLiteral("numberOfArticles"), 3}},
            {{QStringLiteral("showSummary"), false}, {QStringLiteral("numberOfArticles"), 1}}};
}

} // namespace

// The feed parser over test feeds of feedparser (tests/feeds/data/feeds-corpus, see its README):
// what it reads from a chosen sample, by this parser's own rules, and that every feed of a whole
// corpus, when one is named at configure time, parses or is refused and then normalises and formats.
class TestFeedCorpus : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QVERIFY(QFileInfo(QStringLiteral(TIVARO_FEED_SAMPLES)).isDir()); }

    // Item columns are values as parsed, before normalisation; a null column is not compared.
    void parsed_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<bool>("isFeed");
        QTest::addColumn<QString>("version");
        QTest::addColumn<int>("items");
        QTest::addColumn<QString>("headerTitle");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("link");
        QTest::addColumn<QString>("description");
        // RSS 0.9x and 2.0
        addParsed("rss/channel_title.xml", "2.0", 0, "Example feed");
        addParsed("rss/channel_title_apos.xml", "0.91", 0, "Mark's title");
        addParsed("rss/rss_version_missing.xml", kNone, 0, "");
        addParsed("rss/item_description_escaped_markup.xml", "2.0", 1, "", "", "", "<p>Example description</p>");
        addParsed("rss/item_description_br.xml", "2.0", 1, "", "", "",
                  "article title<br /><br /> article byline<br/><br/>text of article");
        addParsed("rss/item_enclosure_url.xml", "2.0", 1, "", "", "http://example.com/", "");
        addRefused("rss/item_description_not_a_doctype.xml");
        // RSS 1.0 and 0.90 (RDF), with the rss: prefix and without
        addParsed("namespace/rss1.0withModulesNoDefNS.xml", "rdf", 1, "RSS Tests - RSS 1.0 no Default NS",
                  "Test Item - RSS 1.0 no Default NS",
                  "http://www.pocketsoap.com/weblog/rssTests/rss1.0withModulesNoDefNS.xml#1",
                  "This is a fairly standard RSS 1.0 feed with a few modules, with no localname clashes, any "
                  "aggregator that supports RSS 1.0 should handle this fine. This doesn't use\n\t\tany default "
                  "namespace declarations, all namespaces are mapped to prefixes. As far the namespace spec is "
                  "concerned this is identical to the rss1.0withModules.xml version (RSS 1.0 no Default NS)");
        addParsed("rdf/rss_version_10_not_default_ns.xml", "rdf", 0, "");
        addParsed("rdf/rdf_item_title.xml", "rdf", 1, "", "Example title", "", "");
        addParsed("rdf/rss090_item_title.xml", "rdf", 1, "Example title", "Item title", "", "");
        addRefused("rdf/doctype_contains_entity_decl.xml");
        // Atom 1.0 and 0.3: the last link's href; summary or content, whichever comes later, as XML
        addParsed("atom10/feed_title.xml", kNone, 0, "Example Atom");
        addParsed("atom10/entry_link_multiple.xml", kNone, 1, "", "", "http://www.example.com/post", "");
        addParsed("atom10/entry_link_no_href.xml", kNone, 1, "", "", "", "");
        addParsed("atom10/entry_content_and_summary.xml", kNone, 1, "", "", "", "<summary>Summary</summary>");
        addParsed("atom10/entry_content_inline_markup.xml", kNone, 1, "", "", "",
                  "<content type=\"xhtml\"><div xmlns=\"http://www.w3.org/1999/xhtml\">Example <b>Atom</b></div>"
                  "</content>");
        addParsed("atom10/entry_summary_escaped_markup.xml", kNone, 1, "", "", "",
                  "<summary type=\"html\">Example &lt;b&gt;Atom&lt;/b&gt;</summary>");
        addParsed("atom10/entry_title_inline_markup.xml", kNone, 1, "", "div", "", "");
        addParsed("atom03/feed_title.xml", "0.3", 0, "Example Atom");
        addParsed("atom03/entry_content_mode_escaped.xml", "0.3", 1, "", "", "",
                  "<content type=\"text/html\" mode=\"escaped\">Example &lt;b&gt;Atom&lt;/b&gt;</content>");
        // Escaped ampersands, in CDATA and in markup, come out unescaped once
        addParsed("amp/amp01.xml", "0.3", 1, "", "&#38;", "", "");
        addParsed("amp/amp13.xml", "0.3", 1, "", "<b>&#38;</b>", "", "");
        addParsed("amp/amp52.xml", "0.3", 1, "", "&amp;", "", "");
        addParsed("amp/attr01.xml", "0.3", 1, "", "<a title=\"&#38;\">&#38;</a>", "", "");
        // HTML entities XML does not define: rsquo and lsquo as "'", any other rebuilt
        addParsed("entities/rsquo.xml", kNone, 0, "testing ' entity");
        addParsed("entities/eacute.xml", kNone, 0, "testing &eacute; entity");
        addParsed("entities/nbsp.xml", kNone, 0, "testing &nbsp; entity");
        addParsed("entities/doesnotexist.xml", kNone, 0, "testing &doesnotexist; entity");
        addParsed("entities/8217.xml", kNone, 0, QStringLiteral("testing \u2019 entity"));
        addParsed("entities/hex_entity_x_uppercase.xml", "0.3", 1, "", "A", "", "");
        addParsed("entities/query_variable_entry.xml", "2.0", 1, "", "", "http://example/?a=1&b=2&c", "");
        // Broken documents: what came before the break is kept
        addRefused("illformed/aaa_illformed.xml");
        addRefused("illformed/rss_empty_document.xml");
        addParsed("illformed/rss_incomplete_cdata.xml", "2.0", 1, "can feedparser read this xml", kNone, "", "");
        addParsed("illformed/rss_item_link_corrupted_ampersands.xml", "2.0", 1, "", "", "http://link/get?a=1&b=2", "");
        addParsed("illformed/rdf_channel_empty_textinput.xml", "rdf", 1, "", "crashes here", "", "");
        // Encodings: declared ones are honoured; a UTF-16 file with no channel is no feed
        addRefused("encoding/utf-16le-bom.xml");
        addParsed("encoding/euc-kr-item.xml", "2.0", 1, "", "", "", QStringLiteral("\ub144"));
        addParsed("encoding/http_text_xml_charset_overrides_encoding_2.xml", "2.0", 1, "", "Foo",
                  "http://purl.org/rss/2.0/?item", QStringLiteral("This is a \u00a3\u0093test.\u0094"));
        addParsed("encoding/http_i18n.xml", "0.3", 0,
                  QStringLiteral("I\u00f1t\u00ebrn\u00e2ti\u00f4n\u00e0liz\u00e6ti\u00f8n"));
    }
    void parsed()
    {
        QFETCH(QString, file);
        QFETCH(bool, isFeed);
        const std::unique_ptr<RSS> feed = parseSample(file);
        QCOMPARE(bool(feed), isFeed);
        if (!feed)
            return;
        QFETCH(QString, version);
        QFETCH(int, items);
        QFETCH(QString, headerTitle);
        QCOMPARE(feed->version(), version);
        QCOMPARE(feed->version().isNull(), version.isNull());
        QCOMPARE(feed->newsItems().size(), items);
        QCOMPARE(feed->headerItems().value(QStringLiteral("title")), headerTitle);
        if (items == 0)
            return;
        QFETCH(QString, title);
        QFETCH(QString, link);
        QFETCH(QString, description);
        const RSS::Item &first = feed->newsItems().constFirst();
        const QStringList keys{QStringLiteral("title"), QStringLiteral("link"), QStringLiteral("description")};
        const QStringList expected{title, link, description};
        for (qsizetype i = 0; i < keys.size(); ++i) {
            if (!expected.at(i).isNull())
                QCOMPARE(itemValue(first, keys.at(i)), expected.at(i));
        }
    }

    // Further keys of the header or the first item, as parsed.
    void values_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<bool>("inHeader");
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("value");
        QTest::newRow("enclosure url") << "rss/item_enclosure_url.xml" << false << "enclosure/url"
                                       << "http://example.com/";
        QTest::newRow("enclosure length") << "rss/item_enclosure_url.xml" << false << "enclosure/length"
                                          << "100000";
        QTest::newRow("source text") << "rss/item_source_url.xml" << false << "source"
                                     << "Example source";
        QTest::newRow("source url") << "rss/item_source_url.xml" << false << "sourceRssUrl"
                                    << "http://example.com/";
        QTest::newRow("prefix kept") << "rss/item_content_encoded.xml" << false << "content:encoded"
                                     << "<p>Example content</p>";
        QTest::newRow("declared entity") << "rss/entity_in_doctype.xml" << false << "guid"
                                         << "tag:example.com,2006-05-04:/blog/";
        QTest::newRow("image child") << "rss/channel_image_title.xml" << true << "imagetitle"
                                     << "Sample image";
        QTest::newRow("image names its children") << "rss/channel_image_title.xml" << true << "image"
                                                  << "titleurllinkwidthheightdescription";
        QTest::newRow("RSS 1.0 module in header") << "namespace/rss1.0withModulesNoDefNS.xml" << true << "dc:language"
                                                  << "en-gb";
        QTest::newRow("RSS 1.0 empty module element") << "namespace/rss1.0withModulesNoDefNS.xml" << false << "l:link"
                                                      << "";
        QTest::newRow("Atom author names its children") << "atom10/entry_author_name.xml" << false << "author"
                                                        << "nameemailuri";
        QTest::newRow("bare ampersands in a channel link") << "entities/query_variable_feed.xml" << true << "link"
                                                           << "http://example/?a=1&b=2&c";
        QTest::newRow("undeclared prefix") << "illformed/undeclared_namespace.xml" << true << "itunes:subtitle"
                                           << "Foo";
        QTest::newRow("declared ISO-8859-7") << "illformed/http_high_bit_date.xml" << true << "pubDate"
                                             << QStringLiteral("\u03a4\u03c1\u03b9, 29 \u0399\u03bf\u03cd\u03bd "
                                                               "2004 12:53:00 GMT");
    }
    void values()
    {
        QFETCH(QString, file);
        QFETCH(bool, inHeader);
        QFETCH(QString, key);
        QFETCH(QString, value);
        const std::unique_ptr<RSS> feed = parseSample(file);
        QVERIFY(feed);
        if (inHeader) {
            QVERIFY(feed->headerItems().contains(key));
            QCOMPARE(feed->headerItems().value(key), value);
        } else {
            QVERIFY(!feed->newsItems().isEmpty());
            const RSS::Item &first = feed->newsItems().constFirst();
            QVERIFY(first.contains(key.section(u'/', 0, 0)));
            QCOMPARE(itemValue(first, key), value);
        }
    }

    // The first item after normalizeRSSItem().
    void normalised_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("link");
        QTest::addColumn<QString>("description");
        QTest::newRow("title between first tags") << "rss/item_description_escaped_markup.xml"
                                                  << "Example description"
                                                  << ""
                                                  << "<p>Example description</p>";
        QTest::newRow("no title, no description") << "rss/item_enclosure_url.xml"
                                                  << "Untitled"
                                                  << "http://example.com/"
                                                  << "";
        QTest::newRow("link from first href")
            << "sanitize/item_description_link.xml"
            << "description"
            << "http://example.com/evil.css"
            << "safe<link rel=\"stylesheet\" type=\"text/css\" href=\"http://example.com/evil.css\"> description";
        QTest::newRow("Atom summary text") << "atom10/entry_content_and_summary.xml"
                                           << "Summary"
                                           << ""
                                           << "<summary>Summary</summary>";
        QTest::newRow("Atom XHTML: first words")
            << "atom10/entry_content_inline_markup.xml"
            << "Example Atom..."
            << ""
            << "<content type=\"xhtml\"><div xmlns=\"http://www.w3.org/1999/xhtml\">Example <b>Atom</b></div>"
               "</content>";
        QTest::newRow("Atom escaped HTML") << "atom10/entry_summary_escaped_markup.xml"
                                           << "Example Atom"
                                           << ""
                                           << "<summary type=\"html\">Example &lt;b&gt;Atom&lt;/b&gt;</summary>";
        QTest::newRow("markup stripped from title") << "amp/attr01.xml"
                                                    << "&"
                                                    << ""
                                                    << "";
        QTest::newRow("one word") << "encoding/euc-kr-item.xml" << QStringLiteral("\ub144...") << ""
                                  << QStringLiteral("\ub144");
    }
    void normalised()
    {
        QFETCH(QString, file);
        QFETCH(QString, title);
        QFETCH(QString, link);
        QFETCH(QString, description);
        const std::unique_ptr<RSS> feed = parseSample(file);
        QVERIFY(feed);
        QVERIFY(!feed->newsItems().isEmpty());
        RSS::Item item = feed->newsItems().constFirst();
        RSS::normalizeRSSItem(item);
        QCOMPARE(item.value(QStringLiteral("title")).toString(), title);
        QCOMPARE(item.value(QStringLiteral("link")).toString(), link);
        QCOMPARE(item.value(QStringLiteral("description")).toString(), description);
    }

    // UTF-16, with or without a byte-order mark, reads as the UTF-8 it was made from.
    void transcoded_data()
    {
        QTest::addColumn<int>("encoding");
        QTest::addColumn<bool>("byteOrderMark");
        QTest::newRow("UTF-16LE with BOM") << int(QStringConverter::Utf16LE) << true;
        QTest::newRow("UTF-16BE with BOM") << int(QStringConverter::Utf16BE) << true;
        QTest::newRow("UTF-16LE without BOM") << int(QStringConverter::Utf16LE) << false;
    }
    void transcoded()
    {
        QFETCH(int, encoding);
        QFETCH(bool, byteOrderMark);
        const QString text = QString::fromUtf8(readFile(samplePath(QStringLiteral("encoding/http_i18n.xml"))))
                                 .replace(QStringLiteral("encoding=\"utf-8\""), QStringLiteral("encoding=\"utf-16\""));
        QVERIFY(text.contains(QStringLiteral("utf-16")));
        QStringEncoder encoder(QStringConverter::Encoding(encoding),
                               byteOrderMark ? QStringConverter::Flag::WriteBom : QStringConverter::Flag::Default);
        const QByteArray bytes = encoder.encode(text);
        const std::unique_ptr<RSS> feed = RSS::initWithData(bytes);
        QVERIFY(feed);
        QCOMPARE(feed->headerItems().value(QStringLiteral("title")),
                 QStringLiteral("I\u00f1t\u00ebrn\u00e2ti\u00f4n\u00e0liz\u00e6ti\u00f8n"));
    }

    // Every file parses or is refused; every item of a feed keeps a description and a link and
    // normalises to a title, and the feed formats as note text.
    void wholeCorpus_data()
    {
        QTest::addColumn<QString>("path");
        addCorpusRows(QStringLiteral(TIVARO_FEED_SAMPLES));
#ifdef TIVARO_FEED_CORPUS
        addCorpusRows(QStringLiteral(TIVARO_FEED_CORPUS));
#endif
    }
    void wholeCorpus()
    {
        QFETCH(QString, path);
        const QByteArray bytes = readFile(path);
        QVERIFY(!bytes.isNull());
        const std::unique_ptr<RSS> feed = RSS::initWithData(bytes);
        if (!feed)
            return;
        for (const RSS::Item &item : feed->newsItems()) {
            QVERIFY(item.contains(QStringLiteral("description")));
            QVERIFY(item.contains(QStringLiteral("link")));
        }
        FeedNoteItems::prepare(*feed);
        for (const RSS::Item &item : feed->newsItems())
            QVERIFY(!item.value(QStringLiteral("title")).toString().isEmpty());
        const QString firstTitle = feed->newsItems().isEmpty()
                                       ? QString()
                                       : NSStringXtra::trimWhiteSpace(
                                             feed->newsItems().constFirst().value(QStringLiteral("title")).toString());
        for (const QVariantMap &options : formatShapes()) {
            const QString text = feed->formatWithOptions(options);
            QVERIFY2(!text.contains(u'\n'), qPrintable(text.left(300)));
            if (options.value(QStringLiteral("withArticles")).toBool())
                QCOMPARE(text.startsWith(QStringLiteral("<a href=\"")), !firstTitle.isNull());
            else if (options.contains(QStringLiteral("showSummary")))
                QCOMPARE(text, firstTitle);
            else
                QVERIFY(text.startsWith(firstTitle));
        }
    }
};

QTEST_GUILESS_MAIN(TestFeedCorpus)
#include "tst_feedcorpus.moc"
