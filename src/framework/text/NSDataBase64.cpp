#include "NSDataBase64.h"

#include <array>

namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

int valueOf(char c)
{
    if (c >= 'A' && c <= 'Z')
        return c - 'A';
    if (c >= 'a' && c <= 'z')
        return c - 'a' + 26;
    if (c >= '0' && c <= '9')
        return c - '0' + 52;
    if (c == '+')
        return 62;
    if (c == '/')
        return 63;
    return -1;
}

void appendGroup(QByteArray &out, const uchar *bytes, qsizetype count)
{
    const uchar b0 = bytes[0];
    const uchar b1 = count > 1 ? bytes[1] : 0;
    const uchar b2 = count > 2 ? bytes[2] : 0;
    out += kAlphabet[b0 >> 2];
    out += kAlphabet[((b0 & 0x03) << 4) | (b1 >> 4)];
    out += count > 1 ? kAlphabet[((b1 & 0x0F) << 2) | (b2 >> 6)] : '=';
    out += count > 2 ? kAlphabet[b2 & 0x3F] : '=';
}

} // namespace

namespace NSDataBase64 {

QString base64Encoding(const QByteArray &data)
{
    return base64EncodingWithLineLength(data, 0);
}

QString base64EncodingWithLineLength(const QByteArray &data, unsigned lineLength)
{
    QByteArray out;
    out.reserve((data.size() + 2) / 3 * 4 + (lineLength > 0 ? data.size() / 3 / (lineLength / 4 + 1) + 2 : 0));
    const auto *bytes = reinterpret_cast<const uchar *>(data.constData());
    unsigned column = 0;
    for (qsizetype at = 0; at < data.size(); at += 3) {
        appendGroup(out, bytes + at, std::min<qsizetype>(3, data.size() - at));
        column += 4;
        if (lineLength > 0 && column >= lineLength) {
            out += '\n';
            column = 0;
        }
    }
    return QString::fromLatin1(out);
}

QByteArray dataWithBase64EncodedString(const QString &text)
{
    QByteArray out;
    std::array<int, 4> group{};
    int filled = 0;
    for (const QChar c : text) {
        if (c == u'=') {
            // "xx=" gives one byte, "xxx=" two; a lone value gives none.
            if (filled >= 2)
                out += char((group[0] << 2) | (group[1] >> 4));
            if (filled == 3)
                out += char(((group[1] & 0x0F) << 4) | (group[2] >> 2));
            break;
        }
        const int value = c.unicode() < 0x80 ? valueOf(char(c.unicode())) : -1;
        if (value < 0)
            continue;
        group[size_t(filled++)] = value;
        if (filled == 4) {
            out += char((group[0] << 2) | (group[1] >> 4));
            out += char(((group[1] & 0x0F) << 4) | (group[2] >> 2));
            out += char(((group[2] & 0x03) << 6) | group[3]);
            filled = 0;
        }
    }
    return out;
}

bool isCharacterPartOfBase64Encoding(char c)
{
    return valueOf(c) >= 0;
}

} // namespace NSDataBase64
