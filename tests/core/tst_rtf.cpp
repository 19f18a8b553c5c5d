#include "core/RtfReader_p.h"
#include "core/RtfWriter_p.h"

#include <QProcess>
#include <QStandardPaths>
#include <QTest>

namespace {

TextAttributes style(const QString &font, bool bold, int weight, double size, std::optional<QColor> color = {})
{
    return TextAttributes{font, bold, weight, size, color, QUrl(), 0};
}

AttributedString text(const QList<std::pair<QString, TextAttributes>> &runs)
{
    AttributedString result;
    for (const auto &[string, attributes] : runs)
        result.append(string, attributes);
    return result;
}

const TextAttributes kHeading = style("Helvetica", true, 5, 14, QColor(0, 0, 255));
const TextAttributes kBody = style("Helvetica", false, 0, 10);

} // namespace

Q_DECLARE_METATYPE(AttributedString)

class TestRtf : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void roundTrip_data()
    {
        QTest::addColumn<AttributedString>("original");
        QTest::newRow("empty") << AttributedString();
        QTest::newRow("plain") << AttributedString("Synced 12 notes.");
        QTest::newRow("styled runs") << text({{"Notes\r", kHeading},
                                              {"12 written\r", kBody},
                                              {"iPod full\r", style("Helvetica", false, 0, 10, QColor(255, 0, 0))},
                                              {"slow\r", style("Helvetica", false, 0, 10, QColor(255, 128, 0))}});
        QTest::newRow("unicode and non-BMP") << text({{"Köln – 日本語 🎵 \u00a0x", kBody}, {"Ω", kHeading}});
        QTest::newRow("braces and backslashes") << AttributedString("{\\rtf1 \\par} \\'e9 {\\*\\x}", kBody);
        QTest::newRow("line breaks and tabs") << AttributedString("a\rb\nc\td\r\n\r", kBody);
        QTest::newRow("control characters") << AttributedString(QString("x") + QChar(0) + QChar(1) + QChar(0x7f) + "y");
        QTest::newRow("leading spaces after words") << text({{"  two", kHeading}, {" one", {}}, {"  ", kBody}});
        // What only some runs have must not leak into the runs around them.
        QTest::newRow("partial attributes") << text({{"font", style("Menlo", false, 0, 0)},
                                                     {"size", style("", false, 0, 10.5)},
                                                     {"bold", style("", true, 0, 0)},
                                                     {"weight", style("", false, 9, 0)},
                                                     {"colour", style("", false, 0, 0, QColor(1, 2, 3))},
                                                     {"none", {}}});
        QTest::newRow("font names needing escapes") << text(
            {{"a", style("Times; New {Roman}", false, 0, 12)}, {"b", style("Lucida Grande \\ Ü", false, 0, 12)}});
    }

    void roundTrip()
    {
        QFETCH(AttributedString, original);
        const QByteArray rtf = RtfWriter::toRtf(original);
        QVERIFY(rtf.startsWith("{\\rtf1\\ansi\\ansicpg1252\\deff0"));
        // 7-bit clean, as RTF readers expect.
        QVERIFY(std::all_of(rtf.cbegin(), rtf.cend(), [](char c) { return uchar(c) < 0x80; }));
        const Result<AttributedString> back = RtfReader::fromRtf(rtf);
        QVERIFY2(back, qPrintable(back.errorString()));
        QCOMPARE(back->string(), original.string());
        QVERIFY(*back == original);
    }

    void unrtfReadsOurOutput_data()
    {
        QTest::addColumn<AttributedString>("original");
        QTest::addColumn<QStringList>("expectedLines");
        QTest::newRow("log") << text({{"Notes\r", kHeading}, {"Wrote 3 notes.\r", kBody}, {"iPod full\r", kBody}})
                             << QStringList{"Notes", "Wrote 3 notes.", "iPod full"};
        QTest::newRow("escapes") << AttributedString("a {b} \\c\rnext", kBody) << QStringList{"a {b} \\c", "next"};
    }

    void unrtfReadsOurOutput()
    {
        const QString unrtf = QStandardPaths::findExecutable("unrtf");
        if (unrtf.isEmpty())
            QSKIP("unrtf is not installed (scripts/bootstrap installs it)");
        QFETCH(AttributedString, original);
        QFETCH(QStringList, expectedLines);
        QProcess process;
        process.start(unrtf, {"--text"});
        process.write(RtfWriter::toRtf(original));
        process.closeWriteChannel();
        QVERIFY(process.waitForFinished(30000));
        QCOMPARE(process.exitCode(), 0);
        const QStringList lines = QString::fromUtf8(process.readAllStandardOutput()).split('\n');
        for (const QString &line : expectedLines)
            QVERIFY2(lines.contains(line), qPrintable(line + " not in: " + lines.join('|')));
    }

    // RTF from other programs, and what is refused, with the reason (empty for RTF that is read).
    void reads_data()
    {
        QTest::addColumn<QByteArray>("rtf");
        QTest::addColumn<AttributedString>("expected");
        QTest::addColumn<QString>("refusal");
        const TextAttributes helvetica12 = style("Helvetica", false, 0, 12);
        QTest::newRow("TextEdit") << QByteArray(
                                         "{\\rtf1\\ansi\\ansicpg1252\\cocoartf2639\n"
                                         "\\cocoatextscaling0\\cocoaplatform0{\\fonttbl\\f0\\fswiss\\fcharset0 "
                                         "Helvetica;\\f1\\fnil Menlo-Bold;}\n"
                                         "{\\colortbl;\\red255\\green255\\blue255;\\red0\\green128\\blue0;}\n"
                                         "{\\*\\expandedcolortbl;;\\cssrgb\\c0\\c50\\c0;}\n"
                                         "\\paperw11900\\paperh16840\\margl1440\\margr1440\\vieww11520\\viewh8400"
                                         "\\viewkind0\n\\pard\\tx566\\tx1133\\pardirnatural\\partightenfactor0\n\n"
                                         "\\f0\\fs24 \\cf0 Hello \\f1\\b\\cf2 world\\\n\\f0\\b0\\cf0 next}")
                                  << text({{"Hello ", helvetica12},
                                           {"world\r", style("Menlo-Bold", true, 0, 12, QColor(0, 128, 0))},
                                           {"next", helvetica12}})
                                  << QString();
        QTest::newRow("Word, hex and unicode fallbacks")
            << QByteArray("{\\rtf1\\ansi\\deff0{\\fonttbl{\\f0\\froman Times New Roman{\\*\\panose 02020603}"
                          "{\\*\\falt Times};}}{\\stylesheet{\\s0 Normal;}}{\\info{\\title Secret}{\\author A}}"
                          "{\\*\\generator Riched20;}\\pard\\plain\\f0\\fs24 caf\\'e9 \\'80\\'93x\\'94 "
                          "\\uc2\\u26085\\'93\\'fa\\u-10180??\\u-8267\\'3f\\'3f!{\\uc0\\u9731}\\uc1\\u9731?"
                          "\\par\r\n}")
            << text({{"café €“x” 日🎵!☃☃\r", style("Times New Roman", false, 0, 12)}}) << QString();
        QTest::newRow("unknown words, symbols and skipped destinations")
            << QByteArray("{\\rtf1{\\fonttbl{\\f0 Helvetica;}}\\f0\\fs24\\frobnicate123\\zzz-5 a\\~b\\-c\\_d\\|e"
                          "{\\*\\unknown {nested} text}{\\pict\\bin4 }}}}x}{\\header H}"
                          "\\emdash\\tab\\line\\bullet\\ldblquote\\rdblquote\n\\b1 bold\\b0\\plain  plain}")
            << text({{"a\u00a0bc\u2011de\u2014\t\n\u2022\u201c\u201d", helvetica12},
                     {"bold", style("Helvetica", true, 0, 12)},
                     {" plain", {}}})
            << QString();
        QTest::newRow("cut off inside groups")
            << QByteArray("{\\rtf1{\\fonttbl{\\f0 Helvetica;}}{\\f0\\fs24 kept {\\b so")
            << text({{"kept ", helvetica12}, {"so", style("Helvetica", true, 0, 12)}}) << QString();
        QTest::newRow("text after the end is ignored")
            << QByteArray("  {\\rtf1 inside}outside{\\b more}") << AttributedString("inside") << QString();
        QTest::newRow("huge parameters saturate")
            << QByteArray("{\\rtf1{\\colortbl;\\red99999999999999999999;}"
                          "\\fs99999999999999999999\\cf1 big\\u99999999999?}")
            << text({{"big\ufffd", style("", false, 0, 16383.5, QColor(255, 0, 0))}}) << QString();
        const QString notRtf = "does not begin with {\\rtf";
        QTest::newRow("empty") << QByteArray() << AttributedString() << notRtf;
        QTest::newRow("plain text") << QByteArray("Hello {\\rtf1}") << AttributedString() << notRtf;
        QTest::newRow("another word") << QByteArray("{\\rtfx Hello}") << AttributedString() << notRtf;
        QTest::newRow("nested too deep") << QByteArray("{\\rtf1 ") + QByteArray(RtfReader::kMaximumDepth, '{')
                                         << AttributedString() << "deeper than 256";
    }

    void reads()
    {
        QFETCH(QByteArray, rtf);
        QFETCH(AttributedString, expected);
        QFETCH(QString, refusal);
        const Result<AttributedString> read = RtfReader::fromRtf(rtf);
        if (!refusal.isEmpty()) {
            QVERIFY(!read);
            QCOMPARE(read.error().code, Error::Malformed);
            QVERIFY2(read.errorString().contains(refusal), qPrintable(read.errorString()));
            return;
        }
        QVERIFY2(read, qPrintable(read.errorString()));
        QCOMPARE(read->string(), expected.string());
        QVERIFY(*read == expected);
    }
};

QTEST_GUILESS_MAIN(TestRtf)
#include "tst_rtf.moc"
