#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

// Lays out iTunesDB chunks byte by byte, little-endian, with the header sizes iTunes writes, so
// that a test can build exactly the quirk or the corruption it is about.
namespace ITunesDBBuilder {

void putLong(QByteArray &bytes, qsizetype offset, qint32 value);
void putShort(QByteArray &bytes, qsizetype offset, qint16 value);
void putLongLong(QByteArray &bytes, qsizetype offset, qint64 value);

// A chunk: tag, header length, then `lengthOrCount` at +8 (the total length when it is -1), the
// header padded to `headerLength`, then the children.
QByteArray chunk(const char *tag, qint32 headerLength, const QByteArray &children = {}, qint32 lengthOrCount = -1);

QByteArray mhbd(const QList<QByteArray> &dataSets);
QByteArray mhsd(qint32 type, const QByteArray &content);
QByteArray mhlt(const QList<QByteArray> &tracks);
// A track header of 156 bytes holding `uid`; tests set further fields with putLong and friends.
QByteArray trackHeader(qint32 uid);
// A track record from such a header and its data objects (the count at +12 is theirs).
QByteArray mhit(QByteArray header, const QList<QByteArray> &dataObjects);
// A UTF-16LE string data object, as types 1 to 14 are written.
QByteArray mhodString(qint32 type, const QString &text);
// An 8-bit data object, as types 15 and 16 are written.
QByteArray mhodBytes(qint32 type, const QByteArray &bytes);
// A data object with no string (smart-playlist data 50/51, position 100).
QByteArray mhodData(qint32 type);
QByteArray mhlp(const QList<QByteArray> &playlists);
// A playlist with explicit counts, so that a test can make them lie.
QByteArray mhyp(const QList<QByteArray> &children, qint32 dataObjects, qint32 items, qint32 hidden);
// A playlist item; `nested` is appended inside it, as iTunes 4.9 and later write the position object.
QByteArray mhip(qint32 uid, const QByteArray &nested = {});
// The whole database: one track data set and one playlist data set.
QByteArray database(const QList<QByteArray> &tracks, const QList<QByteArray> &playlists);

} // namespace ITunesDBBuilder
