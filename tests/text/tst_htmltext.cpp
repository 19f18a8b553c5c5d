#include "text/HTMLCharset.h"
#include "text/HTMLTextFilter_p.h"
#include "text/NSStringXtra.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTest>

#include <stdexcept>

namespace {

QString readPage(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QString();
    return QString::fromUtf8(file.readAll());
}

// Something left of markup: a tag name after "<", or an end tag.
QString markupIn(const QString &text)
{
    static const QRegularExpression kTag(QStringLiteral("<(/?[a-zA-Z][a-zA-Z0-9]*)([\\s/>]|$)"));
    const QRegularExpressionMatch match = kTag.match(text);
    return match.hasMatch() ? text.mid(std::max<qsizetype>(match.capturedStart() - 60, 0), 160) : QString();
}

// The page with every escaped "<" made a "‹", so that a "<" in the text can only be markup that
// came through: pages quote code and markup as text ("#include &lt;stdio.h&gt;").
QString withoutEscapedLessThan(const QString &html)
{
    static const QRegularExpression kEscaped(QStringLiteral("&(lt|#0*60|#x0*3c);?"),
                                             QRegularExpression::CaseInsensitiveOption);
    return QString(html).replace(kEscaped, QStringLiteral("\u2039"));
}

void addPageRows(const QString &folder)
{
    const QStringList pages = QDir(folder).entryList({"*.html"}, QDir::Files, QDir::Name);
    for (const QString &page : pages)
        QTest::newRow(qPrintable(page)) << folder + u'/' + page;
}

} // namespace

class TestHtmlText : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void stripHTML_data()
    {
        QTest::addColumn<QString>("html");
        QTest::addColumn<QString>("expected");
        QTest::newRow("tags") << "<b>bold</b> and <i>it</i>"
                              << "bold and it";
        QTest::newRow("entities decoded once") << "&lt;b&gt; &amp;amp; caf&eacute; &#x1F600; &#65;&nbsp;x"
                                               << QStringLiteral("<b> &amp; café \U0001F600 A x");
        QTest::newRow("bad references kept or replaced") << "&bogus; &#xD800; &# x"
                                                         << "&bogus; \uFFFD &# x";
        QTest::newRow("comment") << "a<!-- <b>hidden</b> -->b"
                                 << "ab";
        QTest::newRow("empty comment") << "a<!-->b"
                                       << "ab";
        QTest::newRow("script and style content") << "a<script>if (x < 1) y = '</b>';</script>b<style>p{}</style>c"
                                                  << "abc";
        QTest::newRow("comment inside script") << "<script><!-- <script></script> --> x()</script>text"
                                               << "text";
        QTest::newRow("quoted attribute holds >") << "<a title=\"1 > 0\" href='x>y'>link</a>"
                                                  << "link";
        QTest::newRow("unclosed tag at end") << "text<img src=\"x"
                                             << "text";
        QTest::newRow("cut tag residue") << "A\r\r< class=x>B\r<>C"
                                         << "A\r\rB\rC";
        QTest::newRow("less-than in text") << "1 < 2 and 3 <= 4"
                                           << "1 < 2 and 3 <= 4";
        QTest::newRow("doctype and CDATA markup") << "<!DOCTYPE html><?xml x?>a<![CDATA[b]]>c"
                                                  << "ac";
        QTest::newRow("block ends break lines") << "<ul><li>one</li><li>two</li></ul><td>a</td><td>b</td>"
                                                << "one\ntwo\n\na b ";
        QTest::newRow("upper-case tags") << "<SCRIPT>x</SCRIPT><P>y</P>"
                                         << "y\n";
    }
    void stripHTML()
    {
        QFETCH(QString, html);
        QFETCH(QString, expected);
        QCOMPARE(NSStringXtra::stripHTML(html), expected);
    }

    void removeScriptTags_data()
    {
        QTest::addColumn<QString>("html");
        QTest::addColumn<QString>("expected");
        QTest::newRow("script removed, markup kept") << "<p>a<script src=x>var s = '<p>';</script>b</p>"
                                                     << "<p>ab</p>";
        QTest::newRow("style kept") << "<style>p{}</style><SCRIPT>x</SCRIPT>"
                                    << "<style>p{}</style>";
        QTest::newRow("nested escaped script") << "<script><!-- <script></script> --></script>after"
                                               << "after";
        QTest::newRow("unclosed script swallows the rest") << "a<script>b"
                                                           << "a";
        QTest::newRow("no script") << "<!-- c --><b>x</b>"
                                   << "<!-- c --><b>x</b>";
    }
    void removeScriptTags()
    {
        QFETCH(QString, html);
        QFETCH(QString, expected);
        QCOMPARE(NSStringXtra::removeScriptTags(html), expected);
    }

    void makeHTMLReadable_data()
    {
        QTest::addColumn<QString>("html");
        QTest::addColumn<QString>("marker");
        QTest::addColumn<QString>("expected");
        QTest::newRow("body only, line breaks")
            << "<html><body class=x>A<p>B<br>C<hr>D</body></html>" << QString() << "A\r\rB\rC\r---------------\rD";
        QTest::newRow("two bodies keep the head") << "<title>T</title><body>x</body><body>y" << QString() << "T\rxy";
        QTest::newRow("body tag never closed keeps the page") << "x<body class=y" << QString() << "x";
        QTest::newRow("tabs deleted, spaces collapsed") << "<body>a\tb   c\n   d</body>" << QString() << "ab c\rd";
        QTest::newRow("definition list") << "<body><dl><dt>Term<dd>Meaning</dl>" << QString() << "Term Meaning";
        QTest::newRow("start marker") << "<body>Menu<p>Story starts here</body>"
                                      << "Story"
                                      << "Story starts here";
        QTest::newRow("missing marker ignored") << "<body>Text</body>"
                                                << "Nowhere"
                                                << "Text";
        QTest::newRow("script and entities")
            << "<body><script>x</script>Tom &amp; Jerry</body>" << QString() << "Tom & Jerry";
    }
    void makeHTMLReadable()
    {
        QFETCH(QString, html);
        QFETCH(QString, marker);
        QFETCH(QString, expected);
        const std::optional<QString> start = marker.isNull() ? std::nullopt : std::optional(marker);
        QCOMPARE(NSStringXtra::makeHTMLReadable(html, start), expected);
    }

    void markerOnlyIgnoringCaseThrows()
    {
        QVERIFY_THROWS_EXCEPTION(std::out_of_range, NSStringXtra::makeHTMLReadable("<body>Story</body>", "STORY"));
    }

    void charset_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QByteArray>("declared");
        QTest::addColumn<QString>("text");
        QTest::newRow("meta charset") << QByteArray("<meta charset=\"ISO-8859-1\">\xe9") << QByteArray("iso-8859-1")
                                      << QStringLiteral("<meta charset=\"ISO-8859-1\">\u00e9");
        QTest::newRow("UTF-8 wins over the declaration")
            << QStringLiteral("<META CHARSET=gb2312>\u4f60").toUtf8() << QByteArray("gb2312")
            << QStringLiteral("<META CHARSET=gb2312>\u4f60");
        QTest::newRow("http-equiv") << QByteArray("<meta content='text/html; charset=windows-1252'>\x80")
                                    << QByteArray("windows-1252")
                                    << QStringLiteral("<meta content='text/html; charset=windows-1252'>\u20ac");
        QTest::newRow("unknown charset reads as Latin-1")
            << QByteArray("<meta charset=no-such>\xff") << QByteArray("no-such")
            << QStringLiteral("<meta charset=no-such>\u00ff");
        QTest::newRow("byte-order mark dropped") << QByteArray("\xef\xbb\xbfx") << QByteArray() << "x";
        QTest::newRow("no declaration") << QByteArray("<p>\xe9") << QByteArray() << QStringLiteral("<p>\u00e9");
    }
    void charset()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QByteArray, declared);
        QFETCH(QString, text);
        QCOMPARE(HTMLCharset::declaredCharset(bytes), declared);
        QCOMPARE(HTMLCharset::decodePage(bytes), text);
    }

    void pages_data()
    {
        QTest::addColumn<QString>("path");
        addPageRows(QStringLiteral(TIVARO_TEST_HTML_PAGES));
#ifdef TIVARO_HTML_CORPUS
        addPageRows(QStringLiteral(TIVARO_HTML_CORPUS));
#endif
    }
    // Every page reads as some text with no markup left in it.
    void pages()
    {
        QFETCH(QString, path);
        const QString html = readPage(path);
        QVERIFY(!html.isEmpty());
        const QString text = NSStringXtra::makeHTMLReadable(withoutEscapedLessThan(html));
        QVERIFY(!NSStringXtra::stringIsEmpty(text));
        QCOMPARE(markupIn(text), QString());
        QVERIFY(!text.contains(u'\n'));
        QVERIFY(!text.contains(u"\r\r\r"));
    }

    void pagePhrases_data()
    {
        QTest::addColumn<QString>("page");
        QTest::addColumn<QString>("present");
        QTest::addColumn<QString>("absent");
        QTest::newRow("comment inside script") << "comment-inside-script-parsing"
                                               << "Lorem\r\rLorem ipsum dolor"
                                               << "Silly test";
        QTest::newRow("style") << "style-tags-removal"
                               << "proident, sunt in culpa"
                               << "font-weight";
        QTest::newRow("script") << "remove-script-tags"
                                << "ullamco laboris"
                                << "alert";
        QTest::newRow("breaks") << "replace-brs"
                                << "Lorem ipsum\rdolor sit\r\ramet"
                                << "<";
        QTest::newRow("spaces") << "normalize-spaces"
                                << "sed do eiusmod\rtab here\rincididunt"
                                << "  ";
        QTest::newRow("Japanese") << "hukumusume" << QStringLiteral("福娘童話集 > きょうのイソップ童話")
                                  << "google_ad_client";
        QTest::newRow("blog") << "daringfireball-1"
                              << "By John Gruber"
                              << "ReadCookie";
    }
    void pagePhrases()
    {
        QFETCH(QString, page);
        QFETCH(QString, present);
        QFETCH(QString, absent);
        const QString text =
            NSStringXtra::makeHTMLReadable(readPage(QStringLiteral(TIVARO_TEST_HTML_PAGES "/") + page + ".html"));
        QVERIFY2(text.contains(present), qPrintable(text.left(3000)));
        QVERIFY2(!text.contains(absent), qPrintable(text.left(3000)));
    }
};

QTEST_GUILESS_MAIN(TestHtmlText)
#include "tst_htmltext.moc"
