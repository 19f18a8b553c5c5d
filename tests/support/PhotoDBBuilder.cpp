#include "PhotoDBBuilder.h"

#include "ipoddb/TDBFormat_p.h"

using namespace TDBFormat;

namespace PhotoDBBuilder {

namespace {

// A string data object: the header, a string header, the string, then zero padding to the alignment,
// whose length sits at the odd offset of the padding field.
QByteArray stringObject(qint16 type, const QByteArray &string)
{
    const qint32 padding = (PhotoStringAlignment - string.size() % PhotoStringAlignment) % PhotoStringAlignment;
    const QByteArray stringHeader(PhotoDataObjectField::String - PhotoHeaderLength::DataObject, '\0');
    QByteArray bytes =
        chunk(Chunk::DataObject, PhotoHeaderLength::DataObject, stringHeader + string + QByteArray(padding, '\0'));
    putShort(bytes, PhotoDataObjectField::Type, type);
    bytes[PhotoDataObjectField::Padding] = char(padding);
    putLong(bytes, PhotoDataObjectField::StringLength, qint32(string.size()));
    putLong(bytes, PhotoDataObjectField::Encoding,
            type == PhotoDataObjectType::ThumbnailName ? PhotoStringEncoding::Utf16 : PhotoStringEncoding::EightBit);
    return bytes;
}

} // namespace

QByteArray fileHeader(const QByteArray &children)
{
    return chunk(Chunk::FileHeader, PhotoHeaderLength::FileHeader, children);
}

QByteArray dataSet(qint32 type, const QByteArray &children)
{
    QByteArray bytes = chunk(Chunk::DataSet, PhotoHeaderLength::DataSet, children);
    putShort(bytes, DataSetField::Type, qint16(type));
    return bytes;
}

QByteArray imageList(qint32 count, const QByteArray &children)
{
    QByteArray bytes = chunk(Chunk::ImageList, PhotoHeaderLength::ImageList, children);
    putLong(bytes, ChunkField::ChildCount, count);
    return bytes;
}

QByteArray image(qint64 ID, const QByteArray &children)
{
    QByteArray bytes = chunk(Chunk::Image, PhotoHeaderLength::Image, children);
    putLongLong(bytes, ImageField::ID, ID);
    return bytes;
}

QByteArray container(const QByteArray &children)
{
    QByteArray bytes = chunk(Chunk::DataObject, PhotoHeaderLength::DataObject, children);
    putShort(bytes, PhotoDataObjectField::Type, PhotoDataObjectType::Container);
    return bytes;
}

QByteArray emptyContainer()
{
    QByteArray bytes = chunk(Chunk::DataObject, PhotoHeaderLength::DataObject,
                             QByteArray(PhotoEmptyContainerLength - PhotoHeaderLength::DataObject, '\0'));
    putShort(bytes, PhotoDataObjectField::Type, PhotoDataObjectType::Container);
    return bytes;
}

QByteArray imageName(quint32 offset, quint32 imageSize, qint16 width, qint16 height, const QByteArray &children)
{
    QByteArray bytes = chunk(Chunk::ImageName, PhotoHeaderLength::ImageName, children);
    putLong(bytes, ImageNameField::Offset, qint32(offset));
    putLong(bytes, ImageNameField::Size, qint32(imageSize));
    putShort(bytes, ImageNameField::Height, height);
    putShort(bytes, ImageNameField::Width, width);
    return bytes;
}

QByteArray thumbName(const QString &name)
{
    QByteArray utf16;
    for (const QChar unit : name) {
        utf16.append(char(unit.unicode() & 0xFF));
        utf16.append(char(unit.unicode() >> 8));
    }
    return stringObject(PhotoDataObjectType::ThumbnailName, utf16);
}

QByteArray name(const QByteArray &bytes)
{
    return stringObject(PhotoDataObjectType::Name, bytes);
}

QByteArray albumList(qint32 count, const QByteArray &children)
{
    QByteArray bytes = chunk(Chunk::AlbumList, PhotoHeaderLength::AlbumList, children);
    putLong(bytes, ChunkField::ChildCount, count);
    return bytes;
}

QByteArray album(const QByteArray &children)
{
    return chunk(Chunk::Album, PhotoHeaderLength::Album, children);
}

QByteArray albumItem(qint32 photoID)
{
    QByteArray bytes = chunk(Chunk::AlbumItem, PhotoHeaderLength::AlbumItem);
    putLong(bytes, AlbumItemField::ImageID, photoID);
    return bytes;
}

QByteArray storedImage(const QString &file, quint32 offset, quint32 imageSize, qint16 width, qint16 height)
{
    return container(imageName(offset, imageSize, width, height, thumbName(file)));
}

} // namespace PhotoDBBuilder
