#include "feeds/NSStringXtra.h"

#include <QTest>

class TestStringXtra : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void escapeXML_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected");
        QTest::newRow("plain") << "Notes 1"
                               << "Notes 1";
        QTest::newRow("all five") << "<a href=\"x\">Tom's & Jerry</a>"
                                  << "&lt;a href=&quot;x&quot;&gt;Tom&apos;s &amp; Jerry&lt;/a&gt;";
        QTest::newRow("already escaped goes one layer deeper") << "&amp;"
                                                               << "&amp;amp;";
        QTest::newRow("empty") << ""
                               << "";
    }
    void escapeXML()
    {
        QFETCH(QString, text);
        QFETCH(QString, expected);
        QCOMPARE(NSStringXtra::stringByEscapingXMLCharacters(text), expected);
    }

    void removeEntities_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected");
        QTest::newRow("hex, decimal, capital X reads as decimal 0")
            << "&#x41;&#66;&#X43;" << QStringLiteral("AB") + QChar(u'\0');
        QTest::newRow("table") << "a&nbsp;b%20c &apos;&#039;&#39;&#34;&#151;&quote;&quot;&lt;&gt;&amp;"
                               << "a b c '''\"-\"\"<>&";
        QTest::newRow("double escaped ampersand ends as &") << "Tom &amp;amp; Jerry"
                                                            << "Tom & Jerry";
        QTest::newRow("escaped lt is not decoded further") << "&amp;lt;b&amp;gt;"
                                                           << "&lt;b&gt;";
        QTest::newRow("named entities beyond the table") << "caf&eacute; &mdash; &hellip;&rsquo;"
                                                         << "café — …’";
        QTest::newRow("escaped named entity stays escaped") << "&amp;eacute;"
                                                            << "&eacute;";
        QTest::newRow("unknown and case-mismatched names stay") << "&bogus; &EACUTE;"
                                                                << "&bogus; &EACUTE;";
        QTest::newRow("decoded ampersand starts a new reference") << "&#38;#65;"
                                                                  << "A";
        QTest::newRow("non-number is NUL") << "x&#abc;y" << QStringLiteral("x") + QChar(u'\0') + u'y';
        QTest::newRow("decimal stops at the first non-digit") << "&#65abc;"
                                                              << "A";
        QTest::newRow("code above 16 bits is cut") << "&#x1F600;" << QString(QChar(0xF600));
        QTest::newRow("semicolon before reference") << "a;b&#67;"
                                                    << "a;bC";
        QTest::newRow("no semicolon") << "&#65 and more"
                                      << "&#65 and more";
        QTest::newRow("empty") << ""
                               << "";
    }
    void removeEntities()
    {
        QFETCH(QString, text);
        QFETCH(QString, expected);
        QCOMPARE(NSStringXtra::removeEntities(text), expected);
    }

    void stripHTMLSimple_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected");
        QTest::newRow("tags become spaces") << "<p>Hello<b>World</b></p>"
                                            << "Hello World";
        QTest::newRow("nested brackets") << "a<x<y>z>b"
                                         << "a b";
        // The "<" only brings the depth back to 0, so the next ">" hides again.
        QTest::newRow("stray > hides text up to the next <") << "a>hidden<b>c"
                                                             << "ab";
        QTest::newRow("unclosed tag hides the rest") << "text<a href"
                                                     << "text";
        QTest::newRow("trimmed") << "  \r\n<br> x \t"
                                 << "x";
        QTest::newRow("entities are kept") << "&amp;<i>x</i>"
                                           << "&amp; x";
    }
    void stripHTMLSimple()
    {
        QFETCH(QString, text);
        QFETCH(QString, expected);
        QCOMPARE(NSStringXtra::stripHTMLSimple(text), expected);
    }

    void trimWhiteSpace_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected");
        QTest::newRow("both ends") << " \t\r\n a b \r"
                                   << "a b";
        QTest::newRow("no-break space") << QStringLiteral("\u00A0x\u00A0") << "x";
        QTest::newRow("only white") << " \r\n"
                                    << "";
    }
    void trimWhiteSpace()
    {
        QFETCH(QString, text);
        QFETCH(QString, expected);
        QCOMPARE(NSStringXtra::trimWhiteSpace(text), expected);
    }
};

QTEST_GUILESS_MAIN(TestStringXtra)
#include "tst_stringxtra.moc"
