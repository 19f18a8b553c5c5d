#pragma once

#include "ITunesDBBuilder.h"

#include <QByteArray>
#include <QString>

// Lays out the chunks of an iPod photo or artwork database byte by byte, as the device's writers
// do: a zero-filled header of the usual length with the chunk's fields, then its children.
namespace PhotoDBBuilder {

// The music database's chunks have the same frame: tag, header length at 4, total length at 8.
using ITunesDBBuilder::chunk;
using ITunesDBBuilder::putLong;
using ITunesDBBuilder::putLongLong;
using ITunesDBBuilder::putShort;

QByteArray fileHeader(const QByteArray &children);              // mhfd
QByteArray dataSet(qint32 type, const QByteArray &children);    // mhsd
QByteArray imageList(qint32 count, const QByteArray &children); // mhli
QByteArray image(qint64 ID, const QByteArray &children);        // mhii, ID at 20
QByteArray container(const QByteArray &children);               // mhod type 2
QByteArray emptyContainer();                                    // mhod type 2, 44 bytes long
QByteArray imageName(quint32 offset, quint32 imageSize, qint16 width, qint16 height,
                     const QByteArray &children = {});          // mhni
QByteArray thumbName(const QString &name);                      // mhod type 3, UTF-16
QByteArray name(const QByteArray &bytes);                       // mhod type 1, 8-bit
QByteArray albumList(qint32 count, const QByteArray &children); // mhla
QByteArray album(const QByteArray &children);                   // mhba
QByteArray albumItem(qint32 photoID);                           // mhia, ID at 16

// One stored image: a container holding its record and file name.
QByteArray storedImage(const QString &file, quint32 offset, quint32 imageSize, qint16 width, qint16 height);

} // namespace PhotoDBBuilder
