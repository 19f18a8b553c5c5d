#include "CliRun.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QtTest>

// `tivaro music ...` and `tivaro ipod info` on a copy of an iPod tree written by libgpod.
class CliMusicTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_mount;

private Q_SLOTS:
    void initTestCase()
    {
        qputenv("TZ", "UTC"); // Mac-epoch dates are local time; the tree was written under UTC
        QVERIFY(m_mount.isValid());
        QVERIFY(QDir(m_mount.path()).mkpath("iPod_Control/iTunes"));
        for (const QString name : {"iTunesDB", "DeviceInfo"}) {
            const QString relative = "iPod_Control/iTunes/" + name;
            QVERIFY(QFile::copy(QStringLiteral(TIVARO_IPODDB_DATA "/small/") + relative, m_mount.filePath(relative)));
        }
    }

    void tracks()
    {
        const CliRun run = CliRun::run({"music", "tracks", "--ipod", m_mount.path(), "--json"});
        QCOMPARE(run.exitCode, 0);
        const QJsonArray tracks = QJsonDocument::fromJson(run.out.toUtf8()).array();
        QCOMPARE(tracks.size(), 20);
        const QJsonObject first = tracks.first().toObject();
        QCOMPARE(first.value("UID").toInt(), 52);
        QCOMPARE(first.value("title").toString(), QStringLiteral("Glass"));
        QCOMPARE(first.value("length").toInt(), 1);
        QCOMPARE(first.value("dbid").toString(), QStringLiteral("-869013646040028853"));
        QCOMPARE(QDateTime::fromString(first.value("dateAdded").toString(), Qt::ISODate).toSecsSinceEpoch(),
                 qint64(1159965992));
        QCOMPARE(first.value("location").toString(), m_mount.filePath("iPod_Control/Music/F13/TTNE.mp3"));
    }

    void playlists()
    {
        const CliRun run = CliRun::run({"music", "playlists", "--ipod", m_mount.path()});
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(run.out.split('\n').first(), QStringLiteral("Podcasts [Podcast]: 54 61 64"));
        const CliRun json = CliRun::run({"music", "playlists", "--ipod", m_mount.path(), "--json"});
        const QJsonArray playlists = QJsonDocument::fromJson(json.out.toUtf8()).array();
        QStringList types;
        for (const QJsonValue &playlist : playlists)
            types << playlist.toObject().value("typeString").toString();
        QCOMPARE(types, (QStringList{"Podcast", "Purchased Music", "Smart Playlist", "Playlist"}));
        QCOMPARE(playlists.at(1).toObject().value("tracks").toArray(), QJsonArray{62});
    }

    void deviceName()
    {
        const CliRun run = CliRun::run({"ipod", "info", m_mount.path(), "--json"});
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(QJsonDocument::fromJson(run.out.toUtf8()).object().value("name").toString(),
                 QStringLiteral("Zoë’s iPod 🎧"));
    }

    void failures_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("exitCode");
        QTest::newRow("no --ipod") << QStringList{"music", "tracks"} << 2;
        QTest::newRow("no iPod") << QStringList{"music", "playlists", "--ipod", "/nonexistent"} << 1;
    }

    void failures()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, exitCode);
        const CliRun run = CliRun::run(arguments);
        QCOMPARE(run.exitCode, exitCode);
        QVERIFY(run.err.startsWith("tivaro: "));
    }

    void noDatabase()
    {
        QTemporaryDir empty;
        QVERIFY(QDir(empty.path()).mkpath("iPod_Control"));
        const CliRun run = CliRun::run({"music", "tracks", "--ipod", empty.path()});
        QCOMPARE(run.exitCode, 1);
        QVERIFY(run.err.contains("no readable music database"));
    }
};

QTEST_GUILESS_MAIN(CliMusicTest)
#include "tst_cli_music.moc"
