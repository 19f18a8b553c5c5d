#include "ITunesDBBuilder.h"

#include <QtEndian>

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
    bytes.replace(0, 4, QByteArray(tag, 4));
    putLong(bytes, 4, headerLength);
    putLong(bytes, 8, lengthOrCount == -1 ? qint32(headerLength + children.size()) : lengthOrCount);
    return bytes + children;
}

QByteArray mhbd(const QList<QByteArray> &dataSets)
{
    QByteArray bytes = chunk("mhbd", 104, dataSets.join());
    putLong(bytes, 20, qint32(dataSets.size()));
    return bytes;
}

QByteArray mhsd(qint32 type, const QByteArray &content)
{
    QByteArray bytes = chunk("mhsd", 96, content);
    putLong(bytes, 12, type);
    return bytes;
}

QByteArray mhlt(const QList<QByteArray> &tracks)
{
    return chunk("mhlt", 92, tracks.join(), qint32(tracks.size()));
}

QByteArray trackHeader(qint32 uid)
{
    QByteArray header = chunk("mhit", 156, {});
    putLong(header, 16, uid);
    return header;
}

QByteArray mhit(QByteArray header, const QList<QByteArray> &dataObjects)
{
    const QByteArray children = dataObjects.join();
    putLong(header, 8, qint32(header.size() + children.size()));
    putLong(header, 12, qint32(dataObjects.size()));
    return header + children;
}

QByteArray mhodString(qint32 type, const QString &text)
{
    QByteArray string(text.size() * 2, '\0');
    for (int i = 0; i < text.size(); ++i)
        qToLittleEndian(text.at(i).unicode(), string.data() + 2 * i);
    QByteArray fields(16, '\0');
    putLong(fields, 0, 1);
    putLong(fields, 4, qint32(string.size()));
    QByteArray bytes = chunk("mhod", 24, fields + string);
    putLong(bytes, 12, type);
    return bytes;
}

QByteArray mhodBytes(qint32 type, const QByteArray &bytes)
{
    QByteArray object = chunk("mhod", 24, bytes);
    putLong(object, 12, type);
    return object;
}

QByteArray mhodData(qint32 type)
{
    QByteArray object = chunk("mhod", 24, QByteArray(20, '\0'));
    putLong(object, 12, type);
    return object;
}

QByteArray mhlp(const QList<QByteArray> &playlists)
{
    return chunk("mhlp", 92, playlists.join(), qint32(playlists.size()));
}

QByteArray mhyp(const QList<QByteArray> &children, qint32 dataObjects, qint32 items, qint32 hidden)
{
    QByteArray bytes = chunk("mhyp", 108, children.join());
    putLong(bytes, 12, dataObjects);
    putLong(bytes, 16, items);
    putLong(bytes, 20, hidden);
    return bytes;
}

QByteArray mhip(qint32 uid, const QByteArray &nested)
{
    QByteArray bytes = chunk("mhip", 76, nested);
    putLong(bytes, 12, nested.isEmpty() ? 0 : 1);
    putLong(bytes, 24, uid);
    return bytes;
}

QByteArray database(const QList<QByteArray> &tracks, const QList<QByteArray> &playlists)
{
    return mhbd({mhsd(1, mhlt(tracks)), mhsd(2, mhlp(playlists))});
}

} // namespace ITunesDBBuilder
