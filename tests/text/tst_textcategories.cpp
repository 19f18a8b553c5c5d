#include "text/NSDataBase64.h"
#include "text/NSFileManagerXtras.h"
#include "text/NSMutableArrayXtras.h"
#include "text/NSMutableAttributedStringXtras.h"
#include "text/NSMutableStringXtra.h"

#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

class TestTextCategories : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void replaceOccurrences_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("target");
        QTest::addColumn<QString>("replacement");
        QTest::addColumn<QString>("expected");
        QTest::addColumn<qsizetype>("count");
        QTest::newRow("one pass only") << "a    b"
                                       << "  "
                                       << " "
                                       << "a  b" << qsizetype(2);
        QTest::newRow("case-sensitive") << "Xx x"
                                        << "x"
                                        << "y"
                                        << "Xy y" << qsizetype(2);
        QTest::newRow("none") << "abc"
                              << "z"
                              << "y"
                              << "abc" << qsizetype(0);
        QTest::newRow("empty target") << "abc"
                                      << ""
                                      << "y"
                                      << "abc" << qsizetype(0);
    }
    void replaceOccurrences()
    {
        QFETCH(QString, text);
        QFETCH(QString, target);
        QFETCH(QString, replacement);
        QFETCH(QString, expected);
        QFETCH(qsizetype, count);
        QCOMPARE(NSMutableStringXtra::replaceOccurrencesOfString(text, target, replacement), count);
        QCOMPARE(text, expected);
    }

    void sortUsingDictionaryKey()
    {
        QList<QVariantMap> items{{{"title", "beta"}, {"n", 1}},
                                 {{"title", "Alpha"}, {"n", 2}},
                                 {{"title", "BETA"}, {"n", 3}},
                                 {{"n", 4}},
                                 {{"title", "alpha"}, {"n", 5}}};
        NSMutableArrayXtras::sortUsingDictionaryKey(items, "title");
        QList<int> order;
        for (const QVariantMap &item : items)
            order << item.value("n").toInt();
        // A missing key sorts as empty text; equal titles keep their order.
        QCOMPARE(order, (QList<int>{4, 2, 5, 1, 3}));
    }

    void detectURLs_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<qsizetype>("start");
        QTest::addColumn<qsizetype>("length");
        QTest::addColumn<QString>("url");
        QTest::newRow("www") << "see www.example.org now" << qsizetype(4) << qsizetype(15) << "http://www.example.org";
        QTest::newRow("scheme") << "go https://a.b/c?d=1\r\rok" << qsizetype(3) << qsizetype(17) << "https://a.b/c?d=1";
        QTest::newRow("ftp") << "ftp.gnu.org" << qsizetype(0) << qsizetype(11) << "ftp://ftp.gnu.org";
        QTest::newRow("mailto") << "x\tmailto:a@b.c" << qsizetype(2) << qsizetype(12) << "mailto:a@b.c";
    }
    void detectURLs()
    {
        QFETCH(QString, text);
        QFETCH(qsizetype, start);
        QFETCH(qsizetype, length);
        QFETCH(QString, url);
        const TextAttributes body{"Helvetica", false, 0, 10, std::nullopt, QUrl(), 0};
        AttributedString styled(text, body);
        NSMutableAttributedStringXtras::detectURLs(styled);
        TextAttributes linked = body;
        linked.link = QUrl(url);
        linked.underlineStyle = 1;
        linked.color = QColor(0, 0, 255);
        for (qsizetype i = 0; i < text.size(); ++i) {
            const bool inside = i >= start && i < start + length;
            QCOMPARE(styled.attributesAt(i), inside ? linked : body);
        }
        QCOMPARE(styled.string(), text);
    }

    void detectURLsLeavesPlainText()
    {
        AttributedString styled("no links here: example.org www", TextAttributes{});
        const AttributedString before = styled;
        NSMutableAttributedStringXtras::detectURLs(styled);
        QCOMPARE(styled, before);
    }

    void base64_data()
    {
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<uint>("lineLength");
        QTest::addColumn<QString>("encoded");
        QTest::newRow("three bytes") << QByteArray("Man") << 0u << "TWFu";
        QTest::newRow("one byte") << QByteArray("M") << 0u << "TQ==";
        QTest::newRow("two bytes") << QByteArray("Ma") << 0u << "TWE=";
        QTest::newRow("empty") << QByteArray() << 0u << "";
        QTest::newRow("binary") << QByteArray("\x00\xff\xfe\x80", 4) << 0u << "AP/+gA==";
        QTest::newRow("lines of 8, full last line ends with LF")
            << QByteArray("abcdefghijkl") << 8u << "YWJjZGVm\nZ2hpamts\n";
        QTest::newRow("line length rounds up to 4") << QByteArray("abcdefghij") << 6u << "YWJjZGVm\nZ2hpag==\n";
        QTest::newRow("short last line") << QByteArray("abcdefg") << 8u << "YWJjZGVm\nZw==";
        QTest::newRow("line length 1") << QByteArray("abcd") << 1u << "YWJj\nZA==\n";
    }
    void base64()
    {
        QFETCH(QByteArray, data);
        QFETCH(uint, lineLength);
        QFETCH(QString, encoded);
        QCOMPARE(NSDataBase64::base64EncodingWithLineLength(data, lineLength), encoded);
        QCOMPARE(NSDataBase64::dataWithBase64EncodedString(encoded), data);
        if (lineLength == 0)
            QCOMPARE(NSDataBase64::base64Encoding(data), encoded);
    }

    void base64Decoding_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QByteArray>("data");
        QTest::newRow("null") << QString() << QByteArray();
        QTest::newRow("foreign characters skipped") << "TW\r\n F*u" << QByteArray("Man");
        QTest::newRow("first = ends input") << "TQ==TWFu" << QByteArray("M");
        QTest::newRow("lone = at group start") << "TWFu=TWFu" << QByteArray("Man");
        QTest::newRow("unpadded tail dropped") << "TWFuTW" << QByteArray("Man");
        QTest::newRow("one value then =") << "T=" << QByteArray();
    }
    void base64Decoding()
    {
        QFETCH(QString, text);
        QFETCH(QByteArray, data);
        QCOMPARE(NSDataBase64::dataWithBase64EncodedString(text), data);
    }

    void buildPath_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<bool>("built");
        QTest::newRow("nested") << "a/b/c" << true;
        QTest::newRow("existing") << "" << true;
        QTest::newRow("trailing slash") << "d/e/" << true;
        QTest::newRow("under a file") << "file/x" << false;
    }
    void buildPath()
    {
        QFETCH(QString, path);
        QFETCH(bool, built);
        QTemporaryDir root;
        QFile file(root.filePath("file"));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.close();
        const QString full = path.isEmpty() ? root.path() : root.filePath(path);
        QCOMPARE(NSFileManagerXtras::buildPath(full), built);
        QCOMPARE(QFileInfo(full).isDir(), built);
    }

    void base64Alphabet()
    {
        int members = 0;
        for (int c = 0; c < 256; ++c)
            members += NSDataBase64::isCharacterPartOfBase64Encoding(char(c)) ? 1 : 0;
        QCOMPARE(members, 64);
        QVERIFY(NSDataBase64::isCharacterPartOfBase64Encoding('+'));
        QVERIFY(!NSDataBase64::isCharacterPartOfBase64Encoding('='));
    }
};

QTEST_GUILESS_MAIN(TestTextCategories)
#include "tst_textcategories.moc"
