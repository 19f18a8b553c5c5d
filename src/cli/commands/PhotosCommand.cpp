#include "PhotosCommand.h"

#include "ArgumentParser.h"
#include "Console.h"
#include "ExitCode.h"

#include "ipoddb/TDBPhotoDatabase.h"

#include <QDir>
#include <QImageWriter>
#include <QJsonArray>
#include <QJsonObject>

namespace {

QJsonObject itemToJson(const TVRPodPhotoItem &item)
{
    return QJsonObject{
        {QStringLiteral("thumbPath"), item.thumbPath()},         {QStringLiteral("width"), item.size().width()},
        {QStringLiteral("height"), item.size().height()},        {QStringLiteral("offset"), qint64(item.offset())},
        {QStringLiteral("imageSize"), qint64(item.imageSize())}, {QStringLiteral("bytesSwapped"), item.bytesSwapped()},
    };
}

QJsonObject toJson(const TDBPhotoDatabase &database)
{
    QJsonArray photos;
    for (const std::shared_ptr<TVRPodPhoto> &photo : database.photos()) {
        QJsonArray items;
        for (const std::shared_ptr<TVRPodPhotoItem> &item : photo->imageItems())
            items.append(itemToJson(*item));
        photos.append(QJsonObject{{QStringLiteral("id"), photo->ID()},
                                  {QStringLiteral("name"), photo->name()},
                                  {QStringLiteral("items"), items}});
    }
    QJsonArray albums;
    for (const std::shared_ptr<TVRPodPhotoAlbum> &album : database.photoAlbums()) {
        QJsonArray members;
        for (const std::shared_ptr<TVRPodPhoto> &photo : album->photos())
            members.append(photo->ID());
        albums.append(QJsonObject{{QStringLiteral("name"), album->name()}, {QStringLiteral("photos"), members}});
    }
    return QJsonObject{{QStringLiteral("photos"), photos}, {QStringLiteral("albums"), albums}};
}

void printText(const TDBPhotoDatabase &database, Console &console)
{
    for (const std::shared_ptr<TVRPodPhoto> &photo : database.photos()) {
        console.print(QStringLiteral("photo %1 %2").arg(photo->ID()).arg(photo->name()).trimmed());
        for (const std::shared_ptr<TVRPodPhotoItem> &item : photo->imageItems())
            console.print(QStringLiteral("  ") + item->description() + QLatin1Char(' ') + item->thumbPath());
    }
    for (const std::shared_ptr<TVRPodPhotoAlbum> &album : database.photoAlbums())
        console.print(QStringLiteral("album ") + album->description());
}

// photo<N>-<M>.tif for each stored image; the first item of a photo's list is the one the walk
// carries over from the photo before, so it is left out. Answers the number of files written.
int exportImages(const TDBPhotoDatabase &database, const QDir &folder, Console &console)
{
    int written = 0;
    for (qsizetype p = 0; p < database.photos().size(); ++p) {
        const QList<std::shared_ptr<TVRPodPhotoItem>> &items = database.photos().at(p)->imageItems();
        for (qsizetype i = 1; i < items.size(); ++i) {
            const TVRPodPhotoItem &item = *items.at(i);
            const QImage image =
                TDBPhotoDatabase::imageForItem(item, database.mountPath(), item.thumbPath(), item.bytesSwapped());
            if (image.isNull()) {
                console.warn(QStringLiteral("photo %1, image %2 not exported: its thumbnail file is missing, too short "
                                            "or not a file on the iPod")
                                 .arg(p)
                                 .arg(i));
                continue;
            }
            QImageWriter writer(folder.filePath(QStringLiteral("photo%1-%2.tif").arg(p).arg(i)), "tiff");
            if (writer.write(image))
                ++written;
        }
    }
    return written;
}

} // namespace

int PhotosCommand::run(const QStringList &arguments, Console &console)
{
    ArgumentParser options(*this, QStringLiteral("Prints the photos of the iPod's photo database with their stored "
                                                 "images (size, offset and byte count in hexadecimal, file), then "
                                                 "its albums."));
    const QCommandLineOption ipod(QStringLiteral("ipod"), QStringLiteral("Mount path of the iPod."),
                                  QStringLiteral("PATH"));
    const QCommandLineOption json(QStringLiteral("json"),
                                  QStringLiteral("Print JSON: {\"photos\": [{\"id\", \"name\", \"items\": [...]}], "
                                                 "\"albums\": [{\"name\", \"photos\": [ids]}]}."));
    const QCommandLineOption exportTo(QStringLiteral("export"),
                                      QStringLiteral("Write each photo's images as TIFF files into DIR."),
                                      QStringLiteral("DIR"));
    options.addOption(ipod);
    options.addOption(json);
    options.addOption(exportTo);
    if (const std::optional<int> exit = options.parse(arguments, console))
        return *exit;
    if (!options.parser().isSet(ipod) || !options.parser().positionalArguments().isEmpty())
        return console.fail(QStringLiteral("photos needs --ipod PATH"), ExitCode::Usage);

    TDBPhotoDatabase database(options.parser().value(ipod));
    if (!database.readPhotoDatabase())
        return console.fail(QStringLiteral("no photo database on \"%1\"").arg(database.mountPath()), ExitCode::Failure);
    if (options.parser().isSet(json))
        console.printJson(toJson(database));
    else
        printText(database, console);
    if (options.parser().isSet(exportTo)) {
        const QDir folder(options.parser().value(exportTo));
        if (!folder.mkpath(QStringLiteral(".")))
            return console.fail(QStringLiteral("cannot create \"%1\"").arg(folder.path()), ExitCode::Failure);
        exportImages(database, folder, console);
    }
    return ExitCode::Success;
}
