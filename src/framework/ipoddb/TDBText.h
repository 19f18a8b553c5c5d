#pragma once

#include "tivaro_export.h"

#include <QLatin1StringView>
#include <QString>

#include <initializer_list>

struct TDBTrackSource;

// A string of a track: either given, or the place in the music database it was read from. A stored
// string is decoded (and trimmed) each time it is read: a database holds ten strings a track, most
// are never looked at, and decoding them all costs more than the rest of the parse. Nothing is
// cached, so tracks can be read from several threads at once.
class TIVARO_EXPORT TDBText
{
public:
    enum class Encoding : quint8 {
        Utf16,    // UTF-16LE code units
        Bytes,    // 8-bit text: each byte one character, sign-extended, never decoded
        iPodPath, // UTF-16LE ":iPod_Control:Music:..." naming a file on the volume
    };

    // No string: reads as a null QString.
    TDBText() = default;
    TDBText(const QString &text)
        : m_text(text)
    {}
    // `count` units (UTF-16) or bytes at `offset` of the source, already checked to lie inside it.
    static TDBText stored(qint64 offset, qint64 count, Encoding encoding);

    QString text(const TDBTrackSource *source) const;
    // Whether text() equals one of `candidates`; short strings are compared without allocating.
    bool isAnyOf(const TDBTrackSource *source, std::initializer_list<QLatin1StringView> candidates) const;
    // The string without trimming, as the database holds it; the given text for a given string.
    static QString decode(QByteArrayView bytes, qint64 offset, qint64 count, Encoding encoding);

private:
    QString m_text;
    qint32 m_offset = -1; // -1 for a given string
    qint32 m_count = 0;
    Encoding m_encoding = Encoding::Utf16;
};
