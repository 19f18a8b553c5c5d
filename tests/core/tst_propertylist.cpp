#include "core/PropertyList.h"

#include <QDateTime>
#include <QDir>
#include <QSize>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>

#include <plist/plist.h>

#include <limits>

namespace {

// A binary property list of the given objects (the first is the top one), with 4-byte offsets and
// 2-byte object references, for shapes libplist itself would never write.
QByteArray binaryList(const QList<QByteArray> &objects)
{
    const auto bigEndian = [](quint64 value, int size) {
        return QByteArray::fromHex(QByteArray::number(value, 16).rightJustified(size * 2, '0'));
    };
    QByteArray bytes("bplist00");
    QByteArray offsets;
    for (const QByteArray &object : objects) {
        offsets += bigEndian(quint64(bytes.size()), 4);
        bytes += object;
    }
    const quint64 table = quint64(bytes.size());
    return bytes + offsets + QByteArray(6, '\0') + char(4) + char(2) + bigEndian(quint64(objects.size()), 8) +
           QByteArray(8, '\0') + bigEndian(table, 8);
}

// The binary form of XML bytes, written by libplist itself.
QByteArray toBinary(const QByteArray &xml)
{
    plist_t root = nullptr;
    plist_from_xml(xml.constData(), uint32_t(xml.size()), &root);
    char *bytes = nullptr;
    uint32_t length = 0;
    plist_to_bin(root, &bytes, &length);
    plist_free(root);
    const QByteArray binary(bytes, qsizetype(length));
    free(bytes);
    return binary;
}

QDateTime utc(int year, int month, int day, int hour = 0, int minute = 0, int second = 0)
{
    return QDateTime(QDate(year, month, day), QTime(hour, minute, second), Qt::UTC);
}

} // namespace

class TestPropertyList : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void roundTrip_data();
    void roundTrip();
    void rejectsWhatIsNoPropertyList_data();
    void rejectsWhatIsNoPropertyList();
    void refusesUnsupportedTypes_data();
    void refusesUnsupportedTypes();
    void writesAndReadsFiles();
};

void TestPropertyList::roundTrip_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QVariant>("expected");
    // Refusing with a reason is acceptable for values libplist cannot carry; storing another value is not.
    QTest::addColumn<bool>("mayRefuse");

    const auto same = [](const char *name, const QVariant &value, bool mayRefuse = false) {
        QTest::newRow(name) << value << value << mayRefuse;
    };
    same("non-ASCII string", QStringLiteral("J\u00e9r\u00f4me \u65e5\u672c \U0001F3B5"));
    same("XML special characters", QStringLiteral("<a href=\"x\">&amp;</a> ]]>"));
    same("empty string", QString());
    same("false", false);
    same("negative integer", qint64(-5));
    same("smallest integer", std::numeric_limits<qint64>::min());
    same("largest integer", std::numeric_limits<qint64>::max());
    same("double", 0.1);
    same("tiny negative double", -2.5e-10);
    QByteArray everyByte;
    for (int i = 0; i < 256; ++i)
        everyByte.append(char(i));
    same("data of every byte", everyByte);
    same("empty data", QByteArray(""));
    same("date before the reference", utc(1999, 12, 31, 23, 59, 59));
    same("recent date", utc(2024, 2, 29, 13, 45, 7));
    same("empty dictionary", QVariantMap());
    same("nested", QVariantMap{{QStringLiteral("Plugins"),
                                QVariantList{QVariantMap{{QStringLiteral("Name"), QStringLiteral("Weather")},
                                                         {QStringLiteral("Enabled"), true}},
                                             QVariantList{qint64(1), 2.5, QVariantList()}}},
                               {QStringLiteral("Cl\u00e9 \u00e0 accents"), QByteArray("\x01\x02")}});

    // Qt's narrower types come back as the property list's own.
    QTest::newRow("int") << QVariant(-7) << QVariant(qint64(-7)) << false;
    QTest::newRow("unsigned") << QVariant(7u) << QVariant(qint64(7)) << false;
    QTest::newRow("string list") << QVariant(QStringList{QStringLiteral("a"), QStringLiteral("b")})
                                 << QVariant(QVariantList{QStringLiteral("a"), QStringLiteral("b")}) << false;
    const QDateTime local(QDate(2010, 6, 1), QTime(12, 0), Qt::LocalTime);
    QTest::newRow("local time date") << QVariant(local) << QVariant(local.toUTC()) << false;

    // Values a property list can hold but libplist 2.2's interface cannot pass: it takes integers as
    // signed 64 bits and date seconds as 32 bits.
    same("unsigned above the signed range", std::numeric_limits<quint64>::max(), true);
    same("date after 2069", utc(2100, 1, 1), true);
    same("Mac epoch date", utc(1904, 1, 1), true);
}

void TestPropertyList::roundTrip()
{
    QFETCH(QVariant, value);
    QFETCH(QVariant, expected);
    QFETCH(bool, mayRefuse);

    QString error;
    const std::optional<QByteArray> xml = PropertyList::toXml(value, &error);
    if (!xml) {
        QVERIFY2(mayRefuse, qPrintable(error));
        QVERIFY(!error.isEmpty());
        return;
    }
    QVERIFY(xml->startsWith("<?xml"));
    // Read back as written, and in the binary form libplist makes of it.
    const QByteArray binary = toBinary(*xml);
    QVERIFY(binary.startsWith("bplist00"));
    for (const QByteArray &bytes : {*xml, binary}) {
        const std::optional<QVariant> back = PropertyList::fromData(bytes, &error);
        QVERIFY2(back, qPrintable(error));
        QCOMPARE(back->metaType(), expected.metaType());
        QCOMPARE(*back, expected);
        if (expected.metaType().id() == QMetaType::QDateTime)
            QCOMPARE(back->toDateTime().timeSpec(), Qt::UTC);
    }
}

void TestPropertyList::rejectsWhatIsNoPropertyList_data()
{
    QTest::addColumn<QByteArray>("bytes");

    QTest::newRow("empty") << QByteArray();
    QTest::newRow("garbage") << QByteArray("\x13\x37garbage\x00\xff bytes", 17);
    QTest::newRow("truncated XML") << QByteArray("<?xml version=\"1.0\"?>\n<plist version=\"1.0\">\n<dict>\n"
                                                 "<key>Name</key>\n<string>iP");
    QTest::newRow("key without value") << QByteArray("<plist version=\"1.0\"><dict><key>a</key>");
    QTest::newRow("binary magic only") << QByteArray("bplist00");
    const QByteArray binary = toBinary("<plist version=\"1.0\"><dict><key>Name</key><string>iPod</string>"
                                       "<key>List</key><array><integer>42</integer></array></dict></plist>");
    QTest::newRow("binary cut short") << binary.left(binary.size() - 12);
    // libplist aborts when asked for a string holding NUL, so such lists must be refused first.
    QTest::newRow("binary: UTF-16 string with NUL") << QByteArray::fromHex(
        "62706c69737430306200e9000008000000000000010100000000000000010000000000000000000000000000000d");
    QTest::newRow("binary: dictionary key with NUL") << QByteArray::fromHex(
        "62706c6973743030d101026200e900001001080b100000000000000101000000000000000300000000000000000000000000000012");
    // The same NUL key, its length written as a 16-byte integer that libplist accepts.
    QTest::newRow("binary: NUL key with a 128-bit length")
        << binaryList({QByteArray::fromHex("d100010002"),
                       QByteArray::fromHex("6f14") + QByteArray(15, '\0') + QByteArray::fromHex("0200e90000"),
                       QByteArray::fromHex("09")});
    // Nesting deep enough to exhaust a stack that recursion walks.
    QList<QByteArray> nested;
    for (int i = 1; i <= 2000; ++i)
        nested << QByteArray::fromHex("a1") + char(i >> 8) + char(i & 0xFF);
    nested << QByteArray::fromHex("09");
    QTest::newRow("binary: arrays 2000 deep") << binaryList(nested);
    QTest::newRow("XML: arrays 2000 deep")
        << QByteArray("<plist version=\"1.0\">" + QByteArray("<array>").repeated(2000) +
                      QByteArray("</array>").repeated(2000) + "</plist>");
    // Each array holds the next one twice: 40 objects stand for 2^40 values once copied out.
    QList<QByteArray> doubling;
    for (int i = 1; i <= 40; ++i)
        doubling << QByteArray::fromHex("a200") + char(i) + '\0' + char(i);
    doubling << QByteArray::fromHex("09");
    QTest::newRow("binary: shared arrays expanding to 2^40 values") << binaryList(doubling);
    QTest::newRow("date after 2069") << QByteArray("<plist version=\"1.0\"><dict><key>until</key>"
                                                   "<date>2100-01-01T00:00:00Z</date></dict></plist>");
}

void TestPropertyList::rejectsWhatIsNoPropertyList()
{
    QFETCH(QByteArray, bytes);
    QString error;
    const std::optional<QVariant> value = PropertyList::fromData(bytes, &error);
    QVERIFY2(!value, value ? qPrintable(value->toString()) : "");
    QVERIFY(!error.isEmpty());
}

void TestPropertyList::refusesUnsupportedTypes_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QString>("typeName");

    QTest::newRow("url") << QVariant(QUrl(QStringLiteral("https://example.org/"))) << QStringLiteral("QUrl");
    QTest::newRow("invalid") << QVariant() << QStringLiteral("null");
    QTest::newRow("deep in a dictionary")
        << QVariant(QVariantMap{{QStringLiteral("ok"), 1},
                                {QStringLiteral("inner"), QVariantList{QStringLiteral("x"), QVariant(QSize(1, 1))}}})
        << QStringLiteral("QSize");
}

void TestPropertyList::refusesUnsupportedTypes()
{
    QFETCH(QVariant, value);
    QString error;
    QVERIFY(!PropertyList::toXml(value, &error));
    QFETCH(QString, typeName);
    QVERIFY2(error.contains(typeName), qPrintable(error));
}

void TestPropertyList::writesAndReadsFiles()
{
    QTemporaryDir folder;
    const QVariantMap values{{QStringLiteral("Name"), QStringLiteral("\u00c9t\u00e9")},
                             {QStringLiteral("Count"), qint64(-12)}};
    const QString path = folder.filePath(QStringLiteral("org.tivaro.Test.plist"));
    QString error;
    QVERIFY2(PropertyList::writeFile(path, values, &error), qPrintable(error));
    QCOMPARE(PropertyList::readFile(path, &error), std::optional<QVariant>(values));

    // A value that cannot be written leaves the file that was there as it was.
    QVERIFY(!PropertyList::writeFile(path, QVariantList{true, QUrl()}, &error));
    QCOMPARE(PropertyList::readFile(path), std::optional<QVariant>(values));
    QCOMPARE(QDir(folder.path()).entryList(QDir::Files | QDir::Hidden), QStringList{QFileInfo(path).fileName()});

    // Missing files and folders are errors.
    error.clear();
    QVERIFY(!PropertyList::readFile(folder.filePath(QStringLiteral("missing.plist")), &error));
    QVERIFY(!error.isEmpty());
    error.clear();
    QVERIFY(!PropertyList::writeFile(folder.filePath(QStringLiteral("no/such/folder.plist")), values, &error));
    QVERIFY(!error.isEmpty());
}

QTEST_GUILESS_MAIN(TestPropertyList)
#include "tst_propertylist.moc"
