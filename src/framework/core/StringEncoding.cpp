#include "StringEncoding.h"

#include <QFile>
#include <QStringDecoder>
#include <QStringEncoder>

#include <algorithm>
#include <cerrno>

#include <iconv.h>

namespace {

std::optional<QString> strictDecode(const QByteArray &bytes, QStringConverter::Encoding encoding)
{
    QStringDecoder decoder(encoding, QStringConverter::Flag::Stateless);
    QString text = decoder.decode(bytes);
    if (decoder.hasError())
        return std::nullopt;
    return text;
}

bool allBelow(const QString &text, char16_t limit)
{
    return std::all_of(text.cbegin(), text.cend(), [limit](QChar c) { return c.unicode() < limit; });
}

// glibc's iconv refuses invalid and truncated sequences, which is what a strict decode needs; Qt
// has no EUC-JP codec of its own.
std::optional<QString> iconvDecode(const QByteArray &bytes, const char *encoding)
{
    iconv_t converter = iconv_open("UTF-8", encoding);
    if (converter == reinterpret_cast<iconv_t>(-1))
        return std::nullopt;
    // EUC-JP takes at least one byte for each character of at most three UTF-8 bytes.
    QByteArray output(bytes.size() * 3 + 4, Qt::Uninitialized);
    char *in = const_cast<char *>(bytes.constData());
    size_t inLeft = size_t(bytes.size());
    char *out = output.data();
    size_t outLeft = size_t(output.size());
    const size_t converted = iconv(converter, &in, &inLeft, &out, &outLeft);
    iconv_close(converter);
    if (converted == size_t(-1) || inLeft != 0)
        return std::nullopt;
    output.truncate(output.size() - qsizetype(outLeft));
    return QString::fromUtf8(output);
}

} // namespace

namespace StringEncoding {

std::optional<QByteArray> encode(const QString &text, unsigned encoding)
{
    switch (encoding) {
    case UTF8:
        if (!text.isValidUtf16())
            return std::nullopt;
        return text.toUtf8();
    case ASCII:
        if (!allBelow(text, 0x80))
            return std::nullopt;
        return text.toLatin1();
    case ISOLatin1:
        if (!allBelow(text, 0x100))
            return std::nullopt;
        return text.toLatin1();
    case Unicode: {
        if (!text.isValidUtf16())
            return std::nullopt;
        QStringEncoder encoder(QStringConverter::Utf16, QStringConverter::Flag::WriteBom);
        return QByteArray(encoder.encode(text));
    }
    default:
        return std::nullopt;
    }
}

std::optional<QString> decode(const QByteArray &bytes, unsigned encoding)
{
    switch (encoding) {
    case UTF8:
        return strictDecode(bytes, QStringConverter::Utf8);
    case ASCII:
        if (std::any_of(bytes.cbegin(), bytes.cend(), [](char c) { return static_cast<unsigned char>(c) >= 0x80; }))
            return std::nullopt;
        return QString::fromLatin1(bytes);
    case JapaneseEUC:
        return iconvDecode(bytes, "EUC-JP");
    case ISOLatin1:
        return QString::fromLatin1(bytes);
    case Unicode: {
        if (bytes.size() % 2 != 0)
            return std::nullopt;
        std::optional<QString> text;
        if (bytes.startsWith("\xFF\xFE"))
            text = strictDecode(bytes.mid(2), QStringConverter::Utf16LE);
        else if (bytes.startsWith("\xFE\xFF"))
            text = strictDecode(bytes.mid(2), QStringConverter::Utf16BE);
        else
            text = strictDecode(bytes, QStringConverter::Utf16);
        // Qt's UTF-16 decoder passes unpaired surrogates through without an error.
        if (text && !text->isValidUtf16())
            return std::nullopt;
        return text;
    }
    default:
        return std::nullopt;
    }
}

std::optional<QString> decodePlainText(const QByteArray &bytes)
{
    if (bytes.startsWith("\xFF\xFE") || bytes.startsWith("\xFE\xFF"))
        return decode(bytes, Unicode);
    if (bytes.contains('\0'))
        return std::nullopt;
    if (bytes.startsWith("\xEF\xBB\xBF"))
        return decode(bytes.mid(3), UTF8);
    if (std::optional<QString> text = decode(bytes, UTF8))
        return text;
    return QString::fromLatin1(bytes);
}

std::optional<QString> readPlainTextFile(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    return decodePlainText(file.readAll());
}

} // namespace StringEncoding
