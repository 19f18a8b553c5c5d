#include "TDBPhotoDatabase.h"

#include "TDBBytes_p.h"
#include "TDBFormat_p.h"
#include "TDBRGB565_p.h"
#include "core/Logging_p.h"
#include "core/Paths.h"
#include "core/VolumeRoot_p.h"

#include <QDir>
#include <QFile>
#include <QImageWriter>
#include <QTransform>

using namespace TDBBytes;
using namespace TDBFormat;

namespace {

// Far above a real photo or artwork database; a larger file (or a device) is not read.
constexpr qint64 kMaximumDatabaseBytes = 256 * 1024 * 1024;

// The image formats the firmware uses, known by their byte count; others keep the record's size.
struct KnownFormat {
    quint32 imageSize;
    int width;
    int height;
    bool bytesSwapped;
};
constexpr KnownFormat kKnownFormats[] = {
    {22880, 130, 88, true},
    {2520, 42, 30, true},
    {77440, 176, 220, false},
    {691200, 720, 480, false},
};

// The end of the fields read from a record's header: a shorter header would have them read from
// the chunks after it.
constexpr struct {
    const char *tag;
    qint32 fieldsEnd;
} kFieldsEnd[] = {
    {Chunk::Image, ImageField::End}, {Chunk::ImageName, ImageNameField::End}, {Chunk::AlbumItem, AlbumItemField::End}};

bool holdsFields(QByteArrayView data, qint64 start, qint32 headerLength)
{
    for (const auto &record : kFieldsEnd) {
        if (hasTag(data, start, record.tag) && headerLength < record.fieldsEnd) {
            qCWarning(lcIPodDb) << "photo database:" << tagAt(data, start) << "header too short at" << start;
            return false;
        }
    }
    return true;
}

void fillItem(TVRPodPhotoItem &item, quint32 offset, quint32 imageSize, qint16 width, qint16 height)
{
    QSizeF size(width, height);
    bool swapped = true;
    for (const KnownFormat &format : kKnownFormats) {
        if (format.imageSize == imageSize) {
            size = QSizeF(format.width, format.height);
            swapped = format.bytesSwapped;
        }
    }
    item.setSize(size);
    item.setBytesSwapped(swapped);
    item.setImageSize(imageSize);
    item.setOffset(offset);
}

// Each byte taken as signed and widened to one UTF-16 unit (0x80 becomes 0xFF80); kept so.
QString widenedBytes(QByteArrayView bytes)
{
    QString text;
    text.reserve(bytes.size());
    for (const char byte : bytes)
        text.append(QChar(char16_t(qint16(qint8(byte)))));
    return text;
}

bool writeTiff(const QImage &image, const QString &path)
{
    QImageWriter writer(path, "tiff");
    writer.setCompression(0);
    if (writer.write(image))
        return true;
    qCWarning(lcIPodDb) << "cannot write" << path << writer.errorString();
    return false;
}

} // namespace

TDBPhotoDatabase::TDBPhotoDatabase(const QString &mountPath)
    : m_mountPath(mountPath)
{}

std::shared_ptr<TVRPodPhoto> TDBPhotoDatabase::photoWithID(quint32 ID) const
{
    for (const std::shared_ptr<TVRPodPhoto> &photo : m_photos) {
        if (photo->ID() == qint64(ID))
            return photo;
    }
    return nullptr;
}

bool TDBPhotoDatabase::readPhotoDatabase()
{
    return readDatabase(QStringLiteral("Photos/Photo Database"));
}

bool TDBPhotoDatabase::readArtworkDatabase()
{
    return readDatabase(QStringLiteral("iPod_Control/Artwork/ArtworkDB"));
}

bool TDBPhotoDatabase::readDatabase(const QString &relativePath)
{
    QString problem;
    const std::unique_ptr<VolumeRoot> volume = VolumeRoot::open(m_mountPath, &problem);
    const QByteArray encoded = QFile::encodeName(relativePath);
    if (!volume || volume->entry(encoded).kind == VolumeRoot::Kind::Missing)
        return false;
    const std::optional<QByteArray> data = volume->readFile(encoded, kMaximumDatabaseBytes, &problem);
    if (!data) {
        qCWarning(lcIPodDb).noquote() << "Not read:" << problem;
        return false;
    }
    if (data->isEmpty())
        return false;
    parseDatabase(*data);
    return true;
}

void TDBPhotoDatabase::parseDatabase(QByteArrayView data)
{
    m_photos.clear();
    m_photoAlbums.clear();
    m_currentPhoto.reset();
    m_currentPhotoAlbum.reset();
    m_maxPosition = data.size();
    qint64 position = 0;
    processPhotoDatabase(data, position);
}

void TDBPhotoDatabase::processPhotoDatabase(QByteArrayView data, qint64 &position)
{
    // A loop rather than one call a chunk, so that a long database cannot exhaust the stack.
    while (processChunk(data, position) == Step::Continue) {
        if (position < m_maxPosition)
            continue;
        if (position > m_maxPosition) {
            qCWarning(lcIPodDb) << "photo database: a chunk runs past the end, at" << position;
            return;
        }
        finishAlbum();
        return;
    }
}

TDBPhotoDatabase::Step TDBPhotoDatabase::processChunk(QByteArrayView data, qint64 &position)
{
    const qint64 start = position;
    const std::optional<qint32> headerLength = readLong(data, start + ChunkField::HeaderLength);
    if (!headerLength || *headerLength < ChunkField::End) {
        qCWarning(lcIPodDb) << "photo database: chunk header too short at" << start;
        return Step::Stop;
    }
    if (hasTag(data, start, Chunk::DataObject))
        return processDataObject(data, position, *headerLength);
    if (!holdsFields(data, start, *headerLength))
        return Step::Stop;
    if (hasTag(data, start, Chunk::Image)) {
        const std::optional<qint64> ID = readLongLong(data, start + ImageField::ID);
        if (!ID)
            return Step::Stop;
        startPhoto(*ID);
    } else if (hasTag(data, start, Chunk::ImageName)) {
        const std::optional<qint32> offset = readLong(data, start + ImageNameField::Offset);
        const std::optional<qint32> imageSize = readLong(data, start + ImageNameField::Size);
        const std::optional<qint16> height = readShort(data, start + ImageNameField::Height);
        const std::optional<qint16> width = readShort(data, start + ImageNameField::Width);
        if (!offset || !imageSize || !height || !width)
            return Step::Stop;
        if (m_currentPhotoItem)
            fillItem(*m_currentPhotoItem, quint32(*offset), quint32(*imageSize), *width, *height);
    } else if (hasTag(data, start, Chunk::AlbumItem)) {
        const std::optional<qint32> ID = readLong(data, start + AlbumItemField::ImageID);
        if (!ID)
            return Step::Stop;
        const std::shared_ptr<TVRPodPhoto> photo = photoWithID(quint32(*ID));
        if (photo && m_currentPhotoAlbum)
            m_currentPhotoAlbum->photos().append(photo);
    } else if (hasTag(data, start, Chunk::DataSet)) {
        finishDataSet();
    } else if (hasTag(data, start, Chunk::Album)) {
        startAlbum();
    } else if (!hasTag(data, start, Chunk::FileHeader) && !hasTag(data, start, Chunk::ImageList) &&
               !hasTag(data, start, Chunk::AlbumList) && !hasTag(data, start, Chunk::FileList) &&
               !hasTag(data, start, Chunk::File)) {
        qCWarning(lcIPodDb, "position: %lld (%llX)", start, start);
        return Step::Stop;
    }
    position = start + *headerLength;
    return Step::Continue;
}

TDBPhotoDatabase::Step TDBPhotoDatabase::processDataObject(QByteArrayView data, qint64 &position, qint32 headerLength)
{
    const qint64 start = position;
    const std::optional<qint32> totalLength = readLong(data, start + ChunkField::TotalLength);
    const std::optional<qint16> type = readShort(data, start + PhotoDataObjectField::Type);
    if (!totalLength || !type)
        return Step::Stop;
    if (*type == PhotoDataObjectType::Name || *type == PhotoDataObjectType::ThumbnailName) {
        if (*totalLength < PhotoDataObjectField::End || processImageName(data, start) == Step::Stop)
            return Step::Stop;
        position = start + *totalLength;
        return Step::Continue;
    }
    if (*type == PhotoDataObjectType::Container && *totalLength == PhotoEmptyContainerLength) {
        position = start + PhotoEmptyContainerLength;
        return Step::Continue;
    }
    if (*type == PhotoDataObjectType::Container) {
        if (m_currentPhotoItem && m_currentPhoto)
            m_currentPhoto->imageItems().append(m_currentPhotoItem);
        m_currentPhotoItem = std::make_shared<TVRPodPhotoItem>();
    }
    position = start + headerLength;
    return Step::Continue;
}

// A name (8-bit) or a thumbnail file name (UTF-16): the string ends where the chunk's padding begins.
TDBPhotoDatabase::Step TDBPhotoDatabase::processImageName(QByteArrayView data, qint64 start)
{
    const std::optional<qint32> totalLength = readLong(data, start + ChunkField::TotalLength);
    const std::optional<qint16> type = readShort(data, start + PhotoDataObjectField::Type);
    const std::optional<qint16> padding = readShort(data, start + PhotoDataObjectField::Padding);
    const std::optional<qint32> length = readLong(data, start + PhotoDataObjectField::StringLength);
    if (!totalLength || !type || !padding || !length || *length < 0)
        return Step::Stop;
    const qint64 stringStart = start + *totalLength - *length - *padding;
    if (stringStart < 0 || stringStart > data.size() || *length > data.size() - stringStart) {
        qCWarning(lcIPodDb) << "photo database: string runs past the end, at" << start;
        return Step::Stop;
    }
    if (*type == PhotoDataObjectType::Name) {
        const QString name = widenedBytes(data.sliced(stringStart, *length));
        if (m_currentPhoto)
            m_currentPhoto->setName(name);
        else if (m_currentPhotoAlbum)
            m_currentPhotoAlbum->setName(name);
        return Step::Continue;
    }
    const std::optional<QString> fileName = readUtf16(data, stringStart, *length / 2);
    if (!fileName)
        return Step::Stop;
    if (m_currentPhotoItem) {
        QString component = *fileName;
        component.replace(QLatin1Char(':'), QLatin1Char('/'));
        // ":..:..:secret" would name a file off the iPod: such an item has no file to read.
        if (component.split(QLatin1Char('/')).contains(QStringLiteral("..")))
            qCWarning(lcIPodDb) << "thumbnail name" << *fileName << "leaves the iPod; it is not read";
        else
            m_currentPhotoItem->setThumbPath(QDir::cleanPath(m_mountPath + QStringLiteral("/Photos/") + component));
    }
    return Step::Continue;
}

void TDBPhotoDatabase::startPhoto(qint64 ID)
{
    // The pending item stays pending: the next container adds it once more, as the new photo's first.
    if (m_currentPhotoItem && m_currentPhoto)
        m_currentPhoto->imageItems().append(m_currentPhotoItem);
    if (m_currentPhoto)
        m_photos.append(m_currentPhoto);
    m_currentPhoto = std::make_shared<TVRPodPhoto>();
    m_currentPhoto->setID(ID);
}

void TDBPhotoDatabase::finishDataSet()
{
    if (m_currentPhotoItem && m_currentPhoto) {
        m_currentPhoto->imageItems().append(m_currentPhotoItem);
        m_photos.append(m_currentPhoto);
    }
    m_currentPhotoItem.reset();
    m_currentPhoto.reset();
}

void TDBPhotoDatabase::startAlbum()
{
    if (m_currentPhotoAlbum)
        m_photoAlbums.append(m_currentPhotoAlbum);
    m_currentPhotoAlbum = std::make_shared<TVRPodPhotoAlbum>();
}

void TDBPhotoDatabase::finishAlbum()
{
    if (m_currentPhotoAlbum)
        m_photoAlbums.append(m_currentPhotoAlbum);
    m_currentPhotoAlbum.reset();
}

QImage TDBPhotoDatabase::imageForItem(const TVRPodPhotoItem &item, const QString &mountPath, const QString &thumbPath,
                                      bool swapped)
{
    // Read through the iPod's root, never through a link: a thumbnail file must lie on the iPod.
    const std::unique_ptr<VolumeRoot> volume = VolumeRoot::open(mountPath);
    const std::optional<QByteArray> relative = volume ? volume->relativePath(thumbPath) : std::nullopt;
    QString problem;
    const std::optional<QByteArray> pixels =
        relative && !relative->isEmpty() ? volume->readRange(*relative, item.offset(), item.imageSize(), &problem)
                                         : std::nullopt;
    if (!pixels) {
        qCWarning(lcIPodDb) << "thumbnail file" << thumbPath << "does not hold" << item.imageSize() << "bytes at"
                            << item.offset() << "of the iPod at" << mountPath << problem;
        return QImage();
    }
    const QImage image =
        TDBRGB565::convertRGB565ToImage(*pixels, int(item.size().width()), int(item.size().height()), swapped);
    if (image.isNull())
        qCWarning(lcIPodDb) << "thumbnail" << item.description() << "holds too few pixels for its size";
    return image;
}

QImage TDBPhotoDatabase::rotatedImage(const QImage &image)
{
    // A quarter turn clockwise on screen: width and height trade places.
    return image.transformed(QTransform().rotate(90));
}

QString TDBPhotoDatabase::outputFolderOr(const QString &outputFolder) const
{
    return outputFolder.isEmpty() ? Paths::desktopFolder() : outputFolder;
}

bool TDBPhotoDatabase::loadPhotoDatabase(const QString &outputFolder)
{
    if (!readPhotoDatabase())
        return false;
    qCInfo(lcIPodDb, "photos: %lld", qint64(m_photos.size()));
    if (m_photos.isEmpty()) {
        qCWarning(lcIPodDb) << "the photo database holds no photos";
        return false;
    }
    const QDir folder(outputFolderOr(outputFolder));
    const QList<std::shared_ptr<TVRPodPhotoItem>> &items = m_photos.constFirst()->imageItems();
    // Index 0 is the item carried over by the walk.
    for (qsizetype index = 1; index < items.size(); ++index) {
        const TVRPodPhotoItem &item = *items.at(index);
        qCInfo(lcIPodDb) << "photoItem:" << item.description();
        const QImage image = imageForItem(item, m_mountPath, item.thumbPath(), item.bytesSwapped());
        if (image.isNull())
            continue;
        writeTiff(image, folder.filePath(QStringLiteral("photo%1.tif").arg(index)));
        if (index == 1)
            writeTiff(rotatedImage(image), folder.filePath(QStringLiteral("rotated.tif")));
    }
    return true;
}

bool TDBPhotoDatabase::loadArtwork(const QString &outputFolder, const TrackLookup &trackWithDBID)
{
    // The fixed entry the diagnostic looks at.
    constexpr qsizetype kEntry = 150;
    if (!readArtworkDatabase() || m_photos.isEmpty())
        return false;
    qCInfo(lcIPodDb, "photos count: %lld", qint64(m_photos.size()));
    if (m_photos.size() <= kEntry) {
        qCWarning(lcIPodDb, "the artwork database holds %lld entries, fewer than %lld", qint64(m_photos.size()),
                  qint64(kEntry + 1));
        return false;
    }
    const TVRPodPhoto &photo = *m_photos.at(kEntry);
    qCInfo(lcIPodDb) << "photo:" << photo.description();
    if (trackWithDBID) {
        const TDBTrackPtr track = trackWithDBID(photo.ID());
        qCInfo(lcIPodDb) << "track:" << (track ? track->description() : QStringLiteral("(none)"));
    }
    const QDir folder(outputFolderOr(outputFolder));
    for (qsizetype index = 0; index < photo.imageItems().size(); ++index) {
        const TVRPodPhotoItem &item = *photo.imageItems().at(index);
        qCInfo(lcIPodDb) << "photoItem:" << item.description();
        // The artwork's thumbnails lie in iPod_Control/Artwork where the photos' lie in Photos.
        const QString photos = QDir::cleanPath(m_mountPath) + QStringLiteral("/Photos/");
        QString path = item.thumbPath();
        if (path.startsWith(photos))
            path = QDir::cleanPath(m_mountPath) + QStringLiteral("/iPod_Control/Artwork/") + path.mid(photos.size());
        const QImage image = imageForItem(item, m_mountPath, path, true);
        if (!image.isNull())
            writeTiff(image, folder.filePath(QStringLiteral("img%1.tif").arg(index)));
    }
    return true;
}
