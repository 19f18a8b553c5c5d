#include "text/NSStringXtra.h"

#include <QTest>

#include <stdexcept>

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
    void replace_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("target");
        QTest::addColumn<QString>("replacement");
        QTest::addColumn<QString>("expected");
        QTest::newRow("repeated until gone") << "a    b"
                                             << "  "
                                             << " "
                                             << "a b";
        QTest::newRow("case-sensitive") << "Ab ab"
                                        << "ab"
                                        << "x"
                                        << "Ab x";
        QTest::newRow("spaces after line breaks") << "a \r  \r  x \r"
                                                  << "\r "
                                                  << "\r"
                                                  << "a \r\rx \r";
        QTest::newRow("space runs") << " a     b  "
                                    << "  "
                                    << " "
                                    << " a b ";
        QTest::newRow("empty target changes nothing") << "abc"
                                                      << ""
                                                      << "x"
                                                      << "abc";
        QTest::newRow("new occurrence from a pass") << "aabb"
                                                    << "ab"
                                                    << ""
                                                    << "";
        // Runs of one character: a pass leaves j * (n / k) + n % k of a run of n, until fewer than k.
        QTest::newRow("four returns to two, runs of 1 to 9") << "a\rb\r\rc\r\r\rd\r\r\r\re\r\r\r\r\rf\r\r\r\r\r\r\r\r\r"
                                                             << "\r\r\r\r"
                                                             << "\r\r"
                                                             << "a\rb\r\rc\r\r\rd\r\re\r\r\rf\r\r\r";
        QTest::newRow("pairs removed") << "x\r\r\ry\r\r"
                                       << "\r\r"
                                       << ""
                                       << "x\ry";
        QTest::newRow("single character removed") << "a\tb\t\t"
                                                  << "\t"
                                                  << ""
                                                  << "ab";
        QTest::newRow("single character replaced") << "a\nb\n"
                                                   << "\n"
                                                   << "\r"
                                                   << "a\rb\r";
        QTest::newRow("replacement holding the target") << "ab"
                                                        << "a"
                                                        << "aa"
                                                        << "aab";
    }
    void replace()
    {
        QFETCH(QString, text);
        QFETCH(QString, target);
        QFETCH(QString, replacement);
        QFETCH(QString, expected);
        QCOMPARE(NSStringXtra::replace(text, target, replacement), expected);
    }

    void removeExtraLines_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected");
        QTest::newRow("CRLF pairs become one empty line") << "a\r\n\r\nb"
                                                          << "a\r\rb";
        QTest::newRow("LF only") << "a\nb\n\n\n\nc"
                                 << "a\rb\r\rc";
        QTest::newRow("leading spaces on lines") << "a\r   b"
                                                 << "a\rb";
        QTest::newRow("five breaks") << "a\r\r\r\r\rb"
                                     << "a\r\rb";
    }
    void removeExtraLines()
    {
        QFETCH(QString, text);
        QFETCH(QString, expected);
        QCOMPARE(NSStringXtra::removeExtraLines(text), expected);
    }

    void removeWhiteSpace_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("useDefault");
        QTest::addColumn<QStringList>("strings");
        QTest::addColumn<QString>("expected");
        QTest::newRow("default joins lines") << "a\r\nb\tc   d" << true << QStringList() << "abc d";
        QTest::newRow("tabs only") << "a\tb\r  c" << false << QStringList{"\t"} << "ab\r c";
        QTest::newRow("empty list collapses spaces") << "a \t  b" << false << QStringList() << "a \t b";
    }
    void removeWhiteSpace()
    {
        QFETCH(QString, text);
        QFETCH(bool, useDefault);
        QFETCH(QStringList, strings);
        QFETCH(QString, expected);
        const std::optional<QStringList> list = useDefault ? std::nullopt : std::optional(strings);
        QCOMPARE(NSStringXtra::removeWhiteSpace(text, list), expected);
    }

    void predicates()
    {
        QVERIFY(NSStringXtra::stringIsEmpty(QString()));
        QVERIFY(NSStringXtra::stringIsEmpty(""));
        QVERIFY(NSStringXtra::stringIsEmpty(" \r\n\t"));
        QVERIFY(!NSStringXtra::stringIsEmpty(" x "));
        QVERIFY(NSStringXtra::containsString("<body>", "BODY"));
        QVERIFY(!NSStringXtra::containsString("<bod>", "body"));
    }

    void words_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("n");
        QTest::addColumn<QString>("ellipsized");
        QTest::addColumn<QString>("upTo");
        QTest::newRow("hard cut") << "Hello world" << 10 << "Hello world"
                                  << "Hello worl";
        QTest::newRow("words fill the limit") << "Hello world foo" << 10 << "Hello world foo"
                                              << "Hello foo";
        QTest::newRow("short text kept") << "a b c" << 2 << "a b"
                                         << "a";
        // The fit is checked on the trimmed text, so the empty word's space slips through.
        QTest::newRow("empty pieces count as words") << "a  b c" << 3 << "a  b"
                                                     << "a  b";
        QTest::newRow("zero") << "one two" << 0 << ""
                              << "";
        // A lone surrogate has no UTF-8 form: in a file name it would become "?", which FAT refuses.
        QTest::newRow("a surrogate pair is not split")
            << QStringLiteral("Party time \U0001F389 tonight") << 12 << QStringLiteral("Party time \U0001F389 tonight")
            << "Party time";
        QTest::newRow("a whole pair at the end is kept")
            << QStringLiteral("Party \U0001F389 tonight") << 8 << QStringLiteral("Party \U0001F389 tonight")
            << QStringLiteral("Party \U0001F389");
    }
    void words()
    {
        QFETCH(QString, text);
        QFETCH(int, n);
        QFETCH(QString, ellipsized);
        QFETCH(QString, upTo);
        QCOMPARE(NSStringXtra::ellipsizeAfterNWords(text, n), ellipsized);
        QCOMPARE(NSStringXtra::wordsUpTo(text, n), upTo);
    }

    void smallTransforms_data()
    {
        QTest::addColumn<QString>("operation");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected");
        QTest::newRow("stripSlashes") << "stripSlashes"
                                      << "It\\'s \\ ok\\'"
                                      << "It's \\ ok'";
        QTest::newRow("reverse") << "reverse"
                                 << "abc"
                                 << "cba";
        QTest::newRow("cdata removed") << "cdata"
                                       << "<![CDATA[x]]> y"
                                       << "x y";
        QTest::newRow("cdata needs both") << "cdata"
                                          << "<![CDATA[x"
                                          << "<![CDATA[x";
        QTest::newRow("cdata found ignoring case") << "cdata"
                                                   << "<![cdata[x]]><![CDATA["
                                                   << "<![cdata[x";
        QTest::newRow("URLSafe feed") << "URLSafe"
                                      << "feed://host/a b"
                                      << "http://host/a%20b";
        QTest::newRow("URLSafe keeps reserved and escapes") << "URLSafe"
                                                            << "http://h/?q=a&b=%41#f"
                                                            << "http://h/?q=a&b=%41#f";
        QTest::newRow("URLSafe escapes UTF-8")
            << "URLSafe" << QStringLiteral("caf\u00e9 \"x\"") << "caf%C3%A9%20%22x%22";
        QTest::newRow("ROT13") << "ROT13"
                               << "Hello, World! nz"
                               << "Uryyb, Jbeyq! am";
        QTest::newRow("ROT13 keeps the low byte") << "ROT13" << QStringLiteral("\u0141") << "N";
    }
    void smallTransforms()
    {
        QFETCH(QString, operation);
        QFETCH(QString, text);
        QFETCH(QString, expected);
        QString actual;
        if (operation == "stripSlashes")
            actual = NSStringXtra::stripSlashes(text);
        else if (operation == "reverse")
            actual = NSStringXtra::reverseString(text);
        else if (operation == "cdata")
            actual = NSStringXtra::removeCdataStuff(text);
        else if (operation == "URLSafe")
            actual = NSStringXtra::URLSafe(text);
        else
            actual = NSStringXtra::stringByEncryptingWithROT13(text);
        QCOMPARE(actual, expected);
    }

    void pathComponents_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<int>("n");
        QTest::addColumn<QString>("expected");
        QTest::newRow("one") << "/a/b/c" << 1 << "/a/b";
        QTest::newRow("two") << "/a/b/c" << 2 << "/a";
        QTest::newRow("down to root") << "/a/b" << 5 << "/";
        QTest::newRow("trailing slash") << "a/b/" << 1 << "a";
        QTest::newRow("relative to nothing") << "a" << 1 << "";
        QTest::newRow("zero") << "/a/b" << 0 << "/a/b";
    }
    void pathComponents()
    {
        QFETCH(QString, path);
        QFETCH(int, n);
        QFETCH(QString, expected);
        QCOMPARE(NSStringXtra::removeNumberOfPathComponents(path, n), expected);
    }

    void formatSeconds_data()
    {
        QTest::addColumn<quint64>("seconds");
        QTest::addColumn<bool>("withWords");
        QTest::addColumn<QString>("expected");
        QTest::newRow("hours") << quint64(3725) << false << "1:02:05";
        QTest::newRow("hours in words") << quint64(3725) << true << "1.0 hours";
        QTest::newRow("seconds in words") << quint64(59) << true << "59 seconds";
        QTest::newRow("seconds") << quint64(7) << false << "0:07";
        QTest::newRow("minutes") << quint64(125) << false << "2:05";
        QTest::newRow("minutes in words") << quint64(90) << true << "1.5 minutes";
        QTest::newRow("days in words") << quint64(129600) << true << "1.5 days";
        QTest::newRow("hours not capped") << quint64(90061) << false << "25:01:01";
    }
    void formatSeconds()
    {
        QFETCH(quint64, seconds);
        QFETCH(bool, withWords);
        QFETCH(QString, expected);
        QCOMPARE(NSStringXtra::formatSeconds(seconds, withWords), expected);
    }

    void formatBytes_data()
    {
        QTest::addColumn<quint64>("bytes");
        QTest::addColumn<QString>("expected");
        QTest::newRow("below 1024 is 0 B") << quint64(500) << "0 B";
        QTest::newRow("1023") << quint64(1023) << "0 B";
        QTest::newRow("KB rounds") << quint64(1536) << "2 KB";
        QTest::newRow("MB") << quint64(1572864) << "1.5 MB";
        QTest::newRow("GB") << quint64(1073741824) << "1.0 GB";
    }
    void formatBytes()
    {
        QFETCH(quint64, bytes);
        QFETCH(QString, expected);
        QCOMPARE(NSStringXtra::formatBytes(bytes), expected);
    }
};

QTEST_GUILESS_MAIN(TestStringXtra)
#include "tst_stringxtra.moc"
