#include "HTMLCharset.h"

#include <QRegularExpression>
#include <QStringDecoder>

namespace {

// Browsers look for the declaration this far into the page.
constexpr qsizetype kPrescanBytes = 4096;

bool isValidUtf8(const QByteArray &bytes)
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringConverter::Flag::Stateless);
    const QString text = decoder(bytes);
    return !decoder.hasError();
}

} // namespace

QString HTMLCharset::decodePage(const QByteArray &bytes)
{
    const QByteArray body = bytes.startsWith("\xEF\xBB\xBF") ? bytes.mid(3) : bytes;
    if (isValidUtf8(body))
        return QString::fromUtf8(body);
    const QByteArray charset = declaredCharset(bytes);
    if (!charset.isEmpty() && charset != "utf-8" && charset != "utf8") {
        QStringDecoder decoder(charset.constData());
        if (decoder.isValid()) {
            const QString text = decoder(bytes);
            if (!decoder.hasError())
                return text;
        }
    }
    return QString::fromLatin1(bytes);
}

QByteArray HTMLCharset::declaredCharset(const QByteArray &bytes)
{
    static const QRegularExpression kMeta(QStringLiteral("<meta\\b[^>]*?charset\\s*=\\s*[\"']?\\s*([A-Za-z0-9._:-]+)"),
                                          QRegularExpression::CaseInsensitiveOption);
    const QRegularExpressionMatch match = kMeta.match(QString::fromLatin1(bytes.left(kPrescanBytes)));
    return match.hasMatch() ? match.captured(1).toLower().toLatin1() : QByteArray();
}
