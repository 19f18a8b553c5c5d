#include "ipoddb/TDBBytes_p.h"

#include <QtTest>

// The byte readers every database reader stands on: values, and refusals at the buffer's end.
class TDBBytesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void reads_data()
    {
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<qint64>("offset");
        QTest::addColumn<int>("width");
        QTest::addColumn<qint64>("value");
        QTest::newRow("short") << QByteArray("\x34\x12", 2) << qint64(0) << 2 << qint64(0x1234);
        QTest::newRow("negative short") << QByteArray("\xFE\xFF", 2) << qint64(0) << 2 << qint64(-2);
        QTest::newRow("long at an odd offset")
            << QByteArray("\x00\x78\x56\x34\x12", 5) << qint64(1) << 4 << qint64(0x12345678);
        QTest::newRow("negative long") << QByteArray("\xFF\xFF\xFF\xFF", 4) << qint64(0) << 4 << qint64(-1);
        QTest::newRow("long long") << QByteArray("\x08\x07\x06\x05\x04\x03\x02\x81", 8) << qint64(0) << 8
                                   << qint64(0x8102030405060708ULL);
    }
    void reads()
    {
        QFETCH(QByteArray, data);
        QFETCH(qint64, offset);
        QFETCH(int, width);
        QFETCH(qint64, value);
        const std::optional<qint64> read = width == 2   ? std::optional<qint64>(TDBBytes::readShort(data, offset))
                                           : width == 4 ? std::optional<qint64>(TDBBytes::readLong(data, offset))
                                                        : TDBBytes::readLongLong(data, offset);
        QCOMPARE(read, std::optional<qint64>(value));
    }

    // Nothing is read past the end or before the start, whatever the offset.
    void refusals_data()
    {
        QTest::addColumn<qint64>("offset");
        QTest::newRow("running past the end") << qint64(7);
        QTest::newRow("at the end") << qint64(8);
        QTest::newRow("negative") << qint64(-1);
        QTest::newRow("huge") << qint64(0x7FFFFFFFFFFFFFF0LL);
    }
    void refusals()
    {
        QFETCH(qint64, offset);
        const QByteArray data(8, '\x01');
        QVERIFY(!TDBBytes::readLong(data, offset));
        QVERIFY(!TDBBytes::read3ByteLong(data, offset, true, false));
        QVERIFY(!TDBBytes::readUtf16(data, offset, 2));
        QVERIFY(!TDBBytes::hasTag(data, offset, "\x01\x01\x01\x01"));
        QVERIFY(TDBBytes::readLong(data, 4));
    }

    // Signed bytes summed, so a negative byte borrows from the one above; then the host-order rule.
    void threeByteLong_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<bool>("littleEndian");
        QTest::addColumn<bool>("reverseOrder");
        QTest::addColumn<qint32>("value");
        QTest::newRow("plain") << QByteArray("\x01\x02\x03", 3) << true << false << qint32(0x010203);
        QTest::newRow("reversed") << QByteArray("\x01\x02\x03", 3) << true << true << qint32(0x01020300);
        QTest::newRow("negative byte borrows") << QByteArray("\x01\xFF\x00", 3) << true << false << qint32(0x00FF00);
        QTest::newRow("big-endian value swapped")
            << QByteArray("\x01\x02\x03", 3) << false << false << qint32(0x03020100);
    }
    void threeByteLong()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(bool, littleEndian);
        QFETCH(bool, reverseOrder);
        QFETCH(qint32, value);
        QCOMPARE(TDBBytes::read3ByteLong(bytes, 0, littleEndian, reverseOrder), std::optional<qint32>(value));
    }

    void tagsAndText()
    {
        const QByteArray data("mhit\x41\x00\xE9\x00\x3D\xD8\x00\xDE", 12);
        QVERIFY(TDBBytes::hasTag(data, 0, "mhit"));
        QVERIFY(!TDBBytes::hasTag(data, 0, "mhod"));
        QCOMPARE(TDBBytes::tagAt(data, 0), QStringLiteral("mhit"));
        QCOMPARE(TDBBytes::tagAt(data, 10), QString());
        // Surrogate pairs pass through unit by unit.
        QCOMPARE(TDBBytes::readUtf16(data, 4, 4), std::optional<QString>(QStringLiteral("Aé😀")));
    }
};

QTEST_GUILESS_MAIN(TDBBytesTest)
#include "tst_tdbbytes.moc"
