// The iPod's photo and artwork databases as the reader sees them: any bytes. The walk must stop
// cleanly on every input, and the RGB565 decoder must refuse buffers shorter than their size says.
#include "ipoddb/TDBPhotoDatabase.h"
#include "ipoddb/TDBRGB565_p.h"

#include <QByteArray>

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    TDBPhotoDatabase database(QStringLiteral("/media/ipod"));
    database.parseDatabase(bytes);
    for (const std::shared_ptr<TVRPodPhoto> &photo : database.photos()) {
        (void)photo->description();
        (void)photo->getSmallestPhotoItem();
        for (const std::shared_ptr<TVRPodPhotoItem> &item : photo->imageItems())
            (void)item->description();
    }
    for (const std::shared_ptr<TVRPodPhotoAlbum> &album : database.photoAlbums()) {
        if (album->photos().size() > database.photos().size() * 1000 + 1000)
            __builtin_trap();
    }
    if (size >= 2) {
        const int width = data[0] % 64;
        const int height = data[1] % 64;
        const QImage image = TDBRGB565::convertRGB565ToImage(QByteArrayView(bytes).sliced(2), width, height, true);
        if (!image.isNull() && qint64(width) * height * 2 > qint64(size) - 2)
            __builtin_trap();
    }
    return 0;
}
