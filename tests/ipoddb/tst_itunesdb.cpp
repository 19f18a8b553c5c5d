#include "ITunesDBBuilder.h"

#include "ipoddb/TDBFormat_p.h"
#include "ipoddb/TDBPlaylist.h"
#include "ipoddb/TDBTrack.h"
#include "ipoddb/TDBiPod_p.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLoggingCategory>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <ctime>
#include <functional>

using namespace ITunesDBBuilder;
using namespace TDBFormat;

namespace {

const QString kMount = QStringLiteral("/media/POD");

QString dataPath(const QString &name)
{
    return QStringLiteral(TIVARO_IPODDB_DATA "/") + name;
}

TDBiPod parsed(const QByteArray &database)
{
    TDBiPod reader(kMount);
    reader.processiTunesDB(database);
    return reader;
}

// The one track of a database holding `header` and `objects`.
TDBTrackPtr onlyTrack(const QByteArray &header, const QList<QByteArray> &objects = {})
{
    TDBiPod reader = parsed(database({mhit(header, objects)}, {}));
    const QList<TDBTrackPtr> tracks = reader.tracks().value();
    return tracks.size() == 1 ? tracks.first() : TDBTrackPtr();
}

QVariant field(const TDBTrack &t, const QString &name)
{
    const QHash<QString, std::function<QVariant()>> fields{
        {"UID", [&] { return QVariant(t.UID()); }},
        {"compilation", [&] { return QVariant(int(t.compilation())); }},
        {"rating", [&] { return QVariant(t.rating()); }},
        {"size", [&] { return QVariant(t.size()); }},
        {"length", [&] { return QVariant(t.length()); }},
        {"trackNumber", [&] { return QVariant(t.trackNumber()); }},
        {"totalTracks", [&] { return QVariant(t.totalTracks()); }},
        {"year", [&] { return QVariant(t.year()); }},
        {"bitrate", [&] { return QVariant(t.bitrate()); }},
        {"sampleRate", [&] { return QVariant(t.sampleRate()); }},
        {"volume", [&] { return QVariant(t.volume()); }},
        {"startTime", [&] { return QVariant(t.startTime()); }},
        {"stopTime", [&] { return QVariant(t.stopTime()); }},
        {"playCount", [&] { return QVariant(t.playCount()); }},
        {"discNumber", [&] { return QVariant(t.discNumber()); }},
        {"totalDiscs", [&] { return QVariant(t.totalDiscs()); }},
        {"bookmarkTime", [&] { return QVariant(t.bookmarkTime()); }},
        {"dbid", [&] { return QVariant(t.dbid()); }},
        {"checked", [&] { return QVariant(int(t.checked())); }},
        {"BPM", [&] { return QVariant(int(t.BPM())); }},
        {"artworkCount", [&] { return QVariant(int(t.artworkCount())); }},
        {"artworkSize", [&] { return QVariant(t.artworkSize()); }},
        {"title", [&] { return QVariant(t.title()); }},
        {"location", [&] { return QVariant(t.location()); }},
        {"album", [&] { return QVariant(t.album()); }},
        {"artist", [&] { return QVariant(t.artist()); }},
        {"genre", [&] { return QVariant(t.genre()); }},
        {"filetype", [&] { return QVariant(t.filetype()); }},
        {"eqsetting", [&] { return QVariant(t.eqsetting()); }},
        {"grouping", [&] { return QVariant(t.grouping()); }},
        {"comment", [&] { return QVariant(t.comment()); }},
        {"composer", [&] { return QVariant(t.composer()); }},
        {"category", [&] { return QVariant(t.category()); }},
        {"podcastDescription", [&] { return QVariant(t.podcastDescription()); }},
        {"rssURL", [&] { return QVariant(t.rssURL()); }},
        {"enclosureURL", [&] { return QVariant(t.enclosureURL()); }},
        {"isPodcast", [&] { return QVariant(t.isPodcast()); }},
        {"isVideo", [&] { return QVariant(t.isVideo()); }},
    };
    return fields.value(name)();
}

QStringList playlistNames(TDBiPod &reader)
{
    QStringList names;
    for (const TDBPlaylistPtr &playlist : reader.playlists().value_or(QList<TDBPlaylistPtr>()))
        names << QStringLiteral("%1:%2").arg(playlist->name()).arg(playlist->type());
    return names;
}

QList<qint32> uids(const QList<TDBTrackPtr> &tracks)
{
    QList<qint32> result;
    for (const TDBTrackPtr &track : tracks)
        result << track->UID();
    return result;
}

QByteArray named(const QString &name)
{
    return mhodString(DataObjectType::Title, name);
}

} // namespace

class TestITunesDB : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        // The corpus was written under UTC, and Mac-epoch dates are local time.
        qputenv("TZ", "UTC");
        tzset();
    }

    void trackHeaderFields_data()
    {
        QTest::addColumn<int>("offset");
        QTest::addColumn<int>("width");
        QTest::addColumn<qint64>("stored");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QVariant>("expected");
        QTest::newRow("length in whole seconds") << TrackField::Length << 4 << qint64(1999) << "length" << QVariant(1);
        QTest::newRow("negative length truncates to zero")
            << TrackField::Length << 4 << qint64(-1999) << "length" << QVariant(-1);
        QTest::newRow("sample rate is the integer half of 16.16")
            << TrackField::SampleRate << 4 << qint64(44100) * 65536 << "sampleRate" << QVariant(44100);
        QTest::newRow("artwork size keeps its low 16 bits, signed")
            << TrackField::ArtworkSize << 4 << qint64(40000) << "artworkSize" << QVariant(-25536);
        QTest::newRow("artwork size drops its high half")
            << TrackField::ArtworkSize << 4 << qint64(0x12340010) << "artworkSize" << QVariant(16);
        QTest::newRow("rating byte sign-extended")
            << TrackField::Rating << 1 << qint64(0xC8) << "rating" << QVariant(-56);
        QTest::newRow("compilation") << TrackField::Compilation << 1 << qint64(1) << "compilation" << QVariant(1);
        QTest::newRow("size read signed")
            << TrackField::Size << 4 << qint64(0x80000000) << "size" << QVariant(qint32(0x80000000));
        QTest::newRow("dbid") << TrackField::Dbid << 8 << qint64(-42) << "dbid" << QVariant(qint64(-42));
        QTest::newRow("BPM") << TrackField::BPM << 2 << qint64(128) << "BPM" << QVariant(128);
        QTest::newRow("artwork count") << TrackField::ArtworkCount << 2 << qint64(3) << "artworkCount" << QVariant(3);
        QTest::newRow("checked") << TrackField::Checked << 1 << qint64(1) << "checked" << QVariant(1);
        QTest::newRow("volume") << TrackField::Volume << 4 << qint64(-50) << "volume" << QVariant(-50);
        QTest::newRow("stop time") << TrackField::StopTime << 4 << qint64(25000) << "stopTime" << QVariant(25000);
        QTest::newRow("bookmark") << TrackField::BookmarkTime << 4 << qint64(777) << "bookmarkTime" << QVariant(777);
    }

    void trackHeaderFields()
    {
        QFETCH(int, offset);
        QFETCH(int, width);
        QFETCH(qint64, stored);
        QFETCH(QString, name);
        QFETCH(QVariant, expected);
        QByteArray header = trackHeader(7);
        if (width == 1)
            header[offset] = char(stored);
        else if (width == 2)
            putShort(header, offset, qint16(stored));
        else if (width == 4)
            putLong(header, offset, qint32(stored));
        else
            putLongLong(header, offset, stored);
        const TDBTrackPtr track = onlyTrack(header);
        QVERIFY(track);
        QCOMPARE(track->UID(), 7);
        QCOMPARE(field(*track, name), expected);
    }

    void macEpochDates_data()
    {
        QTest::addColumn<quint32>("stored");
        QTest::addColumn<QDateTime>("expected");
        QTest::newRow("zero is 1904, not absent") << 0u << QDateTime(QDate(1904, 1, 1), QTime(0, 0), Qt::LocalTime);
        QTest::newRow("unsigned past 2038")
            << 0xFFFFFFFFu << QDateTime(QDate(2040, 2, 6), QTime(6, 28, 15), Qt::LocalTime);
        QTest::newRow("2006") << 3242810792u << QDateTime::fromSecsSinceEpoch(1159965992);
    }

    void macEpochDates()
    {
        QFETCH(quint32, stored);
        QFETCH(QDateTime, expected);
        QByteArray header = trackHeader(1);
        putLong(header, TrackField::LastModified, qint32(stored));
        putLong(header, TrackField::LastPlayed, qint32(stored));
        putLong(header, TrackField::DateAdded, qint32(stored));
        const TDBTrackPtr track = onlyTrack(header);
        QVERIFY(track);
        QCOMPARE(track->lastModifiedTime(), expected);
        QCOMPARE(track->lastPlayedTime(), expected);
        QCOMPARE(track->dateAdded(), expected);
    }

    void trackStrings_data()
    {
        QTest::addColumn<QByteArray>("object");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QVariant>("expected");
        QTest::addColumn<bool>("podcast");
        using namespace DataObjectType;
        QTest::newRow("title trimmed") << mhodString(Title, " Glass \n") << "title" << QVariant("Glass") << false;
        QTest::newRow("surrogate pairs kept") << mhodString(Artist, "Zoë 🎧") << "artist" << QVariant("Zoë 🎧") << false;
        QTest::newRow("location under the mount point")
            << mhodString(Location, ":iPod_Control:Music:F00:ABCD.mp3") << "location"
            << QVariant("/media/POD/iPod_Control/Music/F00/ABCD.mp3") << false;
        QTest::newRow("album") << mhodString(Album, "Album") << "album" << QVariant("Album") << false;
        QTest::newRow("genre") << mhodString(Genre, "Jazz") << "genre" << QVariant("Jazz") << false;
        QTest::newRow("comment") << mhodString(Comment, "note") << "comment" << QVariant("note") << false;
        QTest::newRow("composer") << mhodString(Composer, "Bach") << "composer" << QVariant("Bach") << false;
        QTest::newRow("category marks a podcast")
            << mhodString(Category, "Comedy") << "category" << QVariant("Comedy") << true;
        QTest::newRow("description marks a podcast")
            << mhodString(Description, "Episode") << "podcastDescription" << QVariant("Episode") << true;
        QTest::newRow("15 is the RSS address, as bytes")
            << mhodBytes(RssURL, "http://a/\xe9") << "rssURL" << QVariant(QString("http://a/") + QChar(0xFFE9)) << true;
        QTest::newRow("16 is the enclosure")
            << mhodBytes(EnclosureURL, "http://e/x.mp3") << "enclosureURL" << QVariant("http://e/x.mp3") << true;
        QTest::newRow("video file type") << mhodString(FileType, "QuickTime movie file") << "isVideo" << QVariant(true)
                                         << false;
        QTest::newRow("MPEG-4 video") << mhodString(FileType, "MPEG-4 video file") << "isVideo" << QVariant(true)
                                      << false;
        QTest::newRow("audio file type") << mhodString(FileType, "MPEG audio file") << "isVideo" << QVariant(false)
                                         << false;
        QTest::newRow("video file type, padded")
            << mhodString(FileType, " QuickTime movie file\n") << "isVideo" << QVariant(true) << false;
        QTest::newRow("long file type") << mhodString(FileType, QString(70, QLatin1Char('x')) + "QuickTime movie file")
                                        << "isVideo" << QVariant(false) << false;
        QTest::newRow("file type not kept")
            << mhodString(FileType, "MPEG-4 video file") << "filetype" << QVariant(QString()) << false;
        QTest::newRow("EQ setting dropped")
            << mhodString(EQSetting, "Rock") << "eqsetting" << QVariant(QString()) << false;
        QTest::newRow("grouping dropped") << mhodString(Grouping, "Set") << "grouping" << QVariant(QString()) << false;
        QTest::newRow("string is the last L bytes") << [] {
            QByteArray object = mhodString(Title, "AB");
            putLong(object, DataObjectField::StringLength, 2);
            return object;
        }() << "title" << QVariant("B") << false;
    }

    void trackStrings()
    {
        QFETCH(QByteArray, object);
        QFETCH(QString, name);
        QFETCH(QVariant, expected);
        QFETCH(bool, podcast);
        const TDBTrackPtr track = onlyTrack(trackHeader(1), {object});
        QVERIFY(track);
        QCOMPARE(field(*track, name), expected);
        QCOMPARE(track->isPodcast(), podcast);
    }

    // Tracks decode their strings when asked, so bytes the reader only borrowed may change afterwards.
    void stringsOutliveBorrowedBytes()
    {
        QByteArray bytes =
            database({mhit(trackHeader(1), {mhodString(DataObjectType::Title, QStringLiteral("Title"))})}, {});
        TDBiPod reader(kMount);
        reader.processiTunesDB(QByteArray::fromRawData(bytes.constData(), bytes.size()));
        bytes.fill('\0');
        const TDBTrackPtr track = reader.tracks().value().value(0);
        QVERIFY(track);
        QCOMPARE(track->title(), QStringLiteral("Title"));
    }

    void playlists_data()
    {
        QTest::addColumn<QByteArray>("playlist");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("hidden master skipped") << mhyp({named("iPod")}, 1, 0, HiddenMasterPlaylist) << QStringList();
        QTest::newRow("hidden 0 shown") << mhyp({named("Mix")}, 1, 0, 0) << QStringList{"Mix:3"};
        QTest::newRow("hidden 2 shown") << mhyp({named("Mix")}, 1, 0, 2) << QStringList{"Mix:3"};
        const QByteArray smartData = mhodData(DataObjectType::SmartPlaylistData);
        const QByteArray smartRules = mhodData(DataObjectType::SmartPlaylistRules);
        QTest::newRow("smart data") << mhyp({named("Best"), smartData, smartRules}, 3, 0, 0) << QStringList{"Best:2"};
        QTest::newRow("Podcasts wins over smart")
            << mhyp({named("Podcasts"), smartData}, 2, 0, 0) << QStringList{"Podcasts:0"};
        QTest::newRow("Purchased Music") << mhyp({named("Purchased Music")}, 1, 0, 0)
                                         << QStringList{"Purchased Music:1"};
    }

    void playlists()
    {
        QFETCH(QByteArray, playlist);
        QFETCH(QStringList, expected);
        TDBiPod reader = parsed(database({}, {playlist}));
        QCOMPARE(playlistNames(reader), expected);
        QVERIFY(reader.podcasts() == std::nullopt);
    }

    void playlistItems_data()
    {
        QTest::addColumn<QList<QByteArray>>("children");
        QTest::addColumn<int>("dataObjects");
        QTest::addColumn<int>("items");
        QTest::addColumn<QList<qint32>>("expected");
        const QByteArray position = mhodData(DataObjectType::PlaylistPosition);
        QTest::newRow("item then its object")
            << QList<QByteArray>{named("P"), mhip(2), position, mhip(1), position} << 1 << 2 << QList<qint32>{2, 1};
        QTest::newRow("object nested in the item")
            << QList<QByteArray>{named("P"), mhip(1, position), mhip(3, position), mhip(2, position)} << 1 << 3
            << QList<qint32>{1, 3, 2};
        QTest::newRow("unknown UID adds nothing")
            << QList<QByteArray>{named("P"), mhip(9), position} << 1 << 1 << QList<qint32>{};
        QTest::newRow("count stops before the end")
            << QList<QByteArray>{named("P"), mhip(1), mhip(2)} << 1 << 0 << QList<qint32>{};
        QTest::newRow("counts of two billion")
            << QList<QByteArray>{named("P"), mhip(3)} << 2000000000 << 2000000000 << QList<qint32>{3};
    }

    void playlistItems()
    {
        QFETCH(QList<QByteArray>, children);
        QFETCH(int, dataObjects);
        QFETCH(int, items);
        QFETCH(QList<qint32>, expected);
        const QList<QByteArray> tracks{mhit(trackHeader(1), {}), mhit(trackHeader(2), {}), mhit(trackHeader(3), {})};
        // A second playlist right behind shows that the walk of the first stayed inside it.
        TDBiPod reader =
            parsed(database(tracks, {mhyp(children, dataObjects, items, 0), mhyp({named("Q"), mhip(2)}, 1, 1, 0)}));
        const QList<TDBPlaylistPtr> playlists = reader.playlists().value();
        QCOMPARE(playlists.size(), 2);
        QCOMPARE(playlists.at(0)->name(), QStringLiteral("P"));
        QCOMPARE(uids(playlists.at(0)->tracks()), expected);
        QCOMPARE(uids(playlists.at(1)->tracks()), QList<qint32>{2});
    }

    void playlistsSorted()
    {
        TDBiPod reader =
            parsed(database({}, {mhyp({named("beta")}, 1, 0, 0), mhyp({named("Alpha")}, 1, 0, 0),
                                 mhyp({named("Zeta"), mhodData(DataObjectType::SmartPlaylistRules)}, 2, 0, 0),
                                 mhyp({named("Podcasts")}, 1, 0, 0)}));
        QCOMPARE(playlistNames(reader), (QStringList{"Podcasts:0", "Zeta:2", "Alpha:3", "beta:3"}));
    }

    void dataSetOfType3Skipped()
    {
        const QByteArray tracks = mhsd(DataSetType::Tracks, mhlt({mhit(trackHeader(5), {})}));
        const QByteArray podcasts =
            mhsd(DataSetType::PodcastPlaylists, mhlp({mhyp({named("Hidden podcasts")}, 1, 0, 0)}));
        const QByteArray lists = mhsd(DataSetType::Playlists, mhlp({mhyp({named("Seen")}, 1, 0, 0)}));
        TDBiPod reader = parsed(mhbd({tracks, podcasts, lists}));
        QCOMPARE(playlistNames(reader), QStringList{"Seen:3"});
        QCOMPARE(uids(reader.tracks().value()), QList<qint32>{5});
    }

    void unknownTopLevelTagStops()
    {
        const QByteArray tracks = mhsd(DataSetType::Tracks, mhlt({mhit(trackHeader(5), {}), mhit(trackHeader(6), {})}));
        const QByteArray unknown = chunk(Chunk::AlbumList, HeaderLength::AlbumList, {}, 0);
        const QByteArray lists = mhsd(DataSetType::Playlists, mhlp({mhyp({named("Late")}, 1, 0, 0)}));
        const QByteArray file = mhbd({tracks, unknown, lists});
        const qint64 at = file.indexOf(Chunk::AlbumList);
        QTest::ignoreMessage(QtWarningMsg, qPrintable("position: " + QString::number(at, 16).toUpper()));
        TDBiPod reader = parsed(file);
        QCOMPARE(uids(reader.tracks().value()), (QList<qint32>{5, 6}));
        QCOMPARE(reader.playlists().value().size(), 0);
    }

    void corruptInputStopsCleanly_data()
    {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<QList<qint32>>("expected");
        const QByteArray one = mhit(trackHeader(1), {mhodString(DataObjectType::Title, "One")});
        const QByteArray two = mhit(trackHeader(2), {mhodString(DataObjectType::Title, "Two")});
        const auto withLong = [](QByteArray bytes, qint64 offset, qint32 value) {
            putLong(bytes, int(offset), value);
            return bytes;
        };
        // Tracks last, so that a count beyond them runs into the end of the file.
        const QByteArray good = mhbd({mhsd(DataSetType::Tracks, mhlt({one, two}))});
        const qint64 second = good.indexOf(Chunk::Track, good.indexOf(Chunk::Track) + 1);
        const qint64 list = good.indexOf(Chunk::TrackList);
        const qint64 object = good.indexOf(Chunk::DataObject);
        const qint64 dataSet = HeaderLength::Database;
        const qint64 secondLength = second + ChunkField::TotalLength;
        QTest::newRow("track length 0") << withLong(good, secondLength, 0) << QList<qint32>{1};
        QTest::newRow("track length past the end") << withLong(good, secondLength, 1 << 30) << QList<qint32>{1};
        QTest::newRow("track length negative") << withLong(good, secondLength, -200) << QList<qint32>{1};
        QTest::newRow("track count of two billion")
            << withLong(good, list + ChunkField::ChildCount, 2000000000) << QList<qint32>{1, 2};
        QTest::newRow("data object count of two billion")
            << withLong(good, second + TrackField::DataObjectCount, 2000000000) << QList<qint32>{1, 2};
        QTest::newRow("data object length 0")
            << withLong(good, object + ChunkField::TotalLength, 0) << QList<qint32>{1, 2};
        QTest::newRow("string length past the chunk")
            << withLong(good, object + DataObjectField::StringLength, 1 << 30) << QList<qint32>{1, 2};
        QTest::newRow("header length 0") << withLong(good, ChunkField::HeaderLength, 0) << QList<qint32>{};
        QTest::newRow("header length below a header") << withLong(good, ChunkField::HeaderLength, 8) << QList<qint32>{};
        QTest::newRow("header length negative")
            << withLong(good, ChunkField::HeaderLength, -HeaderLength::Database) << QList<qint32>{};
        QTest::newRow("data set of type 3 with length 0")
            << withLong(withLong(good, dataSet + DataSetField::Type, DataSetType::PodcastPlaylists),
                        dataSet + ChunkField::TotalLength, 0)
            << QList<qint32>{};
        QTest::newRow("playlist length 0")
            << withLong(database({one}, {mhyp({named("P")}, 1, 0, 0)}), database({one}, {}).size(), 0)
            << QList<qint32>{1};
        QTest::newRow("four bytes") << QByteArray(Chunk::Database) << QList<qint32>{};
        QTest::newRow("garbage") << QByteArray(300, '\xff') << QList<qint32>{};
    }

    void corruptInputStopsCleanly()
    {
        QFETCH(QByteArray, file);
        QFETCH(QList<qint32>, expected);
        TDBiPod reader = parsed(file);
        QCOMPARE(uids(reader.tracks().value()), expected);
    }

    // Every truncation of a database that holds each kind of chunk: no crash, and a prefix of the tracks.
    void everyTruncation()
    {
        QList<QByteArray> tracks;
        for (qint32 uid = 1; uid <= 3; ++uid)
            tracks << mhit(trackHeader(uid),
                           {mhodString(DataObjectType::Title, "T"), mhodBytes(DataObjectType::RssURL, "http://x")});
        const QByteArray position = mhodData(DataObjectType::PlaylistPosition);
        const QByteArray file = database(tracks, {mhyp({named("P"), mhip(1, position), mhip(3, position)}, 1, 2, 0)});
        QLoggingCategory::setFilterRules("tivaro.ipoddb.warning=false"); // one stop per truncation
        for (qsizetype size = 1; size < file.size(); ++size) {
            TDBiPod reader = parsed(file.left(size));
            const QList<qint32> read = uids(reader.tracks().value());
            QVERIFY2(read == QList<qint32>({1, 2, 3}).mid(0, read.size()), qPrintable(QString::number(size)));
            QVERIFY(reader.playlists().value().size() <= 1);
        }
        QLoggingCategory::setFilterRules(QString());
        QCOMPARE(parsed(file).playlists().value().size(), 1);
    }

    void emptyOrMissingDatabase()
    {
        QTemporaryDir mount;
        TDBiPod reader(mount.path());
        QVERIFY(!reader.tracks());
        QVERIFY(!reader.playlists());
        reader.processiTunesDB(database({mhit(trackHeader(4), {})}, {}));
        reader.processiTunesDB(QByteArray());
        QCOMPARE(uids(reader.tracks().value()), QList<qint32>{4});
        QCOMPARE(reader.trackWithUID(4)->UID(), 4);
        QVERIFY(!reader.trackWithUID(5));
    }

    void deviceInfo_data()
    {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<QString>("expected");
        const auto info = [](qint16 count, const QString &text) {
            QByteArray bytes;
            putShort(bytes, DeviceInfoField::NameLength, count);
            for (const QChar c : text)
                bytes.append(char(c.unicode() & 0xFF)).append(char(c.unicode() >> 8));
            return bytes;
        };
        QTest::newRow("count then name") << info(3, "POD and more") << "POD";
        QTest::newRow("count 0 is an empty name") << info(0, "POD") << "";
        QTest::newRow("not trimmed") << info(4, " Zoë") << " Zoë";
        QTest::newRow("count past the end stops there") << info(100, "Short") << "Short";
        QTest::newRow("count 0x8000 stops at the end") << info(qint16(0x8000), "Neg") << "Neg";
        QTest::newRow("half a unit at the end") << info(3, "AB") + QByteArray("C") << "AB";
        QTest::newRow("one byte") << QByteArray("\x05") << "";
    }

    void deviceInfo()
    {
        QFETCH(QByteArray, file);
        QFETCH(QString, expected);
        TDBiPod reader(kMount);
        reader.processDeviceInfo(file);
        QVERIFY(!reader.name().isNull());
        QCOMPARE(reader.name(), expected);
    }

    void deviceInfoReadOnce()
    {
        QTemporaryDir mount;
        TDBiPod reader(mount.path());
        QVERIFY(reader.name().isNull());
        QVERIFY(QDir(mount.path()).mkpath("iPod_Control/iTunes"));
        QFile file(mount.filePath("iPod_Control/iTunes/DeviceInfo"));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(QByteArray("\x02\x00O\x00K\x00", 6));
        file.close();
        QCOMPARE(reader.name(), QStringLiteral("OK"));
        QVERIFY(file.remove());
        QCOMPARE(reader.name(), QStringLiteral("OK"));
    }

    void records()
    {
        TDBTrack a, b;
        QVERIFY(!a.isEqualToTrack(b)); // nothing equals a missing title
        for (TDBTrack *t : {&a, &b}) {
            t->setTitle("T");
            t->setArtist("A");
            t->setAlbum("L");
        }
        a.setUID(2);
        b.setUID(1);
        QVERIFY(a.isEqualToTrack(b));
        QCOMPARE(a.compareByUID(b), 1);
        QCOMPARE(b.compareByUID(a), -1);
        QCOMPARE(a.description(), QStringLiteral("T - A"));
        a.setArtworkSize(qint16(40000));
        QCOMPARE(a.artworkSize(), -25536);
        TDBPlaylist list;
        QCOMPARE(list.type(), TDBPlaylist::kTypePlain);
        list.setName("Mix");
        list.addTrack(std::make_shared<TDBTrack>(a));
        QCOMPARE(list.description(), QStringLiteral("Mix (1 tracks)"));
        QVERIFY_THROWS_EXCEPTION(std::out_of_range, list.trackAtIndex(1));
        QCOMPARE(TDBPlaylist::stringForType(TDBPlaylist::kTypeSmart), QStringLiteral("Smart Playlist"));
        QVERIFY(TDBPlaylist::stringForType(4).isNull());
    }

    void libgpodCorpus()
    {
        TDBiPod reader(dataPath("small"));
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^position: [0-9A-F]+$"));
        const QList<TDBTrackPtr> tracks = reader.tracks().value();
        QFile lines(dataPath("small.libgpod.jsonl"));
        QVERIFY(lines.open(QIODevice::ReadOnly));
        int trackIndex = 0;
        QStringList playlists;
        while (!lines.atEnd()) {
            const QJsonObject expected = QJsonDocument::fromJson(lines.readLine()).object();
            const QString kind = expected.value("kind").toString();
            if (kind == "device") {
                QCOMPARE(reader.name(), expected.value("deviceinfo_name").toString());
                QCOMPARE(tracks.size(), expected.value("ntracks").toInt());
            } else if (kind == "track") {
                QVERIFY(trackIndex < tracks.size());
                compareTrack(*tracks.at(trackIndex++), expected, dataPath("small"));
            } else if (kind == "playlist") {
                compareplaylist(reader, expected);
            }
        }
        QCOMPARE(trackIndex, tracks.size());
    }

private:
    static void compareTrack(const TDBTrack &t, const QJsonObject &e, const QString &mount)
    {
        const auto text = [&](const char *key) { return e.value(key).isNull() ? QString() : e.value(key).toString(); };
        const QString id = QString::number(t.UID());
        const auto same = [&](const QVariant &actual, const QVariant &wanted, const char *key) {
            QVERIFY2(
                actual == wanted,
                qPrintable(QStringLiteral("track %1 %2: %3 != %4").arg(id, key, actual.toString(), wanted.toString())));
        };
        same(t.UID(), e.value("uid").toInt(), "uid");
        for (const char *key : {"title", "artist", "album", "genre", "composer", "comment", "category"})
            same(field(t, key), text(key), key);
        same(t.podcastDescription(), text("description"), "description");
        same(t.rssURL(), text("podcasturl"), "podcasturl");
        same(t.enclosureURL(), text("podcastrss"), "podcastrss");
        same(t.location(), mount + "/" + text("location_path"), "location_path");
        const QList<std::pair<const char *, const char *>> numbers{{"size", "size"},
                                                                   {"length_s", "length"},
                                                                   {"track_nr", "trackNumber"},
                                                                   {"tracks", "totalTracks"},
                                                                   {"year", "year"},
                                                                   {"bitrate", "bitrate"},
                                                                   {"samplerate", "sampleRate"},
                                                                   {"playcount", "playCount"},
                                                                   {"rating", "rating"},
                                                                   {"disc", "discNumber"},
                                                                   {"discs", "totalDiscs"},
                                                                   {"bpm", "BPM"},
                                                                   {"compilation", "compilation"},
                                                                   {"volume", "volume"},
                                                                   {"starttime", "startTime"},
                                                                   {"stoptime", "stopTime"},
                                                                   {"bookmark_time", "bookmarkTime"},
                                                                   {"checked", "checked"},
                                                                   {"artwork_count", "artworkCount"}};
        for (const auto &[key, name] : numbers)
            same(field(t, name).toLongLong(), e.value(key).toInteger(), key);
        same(quint64(t.dbid()), e.value("dbid").toString().toULongLong(), "dbid");
        same(t.isPodcast(), e.value("is_podcast").toInt() == 1, "is_podcast");
        same(t.isVideo(), e.value("is_video").toInt() == 1, "is_video");
        // libgpod turns a stored 0 into Unix 0 ("never"); here it is 1 January 1904, as for any other value.
        const auto date = [&](const char *key) {
            const qint64 unix = e.value(key).toInteger();
            return unix == 0 ? TDBTrack::dateFromMacTime(0) : QDateTime::fromSecsSinceEpoch(unix);
        };
        same(t.dateAdded(), date("time_added"), "time_added");
        same(t.lastPlayedTime(), date("time_played"), "time_played");
        same(t.lastModifiedTime(), date("time_modified"), "time_modified");
        // libgpod reads offset 128 whole; the low half at 130 is 0 for images under 64 KiB.
        same(t.artworkSize(), 0, "artworkSize");
    }

    static void compareplaylist(TDBiPod &reader, const QJsonObject &e)
    {
        if (e.value("hidden_flag").toInt() == 1)
            return;
        const QString name = e.value("name").toString();
        TDBPlaylistPtr found;
        // Kept in a variable: a loop over a temporary optional's value would outlive it.
        const QList<TDBPlaylistPtr> playlists = reader.playlists().value();
        for (const TDBPlaylistPtr &playlist : playlists)
            if (playlist->name() == name)
                found = playlist;
        QVERIFY2(found, qPrintable(name));
        const qint32 type = name == "Podcasts"            ? TDBPlaylist::kTypePodcast
                            : name == "Purchased Music"   ? TDBPlaylist::kTypePurchasedMusic
                            : e.value("is_smart").toInt() ? TDBPlaylist::kTypeSmart
                                                          : TDBPlaylist::kTypePlain;
        QCOMPARE(found->type(), type);
        QList<qint32> wanted;
        for (const QJsonValue &uid : e.value("tracks").toArray())
            wanted << uid.toInt();
        QCOMPARE(uids(found->tracks()), wanted);
    }
};

QTEST_GUILESS_MAIN(TestITunesDB)
#include "tst_itunesdb.moc"
