#include "ITunesDBBuilder.h"

#include "ipoddb/TDBFormat_p.h"

#include <QtEndian>

using namespace TDBFormat;

namespace ITunesDBBuilder {

namespace {

template<typename T> void put(QByteArray &bytes, qsizetype offset, T value)
{
    if (bytes.size() < offset + qsizetype(sizeof(T)))
        bytes.resize(offset + qsizetype(sizeof(T)), '\0');
    qToLittleEndian(value, bytes.data() + offset);
}

} // namespace

void putLong(QByteArray &bytes, qsizetype offset, qint32 value)
{
    put(bytes, offset, value);
}

void putShort(QByteArray &bytes, qsizetype offset, qint16 value)
{
    put(bytes, offset, value);
}

void putLongLong(QByteArray &bytes, qsizetype offset, qint64 value)
{
    put(bytes, offset, value);
}

QByteArray chunk(const char *tag, qint32 headerLength, const QByteArray &children, qint32 lengthOrCount)
{
    QByteArray bytes(headerLength, '\0');
    bytes.replace(ChunkField::Tag, 4, QByteArray(tag, 4));
    putLong(bytes, ChunkField::HeaderLength, headerLength);
    putLong(bytes, ChunkField::TotalLength,
            lengthOrCount == -1 ? qint32(headerLength + children.size()) : lengthOrCount);
    return bytes + children;
}

QByteArray mhbd(const QList<QByteArray> &dataSets)
{
    QByteArray bytes = chunk(Chunk::Database, HeaderLength::Database, dataSets.join());
    putLong(bytes, DatabaseField::DataSetCount, qint32(dataSets.size()));
    return bytes;
}

QByteArray mhsd(qint32 type, const QByteArray &content)
{
    QByteArray bytes = chunk(Chunk::DataSet, HeaderLength::DataSet, content);
    putLong(bytes, DataSetField::Type, type);
    return bytes;
}

QByteArray mhlt(const QList<QByteArray> &tracks)
{
    return chunk(Chunk::TrackList, HeaderLength::TrackList, tracks.join(), qint32(tracks.size()));
}

QByteArray trackHeader(qint32 uid)
{
    QByteArray header = chunk(Chunk::Track, HeaderLength::Track, {});
    putLong(header, TrackField::UID, uid);
    return header;
}

QByteArray mhit(QByteArray header, const QList<QByteArray> &dataObjects)
{
    const QByteArray children = dataObjects.join();
    putLong(header, ChunkField::TotalLength, qint32(header.size() + children.size()));
    putLong(header, TrackField::DataObjectCount, qint32(dataObjects.size()));
    return header + children;
}

QByteArray mhodString(qint32 type, const QString &text)
{
    QByteArray string(text.size() * 2, '\0');
    for (int i = 0; i < text.size(); ++i)
        qToLittleEndian(text.at(i).unicode(), string.data() + 2 * i);
    const QByteArray stringHeader(DataObjectField::String - HeaderLength::DataObject, '\0');
    QByteArray bytes = chunk(Chunk::DataObject, HeaderLength::DataObject, stringHeader + string);
    putLong(bytes, DataObjectField::Type, type);
    putLong(bytes, DataObjectField::Position, StringPosition);
    putLong(bytes, DataObjectField::StringLength, qint32(string.size()));
    return bytes;
}

QByteArray mhodBytes(qint32 type, const QByteArray &bytes)
{
    QByteArray object = chunk(Chunk::DataObject, HeaderLength::DataObject, bytes);
    putLong(object, DataObjectField::Type, type);
    return object;
}

QByteArray mhodData(qint32 type)
{
    QByteArray object = chunk(Chunk::DataObject, HeaderLength::DataObject, QByteArray(20, '\0'));
    putLong(object, DataObjectField::Type, type);
    return object;
}

QByteArray mhlp(const QList<QByteArray> &playlists)
{
    return chunk(Chunk::PlaylistList, HeaderLength::PlaylistList, playlists.join(), qint32(playlists.size()));
}

QByteArray mhyp(const QList<QByteArray> &children, qint32 dataObjects, qint32 items, qint32 hidden)
{
    QByteArray bytes = chunk(Chunk::Playlist, HeaderLength::Playlist, children.join());
    putLong(bytes, PlaylistField::DataObjectCount, dataObjects);
    putLong(bytes, PlaylistField::ItemCount, items);
    putLong(bytes, PlaylistField::Hidden, hidden);
    return bytes;
}

QByteArray mhip(qint32 uid, const QByteArray &nested)
{
    QByteArray bytes = chunk(Chunk::PlaylistItem, HeaderLength::PlaylistItem, nested);
    putLong(bytes, PlaylistItemField::DataObjectCount, nested.isEmpty() ? 0 : 1);
    putLong(bytes, PlaylistItemField::TrackUID, uid);
    return bytes;
}

QByteArray database(const QList<QByteArray> &tracks, const QList<QByteArray> &playlists)
{
    return mhbd({mhsd(DataSetType::Tracks, mhlt(tracks)), mhsd(DataSetType::Playlists, mhlp(playlists))});
}

} // namespace ITunesDBBuilder
