#include "core/PropertyList.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QSize>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>

#include <plist/plist.h>

#include <limits>

namespace {

// Turns XML bytes into the binary format with libplist itself, to read binary files as they come.
// A binary property list of the given objects (the first is the top one), with 4-byte offsets and
// 2-byte object references, for shapes libplist itself would never write.
QByteArray binaryList(const QList<QByteArray> &objects)
{
    QByteArray bytes("bplist00");
    QList<quint32> offsets;
    for (const QByteArray &object : objects) {
        offsets << quint32(bytes.size());
        bytes += object;
    }
    const quint64 table = quint64(bytes.size());
    for (const quint32 offset : offsets)
        bytes += QByteArray::fromHex(QByteArray::number(offset, 16).rightJustified(8, '0'));
    bytes += QByteArray(6, '\0') + char(4) + char(2);
    bytes += QByteArray::fromHex(QByteArray::number(qulonglong(objects.size()), 16).rightJustified(16, '0'));
    bytes += QByteArray(8, '\0');
    bytes += QByteArray::fromHex(QByteArray::number(table, 16).rightJustified(16, '0'));
    return bytes;
}

// Serialises and frees a libplist tree.
QByteArray binaryOf(plist_t root)
{
    char *bytes = nullptr;
    uint32_t length = 0;
    plist_to_bin(root, &bytes, &length);
    plist_free(root);
    const QByteArray binary(bytes, qsizetype(length));
    free(bytes);
    return binary;
}

QByteArray toBinary(const QByteArray &xml)
{
    plist_t root = nullptr;
    plist_from_xml(xml.constData(), uint32_t(xml.size()), &root);
    return root ? binaryOf(root) : QByteArray();
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
    void readsBinaryFiles();
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
    same("ascii string", QStringLiteral("Hello"));
    same("non-ASCII string", QStringLiteral("J\u00e9r\u00f4me \u65e5\u672c \U0001F3B5"));
    same("XML special characters", QStringLiteral("<a href=\"x\">&amp;</a> ]]>"));
    same("empty string", QString());
    same("true", true);
    same("false", false);
    same("zero", qint64(0));
    same("negative integer", qint64(-5));
    same("smallest integer", std::numeric_limits<qint64>::min());
    same("largest integer", std::numeric_limits<qint64>::max());
    same("large integer", qint64(1) << 40);
    same("double", 0.1);
    same("tiny negative double", -2.5e-10);
    same("huge double", 1.5e300);
    QByteArray everyByte;
    for (int i = 0; i < 256; ++i)
        everyByte.append(char(i));
    same("data of every byte", everyByte);
    same("empty data", QByteArray(""));
    same("reference date", utc(2001, 1, 1));
    same("date before the reference", utc(1999, 12, 31, 23, 59, 59));
    same("recent date", utc(2024, 2, 29, 13, 45, 7));
    same("empty dictionary", QVariantMap());
    same("empty array", QVariantList());
    same("nested", QVariantMap{{QStringLiteral("Plugins"),
                                QVariantList{QVariantMap{{QStringLiteral("Name"), QStringLiteral("Weather")},
                                                         {QStringLiteral("Enabled"), true}},
                                             QVariantList{qint64(1), 2.5, QStringLiteral("x")}}},
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

    const QByteArray binary = toBinary(*xml);
    QVERIFY(binary.startsWith("bplist00"));
    for (const QByteArray &bytes : {*xml, binary}) {
        error.clear();
        const std::optional<QVariant> back = PropertyList::fromData(bytes, &error);
        QVERIFY2(back, qPrintable(error));
        QCOMPARE(back->metaType(), expected.metaType());
        QCOMPARE(*back, expected);
        if (expected.metaType().id() == QMetaType::QDateTime)
            QCOMPARE(back->toDateTime().timeSpec(), Qt::UTC);
    }
}

void TestPropertyList::readsBinaryFiles()
{
    // Built node by node with libplist, not through our writer.
    plist_t root = plist_new_dict();
    plist_dict_set_item(root, "Name", plist_new_string("iPod de J\xc3\xa9r\xc3\xb4me"));
    plist_dict_set_item(root, "Count", plist_new_uint(42));
    plist_dict_set_item(root, "Offset", plist_new_uint(uint64_t(-3)));
    plist_dict_set_item(root, "Enabled", plist_new_bool(1));
    plist_dict_set_item(root, "Ratio", plist_new_real(0.75));
    plist_dict_set_item(root, "Blob", plist_new_data("\x00\xff\x10", 3));
    plist_dict_set_item(root, "When", plist_new_date(86400, 0));
    plist_t list = plist_new_array();
    plist_array_append_item(list, plist_new_string("a"));
    plist_array_append_item(list, plist_new_dict());
    plist_dict_set_item(root, "List", list);
    const QByteArray binary = binaryOf(root);

    QString error;
    const std::optional<QVariant> value = PropertyList::fromData(binary, &error);
    QVERIFY2(value, qPrintable(error));
    const QVariantMap expected{
        {QStringLiteral("Name"), QStringLiteral("iPod de J\u00e9r\u00f4me")},
        {QStringLiteral("Count"), qint64(42)},
        {QStringLiteral("Offset"), qint64(-3)},
        {QStringLiteral("Enabled"), true},
        {QStringLiteral("Ratio"), 0.75},
        {QStringLiteral("Blob"), QByteArray("\x00\xff\x10", 3)},
        {QStringLiteral("When"), utc(2001, 1, 2)},
        {QStringLiteral("List"), QVariantList{QStringLiteral("a"), QVariantMap()}},
    };
    QCOMPARE(value->toMap(), expected);

    // Cut short, the same bytes are no property list.
    QVERIFY(!PropertyList::fromData(binary.left(binary.size() - 12)));
}

void TestPropertyList::rejectsWhatIsNoPropertyList_data()
{
    QTest::addColumn<QByteArray>("bytes");

    QTest::newRow("empty") << QByteArray();
    QTest::newRow("garbage") << QByteArray("\x13\x37garbage\x00\xff bytes", 17);
    QTest::newRow("plain text") << QByteArray("Groceries:\n- milk\n");
    QTest::newRow("truncated XML") << QByteArray("<?xml version=\"1.0\"?>\n<plist version=\"1.0\">\n<dict>\n"
                                                 "<key>Name</key>\n<string>iP");
    QTest::newRow("key without value") << QByteArray("<plist version=\"1.0\"><dict><key>a</key>");
    QTest::newRow("binary magic only") << QByteArray("bplist00");
    // libplist aborts when asked for a string holding NUL, so such lists must be refused first.
    QTest::newRow("binary: UTF-16 string with NUL") << QByteArray::fromHex(
        "62706c69737430306200e9000008000000000000010100000000000000010000000000000000000000000000000d");
    QTest::newRow("binary: dictionary key with NUL") << QByteArray::fromHex(
        "62706c6973743030d101026200e900001001080b100000000000000101000000000000000300000000000000000000000000000012");
    QTest::newRow("binary header and garbage") << QByteArray("bplist00\x01\x02\x03\x04\x05\x06\x07\x08\x09");

    // The same NUL key, its length written as a 16-byte integer that libplist accepts.
    QTest::newRow("binary: NUL key with a 128-bit length")
        << binaryList({QByteArray::fromHex("d100010002"),
                       QByteArray::fromHex("6f14") + QByteArray(15, '\0') + QByteArray::fromHex("0200e90000"),
                       QByteArray::fromHex("09")});
    // Nesting deep enough to exhaust a stack that recursion walks.
    QList<QByteArray> nested;
    for (int i = 0; i < 2000; ++i)
        nested << QByteArray::fromHex("a1") + QByteArray(1, char((i + 1) >> 8)) + QByteArray(1, char((i + 1) & 0xFF));
    nested << QByteArray::fromHex("09");
    QTest::newRow("binary: arrays 2000 deep") << binaryList(nested);
    QTest::newRow("XML: arrays 2000 deep")
        << QByteArray("<plist version=\"1.0\">" + QByteArray("<array>").repeated(2000) +
                      QByteArray("</array>").repeated(2000) + "</plist>");
    // Each array holds the next one twice: 40 objects stand for 2^40 values once copied out.
    QList<QByteArray> doubling;
    for (int i = 0; i < 40; ++i) {
        const QByteArray next = QByteArray(1, char(0)) + QByteArray(1, char(i + 1));
        doubling << QByteArray::fromHex("a2") + next + next;
    }
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

    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("bad.plist"));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(bytes);
    file.close();
    error.clear();
    QVERIFY(!PropertyList::readFile(path, &error));
    QVERIFY(!error.isEmpty());
}

void TestPropertyList::refusesUnsupportedTypes_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QString>("typeName");

    QTest::newRow("url") << QVariant(QUrl(QStringLiteral("https://example.org/"))) << QStringLiteral("QUrl");
    QTest::newRow("size") << QVariant(QSize(3, 4)) << QStringLiteral("QSize");
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

    // Writing it leaves the file that was there as it was.
    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("keep.plist"));
    QVERIFY(PropertyList::writeFile(path, QVariantMap{{QStringLiteral("kept"), true}}));
    QVERIFY(!PropertyList::writeFile(path, value, &error));
    QCOMPARE(PropertyList::readFile(path)->toMap(), (QVariantMap{{QStringLiteral("kept"), true}}));
    QCOMPARE(QDir(folder.path()).entryList(QDir::Files | QDir::Hidden), QStringList{QStringLiteral("keep.plist")});
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

    // Replacing keeps no trace of the old dictionary.
    QVERIFY(PropertyList::writeFile(path, QVariantList{true}));
    QCOMPARE(PropertyList::readFile(path), std::optional<QVariant>(QVariantList{true}));

    error.clear();
    QVERIFY(!PropertyList::readFile(folder.filePath(QStringLiteral("missing.plist")), &error));
    QVERIFY(!error.isEmpty());
    error.clear();
    QVERIFY(!PropertyList::writeFile(folder.filePath(QStringLiteral("no/such/folder.plist")), values, &error));
    QVERIFY(!error.isEmpty());
}

QTEST_GUILESS_MAIN(TestPropertyList)
#include "tst_propertylist.moc"
