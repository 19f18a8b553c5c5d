#include "CliRun.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QtTest>

// `tivaro photos` on the photo database libgpod wrote.
class CliPhotosTest : public QObject
{
    Q_OBJECT

    const QString m_ipod = QStringLiteral(TIVARO_PHOTO_DATA);

private Q_SLOTS:
    void listsPhotosAndAlbums()
    {
        const CliRun run =
            CliRun::run({QStringLiteral("photos"), QStringLiteral("--ipod"), m_ipod, QStringLiteral("--json")});
        QCOMPARE(run.exitCode, 0);
        const QJsonObject root = QJsonDocument::fromJson(run.out.toUtf8()).object();
        const QJsonArray photos = root.value(QStringLiteral("photos")).toArray();
        QCOMPARE(photos.size(), 5);
        QCOMPARE(photos.at(0).toObject().value(QStringLiteral("id")).toInteger(), 66);
        const QJsonObject item = photos.at(0).toObject().value(QStringLiteral("items")).toArray().at(2).toObject();
        QCOMPARE(item.value(QStringLiteral("width")).toInt(), 130);
        QCOMPARE(item.value(QStringLiteral("imageSize")).toInt(), 22880);
        QCOMPARE(root.value(QStringLiteral("albums")).toArray().size(), 3);
    }

    void text()
    {
        const CliRun run = CliRun::run({QStringLiteral("photos"), QStringLiteral("--ipod"), m_ipod});
        QCOMPARE(run.exitCode, 0);
        QVERIFY(run.out.startsWith(QStringLiteral("photo 66\n  size: {720, 480}; offset: 0; imageSize: A8C00 ")));
        QVERIFY(run.out.contains(QStringLiteral("\nalbum Family (1 photos)\n")));
    }

    void exportsTiffs()
    {
        QTemporaryDir output;
        const CliRun run = CliRun::run(
            {QStringLiteral("photos"), QStringLiteral("--ipod"), m_ipod, QStringLiteral("--export"), output.path()});
        QCOMPARE(run.exitCode, 0);
        // Only the 130 × 88 and the small images' files are in the test tree.
        QCOMPARE(QImage(output.filePath(QStringLiteral("photo0-2.tif"))).size(), QSize(130, 88));
        QCOMPARE(QImage(output.filePath(QStringLiteral("photo0-3.tif"))).size(), QSize(50, 39));
        QVERIFY(!QFileInfo::exists(output.filePath(QStringLiteral("photo0-1.tif"))));
    }

    void failures_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("exitCode");
        QTest::newRow("no --ipod") << QStringList{QStringLiteral("photos")} << 2;
        QTest::newRow("no database") << QStringList{QStringLiteral("photos"), QStringLiteral("--ipod"),
                                                    QStringLiteral("/nonexistent")}
                                     << 1;
    }

    void failures()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, exitCode);
        const CliRun run = CliRun::run(arguments);
        QCOMPARE(run.exitCode, exitCode);
        QVERIFY(run.err.startsWith(QStringLiteral("tivaro: ")));
    }
};

QTEST_GUILESS_MAIN(CliPhotosTest)
#include "tst_cli_photos.moc"
