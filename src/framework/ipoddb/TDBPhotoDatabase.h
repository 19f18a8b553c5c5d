#pragma once

#include "tivaro_export.h"

#include "TDBTrack.h"
#include "TVRPodPhoto.h"
#include "TVRPodPhotoAlbum.h"
#include "TVRPodPhotoItem.h"

#include <QByteArrayView>
#include <QImage>
#include <QList>
#include <QString>

#include <functional>
#include <memory>

// Reads an iPod's photo database ("Photos/Photo Database") and album artwork database
// ("iPod_Control/Artwork/ArtworkDB"): one chunk format, giving photos with their stored images and
// photo albums. Every offset and length is checked; a corrupt chunk stops the walk and keeps what
// was built.
// For Tivaro's programs; plug-ins have no use for it.
class TIVARO_EXPORT TDBPhotoDatabase
{
public:
    explicit TDBPhotoDatabase(const QString &mountPath);

    QString mountPath() const { return m_mountPath; }
    const QList<std::shared_ptr<TVRPodPhoto>> &photos() const { return m_photos; }
    const QList<std::shared_ptr<TVRPodPhotoAlbum>> &photoAlbums() const { return m_photoAlbums; }
    // The first photo whose 64-bit ID equals `ID`; IDs above 2^32 never match.
    std::shared_ptr<TVRPodPhoto> photoWithID(quint32 ID) const;

    // Replace the lists with the photo (or artwork) database's contents; false when the file is
    // missing or empty, which leaves the lists as they were.
    bool readPhotoDatabase();
    bool readArtworkDatabase();
    // Replace the lists with the walk of `data` from its start.
    void parseDatabase(QByteArrayView data);

    // Finds the music track an artwork entry belongs to, by the track's 64-bit dbid.
    using TrackLookup = std::function<TDBTrackPtr(qint64 dbid)>;

    // Diagnostics: read the database, then write the first photo's images (photo<N>.tif, from
    // index 1, plus rotated.tif) or the artwork entry at index 150 (img<N>.tif) as TIFF files into
    // `outputFolder`, the desktop folder when empty. The artwork entry's track is logged when
    // `trackWithDBID` is given. False with a log line when there is no such entry or no file.
    bool loadPhotoDatabase(const QString &outputFolder = {});
    bool loadArtwork(const QString &outputFolder = {}, const TrackLookup &trackWithDBID = {});

    // The pixels of `item` as an image, from `thumbPath` (or the file it names) on the iPod at
    // `mountPath`; a null image with a log line when the file is shorter than the item's offset and
    // size say, is no regular file, or does not lie on the iPod.
    static QImage imageForItem(const TVRPodPhotoItem &item, const QString &mountPath, const QString &thumbPath,
                               bool swapped);
    // The image turned a quarter clockwise, as the photo's portrait form.
    static QImage rotatedImage(const QImage &image);

private:
    enum class Step { Continue, Stop };

    void processPhotoDatabase(QByteArrayView data, qint64 &position);
    Step processChunk(QByteArrayView data, qint64 &position);
    Step processDataObject(QByteArrayView data, qint64 &position, qint32 headerLength);
    Step processImageName(QByteArrayView data, qint64 position);
    void startPhoto(qint64 ID);
    void finishDataSet();
    void startAlbum();
    void finishAlbum();
    bool readDatabase(const QString &relativePath);
    QString outputFolderOr(const QString &outputFolder) const;

    QString m_mountPath;
    QList<std::shared_ptr<TVRPodPhoto>> m_photos;
    QList<std::shared_ptr<TVRPodPhotoAlbum>> m_photoAlbums;
    std::shared_ptr<TVRPodPhotoAlbum> m_currentPhotoAlbum;
    std::shared_ptr<TVRPodPhoto> m_currentPhoto;
    // Kept between parses on purpose: the walk carries the last item of a photo over to the next.
    std::shared_ptr<TVRPodPhotoItem> m_currentPhotoItem;
    qint64 m_maxPosition = 0;
};
