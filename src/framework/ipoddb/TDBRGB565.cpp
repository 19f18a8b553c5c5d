#include "TDBRGB565_p.h"

#include <QtEndian>

#include <cstring>

namespace TDBRGB565 {

quint32 rgb565ToRgba(quint16 pixel, bool swapped)
{
    const quint32 v = swapped ? qFromLittleEndian(pixel) : pixel;
    return ((v >> 11) << 27) | ((v & 0x07E0) << 13) | ((v & 0x001F) << 11) | 0xFF;
}

QImage convertRGB565ToImage(QByteArrayView pixels, int width, int height, bool swapped)
{
    if (width <= 0 || height <= 0 || qint64(width) * height * 2 > pixels.size())
        return QImage();
    QImage image(width, height, QImage::Format_RGBA8888);
    if (image.isNull())
        return image;
    const char *source = pixels.data();
    for (int y = 0; y < height; ++y) {
        auto *line = reinterpret_cast<uchar *>(image.scanLine(y));
        for (int x = 0; x < width; ++x) {
            quint16 word;
            std::memcpy(&word, source + (qint64(y) * width + x) * 2, sizeof word);
            // RGBA8888 keeps the bytes R, G, B, A in memory: the word's big-endian form.
            qToBigEndian(rgb565ToRgba(word, swapped), line + x * 4);
        }
    }
    return image;
}

} // namespace TDBRGB565
