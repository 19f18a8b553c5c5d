#include "PhotoDBBuilder.h"

namespace PhotoDBBuilder {

namespace {

// A string data object: 24-byte header, 16-byte string header (length at 24), the string, then
// zero padding to a multiple of 4 whose length sits at the odd offset 15.
QByteArray stringObject(qint16 type, const QByteArray &string)
{
    const qint32 padding = (4 - string.size() % 4) % 4;
    QByteArray bytes = chunk("mhod", 24, QByteArray(16, '\0') + string + QByteArray(padding, '\0'));
    putShort(bytes, 12, type);
    bytes[15] = char(padding);
    putLong(bytes, 24, qint32(string.size()));
    putLong(bytes, 28, type == 3 ? 2 : 1);
    return bytes;
}

} // namespace

QByteArray fileHeader(const QByteArray &children)
{
    return chunk("mhfd", 0x84, children);
}

QByteArray dataSet(qint32 type, const QByteArray &children)
{
    QByteArray bytes = chunk("mhsd", 0x60, children);
    putShort(bytes, 12, qint16(type));
    return bytes;
}

QByteArray imageList(qint32 count, const QByteArray &children)
{
    QByteArray bytes = chunk("mhli", 0x5c, children);
    putLong(bytes, 8, count);
    return bytes;
}

QByteArray image(qint64 ID, const QByteArray &children)
{
    QByteArray bytes = chunk("mhii", 0x98, children);
    putLongLong(bytes, 20, ID);
    return bytes;
}

QByteArray container(const QByteArray &children)
{
    QByteArray bytes = chunk("mhod", 0x18, children);
    putShort(bytes, 12, 2);
    return bytes;
}

QByteArray emptyContainer()
{
    QByteArray bytes = chunk("mhod", 0x18, QByteArray(20, '\0'));
    putShort(bytes, 12, 2);
    return bytes;
}

QByteArray imageName(quint32 offset, quint32 imageSize, qint16 width, qint16 height, const QByteArray &children)
{
    QByteArray bytes = chunk("mhni", 0x4c, children);
    putLong(bytes, 20, qint32(offset));
    putLong(bytes, 24, qint32(imageSize));
    putShort(bytes, 32, height);
    putShort(bytes, 34, width);
    return bytes;
}

QByteArray thumbName(const QString &name)
{
    QByteArray utf16;
    for (const QChar unit : name) {
        utf16.append(char(unit.unicode() & 0xFF));
        utf16.append(char(unit.unicode() >> 8));
    }
    return stringObject(3, utf16);
}

QByteArray name(const QByteArray &bytes)
{
    return stringObject(1, bytes);
}

QByteArray albumList(qint32 count, const QByteArray &children)
{
    QByteArray bytes = chunk("mhla", 0x5c, children);
    putLong(bytes, 8, count);
    return bytes;
}

QByteArray album(const QByteArray &children)
{
    return chunk("mhba", 0x94, children);
}

QByteArray albumItem(qint32 photoID)
{
    QByteArray bytes = chunk("mhia", 0x28);
    putLong(bytes, 16, photoID);
    return bytes;
}

QByteArray storedImage(const QString &file, quint32 offset, quint32 imageSize, qint16 width, qint16 height)
{
    return container(imageName(offset, imageSize, width, height, thumbName(file)));
}

} // namespace PhotoDBBuilder
