#include "ITunesDBBuilder.h"
#include "PhotoDBBuilder.h"

#include "ipoddb/TDBFormat_p.h"
#include "ipoddb/TDBPhotoDatabase.h"
#include "ipoddb/TDBRGB565_p.h"
#include "ipoddb/TDBiPod_p.h"

#include <QDir>
#include <QFile>
#include <QImageReader>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QtTest>

using namespace PhotoDBBuilder;
using namespace TDBFormat;

namespace {

// "ID name [item item ...]" for every photo, then "album: name [IDs]"; an item is WxH, with "s"
// when its bytes are swapped, "@offset" and its file name.
QString itemText(const TVRPodPhotoItem &item)
{
    return QStringLiteral("%1x%2%3@%4:%5")
        .arg(item.size().width())
        .arg(item.size().height())
        .arg(item.bytesSwapped() ? QStringLiteral("s") : QString())
        .arg(item.offset())
        .arg(QFileInfo(item.thumbPath()).fileName());
}

QString summary(const TDBPhotoDatabase &database)
{
    QStringList lines;
    for (const std::shared_ptr<TVRPodPhoto> &photo : database.photos()) {
        QStringList items;
        for (const std::shared_ptr<TVRPodPhotoItem> &item : photo->imageItems())
            items << itemText(*item);
        lines << QStringLiteral("%1 %2 [%3]").arg(photo->ID()).arg(photo->name(), items.join(QLatin1Char(' ')));
    }
    for (const std::shared_ptr<TVRPodPhotoAlbum> &album : database.photoAlbums()) {
        QStringList IDs;
        for (const std::shared_ptr<TVRPodPhoto> &photo : album->photos())
            IDs << QString::number(photo->ID());
        lines << QStringLiteral("album: %1 [%2]").arg(album->name(), IDs.join(QLatin1Char(' ')));
    }
    return lines.join(QLatin1Char('\n'));
}

// A photo is kept only when the next data set begins, hence the empty one after the images.
QByteArray photoDataSet(const QByteArray &images)
{
    return dataSet(PhotoDataSetType::Images, imageList(0, images)) + dataSet(PhotoDataSetType::Files, {});
}

// Two photos, the first of two images and named, in one album with an unknown entry.
QByteArray twoPhotos()
{
    return fileHeader(
        photoDataSet(image(7, name("Beach") + storedImage(QStringLiteral(":Thumbs:F1.ithmb"), 0, 22880, 1, 2) +
                                  storedImage(QStringLiteral(":Thumbs:F2.ithmb"), 16, 2520, 42, 30)) +
                     image(8, storedImage(QStringLiteral(":Thumbs:F3.ithmb"), 32, 77440, 5, 5))) +
        dataSet(PhotoDataSetType::Albums,
                albumList(1, album(name("Trip") + albumItem(8) + albumItem(99) + albumItem(7)))));
}

QString twoPhotosSummary()
{
    return QStringLiteral("7 Beach [130x88s@0:F1.ithmb 42x30s@16:F2.ithmb]\n"
                          "8  [42x30s@16:F2.ithmb 176x220@32:F3.ithmb]\n"
                          "album: Trip [8 7]");
}

QByteArray withLong(QByteArray bytes, qsizetype offset, qint32 value)
{
    putLong(bytes, offset, value);
    return bytes;
}

QByteArray writeFile(const QString &path, const QByteArray &bytes)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    if (file.open(QIODevice::WriteOnly))
        file.write(bytes);
    return bytes;
}

// RGB565 little-endian words, one a pixel.
QByteArray pixels(std::initializer_list<quint16> words)
{
    QByteArray bytes;
    for (const quint16 word : words) {
        bytes.append(char(word & 0xFF));
        bytes.append(char(word >> 8));
    }
    return bytes;
}

QJsonObject jsonLine(const QByteArray &line)
{
    return QJsonDocument::fromJson(line).object();
}

} // namespace

class PhotoDBTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void walk_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("expected");
        const QByteArray good = twoPhotos();
        QTest::newRow("carry-over, size table, albums") << good << twoPhotosSummary();
        QTest::newRow("other sizes keep the record's, swapped")
            << fileHeader(photoDataSet(image(1, storedImage(QStringLiteral(":a"), 4, 4100, 50, 39))))
            << "1  [50x39s@4:a]";
        QTest::newRow("empty container makes no item")
            << fileHeader(photoDataSet(image(1, emptyContainer() + imageName(0, 2520, 1, 1)))) << "";
        QTest::newRow("names widen each signed byte")
            << fileHeader(dataSet(PhotoDataSetType::Albums, albumList(1, album(name("\xE9t\x80")))))
            << QStringLiteral("album: \uFFE9t\uFF80 []");
        QTest::newRow("IDs above 2^32 are not found")
            << fileHeader(photoDataSet(image(0x100000007LL, storedImage(QStringLiteral(":a"), 0, 2520, 0, 0))) +
                          dataSet(PhotoDataSetType::Albums, albumList(1, album(albumItem(7)))))
            << "4294967303  [42x30s@0:a]\nalbum:  []";
        QTest::newRow("unknown tag stops, pending album dropped")
            << fileHeader(dataSet(PhotoDataSetType::Albums,
                                  albumList(1, album(name("A")) + album(name("B")) + chunk("mhzz", ChunkField::End))))
            << "album: A []";
        QTest::newRow("a photo without items is not kept at the data set's end")
            << fileHeader(photoDataSet(image(1, {})) + dataSet(PhotoDataSetType::Albums, {})) << "";
        // Corrupt input: the walk stops cleanly and keeps what it built.
        QTest::newRow("empty") << QByteArray() << "";
        QTest::newRow("truncated in the albums")
            << good.left(good.size() - 20) << twoPhotosSummary().section(QLatin1Char('\n'), 0, 1);
        const qsizetype firstImage =
            PhotoHeaderLength::FileHeader + PhotoHeaderLength::DataSet + PhotoHeaderLength::ImageList;
        QTest::newRow("truncated in a header") << good.left(firstImage + 30) << "";
        QTest::newRow("header length 0") << withLong(good, ChunkField::HeaderLength, 0) << "";
        QTest::newRow("header shorter than a header") << withLong(good, ChunkField::HeaderLength, 8) << "";
        QTest::newRow("header length past the end") << withLong(good, ChunkField::HeaderLength, 0x7FFFFFFF) << "";
        QTest::newRow("negative header length") << withLong(good, ChunkField::HeaderLength, -4) << "";
        QTest::newRow("counts of two billion")
            << fileHeader(dataSet(PhotoDataSetType::Images,
                                  imageList(2000000000, image(3, storedImage(QStringLiteral(":a"), 0, 2520, 0, 0)))) +
                          albumList(2000000000, {}) + dataSet(PhotoDataSetType::Albums, {}))
            << "3  [42x30s@0:a]";
        const QByteArray loopBody = image(1, storedImage(QStringLiteral(":a"), 0, 2520, 0, 0));
        const qsizetype nameAt =
            firstImage + PhotoHeaderLength::Image + PhotoHeaderLength::DataObject + PhotoHeaderLength::ImageName;
        QTest::newRow("string object that would not advance")
            << withLong(fileHeader(photoDataSet(loopBody)), nameAt + ChunkField::TotalLength, 0) << "";
        QTest::newRow("string length past the end")
            << withLong(fileHeader(photoDataSet(loopBody)), nameAt + ChunkField::TotalLength, 0x7FFFFF00) << "";
        QTest::newRow("string before the chunk")
            << withLong(fileHeader(photoDataSet(loopBody)), nameAt + PhotoDataObjectField::StringLength, 0x70000000)
            << "";
        QTest::newRow("image record cut short")
            << fileHeader(photoDataSet(image(1, container(chunk(Chunk::ImageName, ChunkField::End))) + image(2, {})))
            << "";
        // A header that holds half of the 64-bit ID.
        QTest::newRow("photo record cut short")
            << fileHeader(photoDataSet(image(1, storedImage(QStringLiteral(":a"), 0, 2520, 0, 0)) +
                                       chunk(Chunk::Image, ImageField::ID + 4)))
            << "";
        QTest::newRow("album entry cut short")
            << fileHeader(dataSet(PhotoDataSetType::Albums,
                                  albumList(1, album(chunk(Chunk::AlbumItem, AlbumItemField::ImageID) + albumItem(0)))))
            << "";
    }

    void walk()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, expected);
        TDBPhotoDatabase database(QStringLiteral("/media/ipod"));
        database.parseDatabase(bytes);
        QCOMPARE(summary(database), expected);
    }

    void thumbPathsLieUnderPhotos()
    {
        TDBPhotoDatabase database(QStringLiteral("/media/ipod"));
        database.parseDatabase(twoPhotos());
        QCOMPARE(database.photos().constFirst()->imageItems().constFirst()->thumbPath(),
                 QStringLiteral("/media/ipod/Photos/Thumbs/F1.ithmb"));
    }

    // A thumbnail name that climbs out of Photos, or a thumbnail file that is a link off the iPod, is
    // never read.
    void thumbnailsStayOnTheiPod()
    {
        QTemporaryDir root;
        QTemporaryDir outside;
        const QByteArray secretPixels = QByteArray(4, 0) + pixels({0xF800}) + QByteArray(2518, 0);
        writeFile(outside.filePath(QStringLiteral("secret")), secretPixels);
        QVERIFY(QDir().mkpath(root.filePath(QStringLiteral("Photos/Thumbs"))));
        QVERIFY(QFile::link(outside.filePath(QStringLiteral("secret")),
                            root.filePath(QStringLiteral("Photos/Thumbs/F2.ithmb"))));
        const QString climbing =
            QStringLiteral(":..:..:") + QDir(root.path()).relativeFilePath(outside.filePath("secret"));

        TDBPhotoDatabase database(root.path());
        database.parseDatabase(
            fileHeader(photoDataSet(image(7, storedImage(climbing, 4, 2520, 42, 30) +
                                                 storedImage(QStringLiteral(":Thumbs:F2.ithmb"), 4, 2520, 42, 30)))));
        const QList<std::shared_ptr<TVRPodPhotoItem>> &items = database.photos().constFirst()->imageItems();
        QCOMPARE(items.size(), 2);
        QCOMPARE(items.at(0)->thumbPath(), QString());
        QCOMPARE(items.at(1)->thumbPath(), root.filePath(QStringLiteral("Photos/Thumbs/F2.ithmb")));
        for (const std::shared_ptr<TVRPodPhotoItem> &item : items)
            QVERIFY(TDBPhotoDatabase::imageForItem(*item, root.path(), item->thumbPath(), true).isNull());
        // The file itself, outside the iPod, is not read through a path that leaves it either.
        QVERIFY(TDBPhotoDatabase::imageForItem(*items.at(1), root.path(), outside.filePath("secret"), true).isNull());
    }

    void descriptions()
    {
        TDBPhotoDatabase database(QStringLiteral("/media/ipod"));
        database.parseDatabase(twoPhotos());
        QCOMPARE(database.photos().constFirst()->description(), QStringLiteral("name: Beach; items: 2;"));
        QCOMPARE(database.photos().constFirst()->imageItems().at(1)->description(),
                 QStringLiteral("size: {42, 30}; offset: 10; imageSize: 9D8"));
        QCOMPARE(database.photoAlbums().constFirst()->description(), QStringLiteral("Trip (2 photos)"));
    }

    void smallestItem_data()
    {
        QTest::addColumn<QList<QSizeF>>("sizes");
        QTest::addColumn<int>("expected");
        QTest::newRow("smallest") << QList<QSizeF>{{130, 88}, {42, 30}, {176, 220}} << 1;
        QTest::newRow("tie keeps the first") << QList<QSizeF>{{10, 10}, {20, 5}} << 0;
        QTest::newRow("a million pixels or more: none") << QList<QSizeF>{{1000, 1000}, {2000, 600}} << -1;
        QTest::newRow("fractions truncate") << QList<QSizeF>{{999.5, 1000.4}, {1000, 1000}} << 0;
    }

    void smallestItem()
    {
        QFETCH(QList<QSizeF>, sizes);
        QFETCH(int, expected);
        TVRPodPhoto photo;
        for (const QSizeF size : sizes) {
            auto item = std::make_shared<TVRPodPhotoItem>();
            item->setSize(size);
            photo.imageItems().append(item);
        }
        const std::shared_ptr<TVRPodPhotoItem> smallest = photo.getSmallestPhotoItem();
        QCOMPARE(smallest ? int(photo.imageItems().indexOf(smallest)) : -1, expected);
    }

    void rgb565_data()
    {
        QTest::addColumn<int>("pixel");
        QTest::addColumn<uint>("rgba");
        QTest::newRow("red") << 0xF800 << 0xF80000FFu;
        QTest::newRow("green") << 0x07E0 << 0x00FC00FFu;
        QTest::newRow("blue") << 0x001F << 0x0000F8FFu;
        QTest::newRow("white") << 0xFFFF << 0xF8FCF8FFu;
        QTest::newRow("black") << 0x0000 << 0x000000FFu;
    }

    void rgb565()
    {
        QFETCH(int, pixel);
        QFETCH(uint, rgba);
        QCOMPARE(TDBRGB565::rgb565ToRgba(quint16(pixel), true), rgba);
        // On a little-endian host both settings read the same bytes.
        QCOMPARE(TDBRGB565::rgb565ToRgba(quint16(pixel), false), rgba);
        const QImage image = TDBRGB565::convertRGB565ToImage(pixels({0, quint16(pixel)}), 2, 1, true);
        QCOMPARE(image.pixel(1, 0), qRgba(int(rgba >> 24), int(rgba >> 16) & 0xFF, int(rgba >> 8) & 0xFF, 0xFF));
    }

    void rgb565RejectsShortBuffers_data()
    {
        QTest::addColumn<int>("bytes");
        QTest::addColumn<int>("width");
        QTest::addColumn<int>("height");
        QTest::newRow("one byte short") << 7 << 2 << 2;
        QTest::newRow("negative width") << 8 << -2 << 2;
        QTest::newRow("huge") << 8 << 32767 << 32767;
    }

    void rgb565RejectsShortBuffers()
    {
        QFETCH(int, bytes);
        QFETCH(int, width);
        QFETCH(int, height);
        QVERIFY(TDBRGB565::convertRGB565ToImage(QByteArray(bytes, '\0'), width, height, true).isNull());
    }

    void thumbnails_data()
    {
        QTest::addColumn<int>("fileSize");
        QTest::addColumn<bool>("decoded");
        QTest::newRow("whole") << 4 + 2520 << true;
        QTest::newRow("shorter than offset + size") << 4 + 2519 << false;
        QTest::newRow("shorter than the offset") << 2 << false;
    }

    void thumbnails()
    {
        QFETCH(int, fileSize);
        QFETCH(bool, decoded);
        QTemporaryDir folder;
        const QString path = folder.filePath(QStringLiteral("F.ithmb"));
        writeFile(path, QByteArray(QByteArray(4, 0) + pixels({0xF800}) + QByteArray(2518, 0)).left(fileSize));
        TVRPodPhotoItem item;
        item.setOffset(4);
        item.setImageSize(2520);
        item.setSize(QSizeF(42, 30));
        if (decoded)
            QVERIFY(TDBPhotoDatabase::imageForItem(item, folder.path(), path, true).pixel(0, 0) == qRgb(0xF8, 0, 0));
        else
            QVERIFY(TDBPhotoDatabase::imageForItem(item, folder.path(), path, true).isNull());
    }

    void diagnosticPhotoLoaderWritesTiffs()
    {
        QTemporaryDir ipod;
        QTemporaryDir output;
        // 2 × 1 pixels: red then blue.
        writeFile(ipod.filePath(QStringLiteral("Photos/Thumbs/F.ithmb")), pixels({0xF800, 0x001F}));
        writeFile(ipod.filePath(QStringLiteral("Photos/Photo Database")),
                  fileHeader(photoDataSet(image(1, storedImage(QStringLiteral(":Thumbs:F.ithmb"), 0, 4, 1, 1) +
                                                       storedImage(QStringLiteral(":Thumbs:F.ithmb"), 0, 4, 2, 1)))));
        TDBPhotoDatabase database(ipod.path());
        QVERIFY(database.loadPhotoDatabase(output.path()));
        const QImage photo(output.filePath(QStringLiteral("photo1.tif")));
        QCOMPARE(photo.size(), QSize(2, 1));
        QCOMPARE(photo.pixel(1, 0), qRgb(0, 0, 0xF8));
        const QImage rotated(output.filePath(QStringLiteral("rotated.tif")));
        QCOMPARE(rotated.size(), QSize(1, 2));
        // A clockwise quarter turn puts the left pixel on top.
        QCOMPARE(rotated.pixel(0, 0), qRgb(0xF8, 0, 0));
    }

    void diagnosticLoadersRefuseSmallDatabases_data()
    {
        QTest::addColumn<bool>("artwork");
        QTest::addColumn<int>("photos");
        QTest::addColumn<bool>("loaded");
        QTest::newRow("photos: none") << false << 0 << false;
        QTest::newRow("artwork: none") << true << 0 << false;
        QTest::newRow("artwork: 150") << true << 150 << false;
        QTest::newRow("artwork: 152") << true << 152 << true;
    }

    void diagnosticLoadersRefuseSmallDatabases()
    {
        QFETCH(bool, artwork);
        QFETCH(int, photos);
        QFETCH(bool, loaded);
        QTemporaryDir ipod;
        QTemporaryDir output;
        QByteArray images;
        for (int ID = 0; ID < photos; ++ID)
            images += image(ID, storedImage(QStringLiteral(":F.ithmb"), 0, 4, 2, 1));
        writeFile(ipod.filePath(artwork ? QStringLiteral("iPod_Control/Artwork/ArtworkDB")
                                        : QStringLiteral("Photos/Photo Database")),
                  fileHeader(photoDataSet(images)));
        writeFile(ipod.filePath(QStringLiteral("iPod_Control/Artwork/F.ithmb")), pixels({0xF800, 0x001F}));
        TDBPhotoDatabase database(ipod.path());
        QCOMPARE(artwork ? database.loadArtwork(output.path()) : database.loadPhotoDatabase(output.path()), loaded);
        QCOMPARE(QFileInfo::exists(output.filePath(QStringLiteral("img0.tif"))), loaded);
    }

    // Artwork entries carry the dbid of their track; the diagnostic names the track of its entry.
    void artworkDiagnosticNamesTheTrack()
    {
        constexpr qint64 dbid = 0x1122334455667788;
        QTemporaryDir ipod;
        QTemporaryDir output;
        QByteArray header = ITunesDBBuilder::trackHeader(42);
        ITunesDBBuilder::putLongLong(header, TrackField::Dbid, dbid);
        const QByteArray title = ITunesDBBuilder::mhodString(DataObjectType::Title, "Song");
        writeFile(ipod.filePath(QStringLiteral("iPod_Control/iTunes/iTunesDB")),
                  ITunesDBBuilder::database({ITunesDBBuilder::mhit(header, {title})}, {}));
        QByteArray images;
        for (int entry = 0; entry < 152; ++entry)
            images += image(entry == 150 ? dbid : entry, storedImage(QStringLiteral(":F.ithmb"), 0, 4, 2, 1));
        writeFile(ipod.filePath(QStringLiteral("iPod_Control/Artwork/ArtworkDB")), fileHeader(photoDataSet(images)));
        writeFile(ipod.filePath(QStringLiteral("iPod_Control/Artwork/F.ithmb")), pixels({0xF800, 0x001F}));
        TDBiPod iPod(ipod.path());
        // In order; the entry holds the item carried over from the entry before and its own.
        for (const char *line : {"^photos count: 152$", "^photo: ", "^track: .*Song", "^photoItem: ", "^photoItem: "})
            QTest::ignoreMessage(QtInfoMsg, QRegularExpression(QString::fromLatin1(line)));
        QVERIFY(iPod.loadArtwork(output.path()));
    }

    void missingDatabaseKeepsLists()
    {
        TDBPhotoDatabase database(QStringLiteral("/nonexistent"));
        QVERIFY(!database.readPhotoDatabase());
        QVERIFY(!database.readArtworkDatabase());
        QVERIFY(database.photos().isEmpty());
    }

    // libgpod wrote the tree; the JSON is its own reading. Where it reads differently our rules hold:
    // photo IDs are libgpod's dbid, album entries name image ids, album names are widened bytes.
    void agreesWithLibgpod()
    {
        const QString root = QStringLiteral(TIVARO_PHOTO_DATA);
        QFile json(root + QStringLiteral("/small.libgpod.jsonl"));
        QVERIFY(json.open(QIODevice::ReadOnly));
        QList<QJsonObject> photos;
        QList<QJsonObject> albums;
        for (const QByteArray &line : json.readAll().split('\n')) {
            const QJsonObject object = jsonLine(line);
            if (object.value(QStringLiteral("kind")) == QStringLiteral("photo"))
                photos << object;
            else if (object.value(QStringLiteral("kind")) == QStringLiteral("photoalbum"))
                albums << object;
        }
        // Read as plug-ins reach it, through the iPod's database reader.
        TDBiPod iPod(root);
        TDBPhotoDatabase &database = iPod.photoDatabase();
        QVERIFY(database.readPhotoDatabase());
        QCOMPARE(iPod.photos().size(), photos.size());
        for (qsizetype index = 0; index < photos.size(); ++index) {
            const TVRPodPhoto &photo = *database.photos().at(index);
            QCOMPARE(photo.ID(), photos.at(index).value(QStringLiteral("dbid")).toString().toLongLong());
            const QJsonArray thumbs = photos.at(index).value(QStringLiteral("thumbs")).toArray();
            // After the first photo, the first item is the one carried over.
            const qsizetype carried = index == 0 ? 0 : 1;
            QCOMPARE(photo.imageItems().size(), thumbs.size() + carried);
            if (carried)
                QCOMPARE(photo.imageItems().constFirst(), database.photos().at(index - 1)->imageItems().constLast());
            for (qsizetype t = 0; t < thumbs.size(); ++t)
                checkItem(*photo.imageItems().at(t + carried), thumbs.at(t).toObject(), root);
        }
        QCOMPARE(database.photoAlbums().size(), albums.size());
        for (qsizetype index = 0; index < albums.size(); ++index) {
            const TVRPodPhotoAlbum &album = *database.photoAlbums().at(index);
            QString widened;
            for (const char byte : albums.at(index).value(QStringLiteral("name")).toString().toUtf8())
                widened.append(QChar(char16_t(qint16(qint8(byte)))));
            QCOMPARE(album.name(), widened);
            QList<qint64> expected;
            for (const QJsonValue member : albums.at(index).value(QStringLiteral("photos")).toArray()) {
                for (const QJsonObject &photo : photos) {
                    if (photo.value(QStringLiteral("dbid")).toString().toLongLong() == member.toInteger())
                        expected << member.toInteger();
                }
            }
            QList<qint64> found;
            for (const std::shared_ptr<TVRPodPhoto> &photo : album.photos())
                found << photo->ID();
            QCOMPARE(found, expected);
        }
    }

    void corpusThumbnailsDecode()
    {
        TDBPhotoDatabase database(QStringLiteral(TIVARO_PHOTO_DATA));
        QVERIFY(database.readPhotoDatabase());
        // The 130 × 88 and 50 × 39 images of every photo are in the copied thumbnail files.
        for (const std::shared_ptr<TVRPodPhoto> &photo : database.photos()) {
            for (const std::shared_ptr<TVRPodPhotoItem> &item : photo->imageItems()) {
                if (!QFileInfo::exists(item->thumbPath()))
                    continue;
                const QImage image = TDBPhotoDatabase::imageForItem(*item, database.mountPath(), item->thumbPath(),
                                                                    item->bytesSwapped());
                QCOMPARE(image.size(), item->size().toSize());
            }
        }
    }

    void artworkCorpus()
    {
        TDBPhotoDatabase database(QStringLiteral(TIVARO_PHOTO_DATA));
        QVERIFY(database.readArtworkDatabase());
        // Each entry carries the 64-bit dbid of its track, read signed.
        QFile json(QStringLiteral(TIVARO_PHOTO_DATA "/small.libgpod.jsonl"));
        QVERIFY(json.open(QIODevice::ReadOnly));
        QList<qint64> dbids;
        for (const QByteArray &line : json.readAll().split('\n')) {
            const QJsonObject object = jsonLine(line);
            if (object.value(QStringLiteral("kind")) == QStringLiteral("track"))
                dbids << qint64(object.value(QStringLiteral("dbid")).toString().toULongLong());
        }
        QList<qint64> IDs;
        for (const std::shared_ptr<TVRPodPhoto> &photo : database.photos())
            IDs << photo->ID();
        std::sort(dbids.begin(), dbids.end());
        std::sort(IDs.begin(), IDs.end());
        QCOMPARE(IDs, dbids);
        QCOMPARE(dbids.size(), 5);
        // Fewer than 151 entries: the diagnostic refuses.
        QVERIFY(!database.loadArtwork(QDir::tempPath()));
    }

private:
    static void checkItem(const TVRPodPhotoItem &item, const QJsonObject &thumb, const QString &root)
    {
        QCOMPARE(item.thumbPath(), root + QLatin1Char('/') + thumb.value(QStringLiteral("path")).toString());
        QCOMPARE(qint64(item.offset()), thumb.value(QStringLiteral("offset")).toInteger());
        const qint64 imageSize = thumb.value(QStringLiteral("size")).toInteger();
        QCOMPARE(qint64(item.imageSize()), imageSize);
        const QSizeF recorded(thumb.value(QStringLiteral("width")).toInt(),
                              thumb.value(QStringLiteral("height")).toInt());
        const QHash<qint64, QSizeF> table{
            {22880, {130, 88}}, {2520, {42, 30}}, {77440, {176, 220}}, {691200, {720, 480}}};
        QCOMPARE(item.size(), table.value(imageSize, recorded));
        QCOMPARE(item.bytesSwapped(), imageSize != 77440 && imageSize != 691200);
    }
};

QTEST_GUILESS_MAIN(PhotoDBTest)
#include "tst_photodb.moc"
