#include "feeds/XMLTree.h"

#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QtTest>

namespace {

std::shared_ptr<XMLTree> parse(const QByteArray &xml)
{
    return XMLTree::treeWithData(xml);
}

// The element the test looks at: the document's first element.
std::shared_ptr<XMLTree> firstElement(const QByteArray &xml)
{
    const std::shared_ptr<XMLTree> document = parse(xml);
    if (!document)
        return nullptr;
    for (const std::shared_ptr<XMLTree> &child : document->children()) {
        if (child->type() == XMLTree::Element)
            return child;
    }
    return nullptr;
}

QByteArray utf16le(const char16_t *text)
{
    const QString string = QString::fromUtf16(text);
    return QByteArray("\xFF\xFE") + QByteArray(reinterpret_cast<const char *>(string.utf16()), string.size() * 2);
}

} // namespace

class XMLTreeTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void rejectsWhatIsNotWellFormed_data()
    {
        QTest::addColumn<QByteArray>("xml");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("plain text") << QByteArray("just words");
        QTest::newRow("unclosed element") << QByteArray("<?xml version=\"1.0\"?><a><b></a>");
        QTest::newRow("truncated end tag") << QByteArray("<rss><channel/></rss");
        QTest::newRow("two roots") << QByteArray("<a/><b/>");
        QTest::newRow("bare ampersand") << QByteArray("<link>http://x/?a=1&b=2</link>");
        QTest::newRow("unknown encoding") << QByteArray("<?xml version=\"1.0\" encoding=\"x-bogus\"?><a/>");
        QTest::newRow("declaration after a comment") << QByteArray("<!-- c --><?xml version=\"1.0\"?><a/>");
    }
    void rejectsWhatIsNotWellFormed()
    {
        QFETCH(QByteArray, xml);
        QVERIFY(!parse(xml));
    }

    // The declaration counts as the document's first child, as the root's neighbours do.
    void rootTree_data()
    {
        QTest::addColumn<QByteArray>("xml");
        QTest::addColumn<int>("type");
        QTest::addColumn<QString>("name");
        QTest::newRow("declaration") << QByteArray("<?xml version=\"1.0\"?><rss/>") << int(XMLTree::Element) << "rss";
        QTest::newRow("declaration after a BOM")
            << QByteArray("\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"utf-8\"?><rss/>") << int(XMLTree::Element)
            << "rss";
        QTest::newRow("UTF-16 with declaration")
            << utf16le(u"<?xml version=\"1.0\"?><r/>") << int(XMLTree::Element) << "r";
        QTest::newRow("no declaration") << QByteArray("<rss/>") << 0 << QString();
        QTest::newRow("comment before the root")
            << QByteArray("<?xml version=\"1.0\"?><!-- feed --><rss/>") << int(XMLTree::Comment) << " feed ";
        QTest::newRow("document type before the root")
            << QByteArray("<?xml version=\"1.0\"?><!DOCTYPE rss SYSTEM \"http://example.com/rss.dtd\"><rss/>")
            << int(XMLTree::DocumentType) << "rss";
    }
    void rootTree()
    {
        QFETCH(QByteArray, xml);
        QFETCH(int, type);
        QFETCH(QString, name);
        const std::shared_ptr<XMLTree> document = parse(xml);
        QVERIFY(document);
        QCOMPARE(document->type(), XMLTree::Document);
        const std::shared_ptr<XMLTree> root = document->rootTree();
        if (type == 0) {
            QVERIFY(!root);
            return;
        }
        QVERIFY(root);
        QCOMPARE(int(root->type()), type);
        QCOMPARE(root->name(), name);
        QCOMPARE(document->childAtIndex(0)->type(), XMLTree::ProcessingInstruction);
        QCOMPARE(document->childAtIndex(0)->name(), QString("xml"));
    }

    void childKindsAndNames()
    {
        const std::shared_ptr<XMLTree> element =
            firstElement("<a><?php echo 1?><b/>text<![CDATA[<raw>]]>&rsquo;<!--note--><dc:c xmlns:dc=\"urn:dc\"/></a>");
        QVERIFY(element);
        const QList<std::shared_ptr<XMLTree>> children = element->children();
        QList<int> types;
        QStringList names;
        for (const std::shared_ptr<XMLTree> &child : children) {
            types.append(child->type());
            names.append(child->name());
        }
        QCOMPARE(types, (QList<int>{4, 2, 6, 7, 10, 5, 2}));
        QCOMPARE(names, (QStringList{"php", "b", "text", "<raw>", "rsquo", "note", "dc:c"}));
        QCOMPARE(element->count(), 7);
        QVERIFY(!element->childAtIndex(7));
        QVERIFY(!element->childAtIndex(-1));
        QCOMPARE(children.at(1)->parent()->name(), QString("a"));
        QVERIFY(children.at(6)->children().isEmpty());
    }

    void whitespaceOnlyTextIsSkipped()
    {
        const std::shared_ptr<XMLTree> element = firstElement("<a>\n  <b/>\n  <c> x </c>\n</a>");
        QVERIFY(element);
        QCOMPARE(element->count(), 2);
        QCOMPARE(element->childNamed("c")->description(), QString(" x "));
    }

    void description_data()
    {
        QTest::addColumn<QByteArray>("xml");
        QTest::addColumn<QString>("text");
        QTest::newRow("CDATA left out") << QByteArray("<p>ab<![CDATA[c]]></p>") << "ab";
        QTest::newRow("nested elements") << QByteArray("<p>a<b>b<i>c</i></b>d</p>") << "abcd";
        QTest::newRow("predefined entities") << QByteArray("<p>&lt;&gt;&amp;&quot;&apos;</p>") << "<>&\"'";
        QTest::newRow("quotes from HTML") << QByteArray("<p>&lsquo;x&rsquo;</p>") << "'x'";
        QTest::newRow("other HTML entities give nothing") << QByteArray("<p>caf&eacute;&nbsp;!</p>") << "caf!";
        QTest::newRow("unknown entity gives nothing") << QByteArray("<p>a&doesnotexist;b</p>") << "ab";
        QTest::newRow("entities after an HTML one still decode")
            << QByteArray("<p>&eacute;<a href=\"?a=1&amp;b=2\">x &amp; y</a></p>") << "x & y";
        QTest::newRow("character references") << QByteArray("<p>&#8217;&#x41;</p>") << QString::fromUtf8("’A");
        QTest::newRow("comments and instructions left out") << QByteArray("<p>a<!--b--><?c d?>e</p>") << "ae";
        QTest::newRow("empty element") << QByteArray("<p/>") << "";
    }
    void description()
    {
        QFETCH(QByteArray, xml);
        QFETCH(QString, text);
        const std::shared_ptr<XMLTree> element = firstElement(xml);
        QVERIFY(element);
        QCOMPARE(element->description(), text);
        QCOMPARE(element->stringValue(), text);
    }

    void descriptionOfOtherKindsIsTheirString()
    {
        const std::shared_ptr<XMLTree> element = firstElement("<p>plain<![CDATA[kept]]></p>");
        QVERIFY(element);
        QCOMPARE(element->childAtIndex(0)->description(), QString("plain"));
        QCOMPARE(element->childAtIndex(1)->description(), QString("kept"));
    }

    void descendentNamed_data()
    {
        QTest::addColumn<QByteArray>("xml");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("id");
        QTest::newRow("later match wins") << QByteArray("<r><a><x id=\"deep\"/></a><x id=\"shallow\"/></r>") << "x"
                                          << "shallow";
        QTest::newRow("later deeper match wins")
            << QByteArray("<r><x id=\"first\"/><a><b><x id=\"deep\"/></b></a></r>") << "x"
            << "deep";
        QTest::newRow("inside of a match not searched")
            << QByteArray("<r><x id=\"outer\"><x id=\"inner\"/></x></r>") << "x"
            << "outer";
        QTest::newRow("case-sensitive") << QByteArray("<r><X id=\"upper\"/></r>") << "x" << QString();
        QTest::newRow("prefixed name") << QByteArray("<r xmlns:dc=\"urn:dc\"><i><dc:date id=\"d\"/></i></r>")
                                       << "dc:date"
                                       << "d";
        QTest::newRow("none") << QByteArray("<r><a/></r>") << "x" << QString();
    }
    void descendentNamed()
    {
        QFETCH(QByteArray, xml);
        QFETCH(QString, name);
        QFETCH(QString, id);
        const std::shared_ptr<XMLTree> element = firstElement(xml);
        QVERIFY(element);
        const std::shared_ptr<XMLTree> found = element->descendentNamed(name);
        QCOMPARE(found ? found->attributeNamed("id") : QString(), id);
    }

    void childNamed_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("attribute");
        QTest::addColumn<QString>("value");
        QTest::addColumn<QString>("id");
        QTest::newRow("first of the name") << "link" << QString() << QString() << "1";
        QTest::newRow("by attribute") << "link"
                                      << "rel"
                                      << "self"
                                      << "2";
        QTest::newRow("attribute value differs") << "link"
                                                 << "rel"
                                                 << "other" << QString();
        QTest::newRow("child only, not grandchild") << "deep" << QString() << QString() << QString();
    }
    void childNamed()
    {
        QFETCH(QString, name);
        QFETCH(QString, attribute);
        QFETCH(QString, value);
        QFETCH(QString, id);
        const std::shared_ptr<XMLTree> element = firstElement(
            "<feed><link id=\"1\" rel=\"alternate\"/><link id=\"2\" rel=\"self\"/><a><deep id=\"3\"/></a></feed>");
        QVERIFY(element);
        const std::shared_ptr<XMLTree> found =
            attribute.isNull() ? element->childNamed(name) : element->childNamed(name, attribute, value);
        QCOMPARE(found ? found->attributeNamed("id") : QString(), id);
    }

    void attributes()
    {
        const std::shared_ptr<XMLTree> element = firstElement("<o xmlns:x=\"urn:x\" z=\"1\" a=\"&lt;b&gt; &amp;amp;\" "
                                                              "x:k=\"v\" xml:lang=\"fr\" q=\"caf&eacute;&rsquo;\"/>");
        QVERIFY(element);
        const XMLTree::Attributes expected{
            {"z", "1"}, {"a", "<b> &amp;"}, {"x:k", "v"}, {"xml:lang", "fr"}, {"q", QString::fromUtf8("café’")}};
        QCOMPARE(element->attributes(), expected);
        QCOMPARE(element->attributeNamed("missing"), QString());
        QVERIFY(element->attributeNamed("missing").isNull());
        QVERIFY(firstElement("<a>t</a>")->childAtIndex(0)->attributes().isEmpty());
    }

    void builtTreesSerialise_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("text");
        QTest::addColumn<XMLTree::Attributes>("attributes");
        QTest::addColumn<QString>("xml");
        QTest::newRow("empty element") << "item" << QString() << XMLTree::Attributes() << "<item/>";
        QTest::newRow("text escaped") << "title"
                                      << "a<b & \"c\"" << XMLTree::Attributes()
                                      << "<title>a&lt;b &amp; &quot;c&quot;</title>";
        QTest::newRow("attributes in order")
            << "outline" << QString() << XMLTree::Attributes{{"text", "T&C"}, {"a", "1"}}
            << "<outline text=\"T&amp;C\" a=\"1\"/>";
        QTest::newRow("non-ASCII kept") << "t" << QString::fromUtf8("café") << XMLTree::Attributes()
                                        << QString::fromUtf8("<t>café</t>");
    }
    void builtTreesSerialise()
    {
        QFETCH(QString, name);
        QFETCH(QString, text);
        QFETCH(XMLTree::Attributes, attributes);
        QFETCH(QString, xml);
        const std::shared_ptr<XMLTree> tree = XMLTree::treeWithName(name, text, attributes);
        QCOMPARE(tree->type(), XMLTree::Element);
        QCOMPARE(tree->xml(), xml);
        QCOMPARE(tree->attributes(), attributes);
        QCOMPARE(tree->count(), text.isNull() ? 0 : 1);
    }

    void treeNodeWithType_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("xml");
        QTest::newRow("element") << int(XMLTree::Element) << "br"
                                 << "<br/>";
        QTest::newRow("text") << int(XMLTree::Text) << "a<b"
                              << "a&lt;b";
        QTest::newRow("CDATA") << int(XMLTree::CDATASection) << "a<b"
                               << "<![CDATA[a<b]]>";
        QTest::newRow("comment") << int(XMLTree::Comment) << "note"
                                 << "<!--note-->";
        QTest::newRow("entity reference") << int(XMLTree::EntityReference) << "rsquo"
                                          << "&rsquo;";
        QTest::newRow("document") << int(XMLTree::Document) << "" << QString();
    }
    void treeNodeWithType()
    {
        QFETCH(int, type);
        QFETCH(QString, name);
        QFETCH(QString, xml);
        const std::shared_ptr<XMLTree> tree = XMLTree::treeNodeWithType(XMLTree::NodeType(type), name);
        QCOMPARE(bool(tree), !xml.isNull());
        if (!tree)
            return;
        QCOMPARE(int(tree->type()), type);
        QCOMPARE(tree->name(), name);
        QCOMPARE(tree->xml(), xml);
    }

    void documentTreeHoldsItsDeclaration()
    {
        const std::shared_ptr<XMLTree> document = XMLTree::documentTree();
        QVERIFY(document->name().isNull());
        QCOMPARE(document->count(), 1);
        QVERIFY(!document->rootTree());
        const std::shared_ptr<XMLTree> body = XMLTree::treeWithName("body");
        body->appendTree(*XMLTree::treeWithName("outline", QString(), {{"text", "One"}}));
        document->appendTree(*body);
        QCOMPARE(document->xml(),
                 QString("<?xml version=\"1.0\" encoding=\"utf-8\"?><body><outline text=\"One\"/></body>"));
        QCOMPARE(document->rootTree()->childAtIndex(0)->attributeNamed("text"), QString("One"));
        const std::shared_ptr<XMLTree> reparsed = XMLTree::treeWithData(document->XMLData());
        QVERIFY(reparsed);
        QCOMPARE(reparsed->xml(), document->xml());
    }

    void parsedTreesSerialise_data()
    {
        QTest::addColumn<QByteArray>("xml");
        QTest::addColumn<QString>("expected");
        QTest::newRow("CDATA and entity references kept")
            << QByteArray("<p>a<![CDATA[<b>]]>&rsquo;&amp;</p>") << "<p>a<![CDATA[<b>]]>&rsquo;&amp;</p>";
        QTest::newRow("prefixes kept") << QByteArray("<a xmlns:dc=\"urn:dc\"><dc:x dc:y=\"1\"/></a>")
                                       << "<a xmlns:dc=\"urn:dc\"><dc:x dc:y=\"1\"/></a>";
        QTest::newRow("declaration kept") << QByteArray("<?xml version=\"1.0\" encoding=\"UTF-8\"?><r/>")
                                          << "<?xml version=\"1.0\" encoding=\"UTF-8\"?><r/>";
    }
    void parsedTreesSerialise()
    {
        QFETCH(QByteArray, xml);
        QFETCH(QString, expected);
        const std::shared_ptr<XMLTree> document = parse(xml);
        QVERIFY(document);
        QCOMPARE(document->xml(), expected);
    }

    void treeWithURLReadsLocalFiles()
    {
        QTemporaryDir directory;
        QFile file(directory.filePath("feed.xml"));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("<?xml version=\"1.0\"?><rss><channel><title>T</title></channel></rss>");
        file.close();
        const std::shared_ptr<XMLTree> document = XMLTree::treeWithURL(QUrl::fromLocalFile(file.fileName()));
        QVERIFY(document);
        QCOMPARE(document->descendentNamed("title")->description(), QString("T"));
        QVERIFY(!XMLTree::treeWithURL(QUrl::fromLocalFile(directory.filePath("missing.xml"))));
        QVERIFY(!XMLTree::treeWithURL(QUrl()));
    }

    // A reference to an external entity stays a reference: the file's text is never read. In an
    // attribute such a reference is not well-formed, and the document is refused.
    void externalEntitiesAreNotResolved_data()
    {
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<bool>("wellFormed");
        QTest::newRow("content") << QByteArray("<r><t>&x;</t></r>") << true;
        QTest::newRow("attribute") << QByteArray("<r a=\"&x;\"/>") << false;
    }
    void externalEntitiesAreNotResolved()
    {
        QFETCH(QByteArray, body);
        QFETCH(bool, wellFormed);
        QTemporaryDir directory;
        QFile secret(directory.filePath("secret.txt"));
        QVERIFY(secret.open(QIODevice::WriteOnly));
        secret.write("TOP-SECRET");
        secret.close();
        const QByteArray xml = "<?xml version=\"1.0\"?><!DOCTYPE r [<!ENTITY x SYSTEM \"" +
                               QUrl::fromLocalFile(secret.fileName()).toEncoded() + "\">]>" + body;
        const std::shared_ptr<XMLTree> document = parse(xml);
        QCOMPARE(bool(document), wellFormed);
        if (!document)
            return;
        const std::shared_ptr<XMLTree> text = document->descendentNamed("t");
        QVERIFY(text);
        QCOMPARE(text->childAtIndex(0)->type(), XMLTree::EntityReference);
        QCOMPARE(text->childAtIndex(0)->name(), QString("x"));
        QCOMPARE(text->description(), QString(""));
        QVERIFY(!document->xml().contains("TOP-SECRET"));
    }

    // Nested entities must not expand into gigabytes: the parse ends quickly, whole or refused.
    void entityExpansionStaysBounded_data()
    {
        QTest::addColumn<QString>("place");
        QTest::newRow("content") << "<r>&lol9;</r>";
        QTest::newRow("attribute") << "<r a=\"&lol9;\"/>";
    }
    void entityExpansionStaysBounded()
    {
        QFETCH(QString, place);
        QByteArray xml = "<?xml version=\"1.0\"?><!DOCTYPE r [<!ENTITY lol0 \"lol\">";
        for (int level = 1; level <= 9; ++level) {
            xml += "<!ENTITY lol" + QByteArray::number(level) + " \"";
            for (int i = 0; i < 10; ++i)
                xml += "&lol" + QByteArray::number(level - 1) + ";";
            xml += "\">";
        }
        xml += "]>" + place.toUtf8();
        QElapsedTimer timer;
        timer.start();
        const std::shared_ptr<XMLTree> document = parse(xml);
        if (document) {
            const std::shared_ptr<XMLTree> root = document->childNamed("r");
            QVERIFY(root->description().size() < 1000);
            QVERIFY(root->attributeNamed("a").size() < 1000);
            QVERIFY(document->xml().size() < 4000);
        }
        QVERIFY2(timer.elapsed() < 5000, qPrintable(QString::number(timer.elapsed())));
    }

    // libxml2 leaves a declared entity a reference; the tree expands it in attribute values, and
    // stops once the document's references have made more text than they may.
    void attributeEntitiesStopAtTheirBound_data()
    {
        QTest::addColumn<int>("references");
        QTest::addColumn<bool>("tooFar");
        QTest::newRow("within") << 6 << false;
        QTest::newRow("past") << 20000 << true;
    }
    void attributeEntitiesStopAtTheirBound()
    {
        QFETCH(int, references);
        QFETCH(bool, tooFar);
        const QByteArray xml = "<!DOCTYPE r [<!ENTITY e \"" + QByteArray(10000, 'e') + "\">]><r a=\"" +
                               QByteArray("&e;").repeated(references) + "\"/>";
        const std::shared_ptr<XMLTree> root = firstElement(xml);
        QVERIFY(root);
        const QString value = root->attributeNamed("a");
        QCOMPARE(root->entitiesExpandTooFar(), tooFar);
        if (tooFar)
            QVERIFY2(value.size() <= 5 * xml.size(), qPrintable(QString::number(value.size())));
        else
            QCOMPARE(value, QString(10000 * references, u'e'));
    }
};

QTEST_GUILESS_MAIN(XMLTreeTest)
#include "tst_xmltree.moc"
