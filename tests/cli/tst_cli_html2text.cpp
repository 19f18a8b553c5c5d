#include "CliRun.h"
#include "TestHttpServer.h"

#include <QTemporaryDir>
#include <QtTest>

// `tivaro html2text` run as a user runs it, on files, standard input and a local server.
class CliHtml2TextTest : public QObject
{
    Q_OBJECT

    TestHttpServer m_server;
    QTemporaryDir m_folder;

    QString page(const QString &name, const QByteArray &bytes)
    {
        QFile file(m_folder.filePath(name));
        if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
            return QString();
        return file.fileName();
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY2(QFileInfo::exists(qEnvironmentVariable("TIVARO_CLI")), "TIVARO_CLI names the tivaro program");
        QVERIFY(m_folder.isValid());
        QVERIFY(m_server.isListening());
        m_server.serve("/story.html", "<html><body><h1>News</h1><p>First &amp; last</body></html>",
                       "text/html; charset=utf-8");
    }

    void convert_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("out");
        QTest::addColumn<QString>("err");
        const QByteArray story = "<html><head><title>T</title></head><body class=x>Menu<p>Story: A<br>B<hr>"
                                 "<script>alert(1)</script>C</body></html>";
        QTest::newRow("lines") << story << QStringList() << 0 << "Menu\n\nStory: A\nB\n---------------\nC\n"
                               << "";
        QTest::newRow("start marker") << story << QStringList{"--start", "Story"} << 0
                                      << "Story: A\nB\n---------------\nC\n"
                                      << "";
        QTest::newRow("marker not in the text")
            << story << QStringList{"--start", "Nowhere"} << 0 << "Menu\n\nStory: A\nB\n---------------\nC\n"
            << "";
        QTest::newRow("marker in another case") << story << QStringList{"--start", "STORY"} << 1 << ""
                                                << "tivaro: the text has \"STORY\" only in another case; --start "
                                                   "needs its exact case\n";
        QTest::newRow("UTF-8 bytes declared gb2312")
            << QStringLiteral("<meta charset=gb2312><body>你好 &amp; world").toUtf8() << QStringList() << 0
            << QStringLiteral("你好 & world\n") << "";
        QTest::newRow("Latin-1 without declaration")
            << QByteArray("<p>caf\xe9 cr\xe8me") << QStringList() << 0 << QStringLiteral("café crème\n") << "";
        QTest::newRow("declared windows-1252")
            << QByteArray("<meta http-equiv=Content-Type content=\"text/html; charset=windows-1252\">"
                          "<body>\x93quoted\x94 \x80")
            << QStringList() << 0 << QStringLiteral("“quoted” €\n") << "";
        QTest::newRow("empty page") << QByteArray() << QStringList() << 0 << ""
                                    << "";
    }
    void convert()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QStringList, options);
        QFETCH(int, exitCode);
        QFETCH(QString, out);
        QFETCH(QString, err);
        const QString file = page(QStringLiteral("page.html"), bytes);
        QVERIFY(!file.isEmpty());
        const CliRun run = CliRun::run(QStringList{"html2text", file} + options);
        QCOMPARE(run.err, err);
        QCOMPARE(run.out, out);
        QCOMPARE(run.exitCode, exitCode);
    }

    void sources_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("out");
        QTest::addColumn<QString>("errStart");
        QTest::newRow("URL") << QStringList{m_server.url("/story.html").toString()} << 0 << "News\n\nFirst & last\n"
                             << "";
        QTest::newRow("standard input") << QStringList{"-"} << 0 << "from stdin\n"
                                        << "";
        QTest::newRow("connection reset") << QStringList{m_server.url("/reset").toString()} << 1 << ""
                                          << "tivaro: cannot download";
        QTest::newRow("missing file") << QStringList{m_folder.filePath("none.html")} << 1 << ""
                                      << "tivaro: cannot read";
        QTest::newRow("no source") << QStringList() << 2 << ""
                                   << "tivaro: html2text takes one FILE or URL";
    }
    void sources()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, exitCode);
        QFETCH(QString, out);
        QFETCH(QString, errStart);
        const CliRun run = CliRun::run(QStringList{"html2text"} + arguments, "<b>from stdin</b>");
        QVERIFY2(errStart.isEmpty() ? run.err.isEmpty() : run.err.startsWith(errStart), qPrintable(run.err));
        QCOMPARE(run.out, out);
        QCOMPARE(run.exitCode, exitCode);
    }
};

QTEST_MAIN(CliHtml2TextTest)
#include "tst_cli_html2text.moc"
