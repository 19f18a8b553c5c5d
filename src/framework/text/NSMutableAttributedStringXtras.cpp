#include "NSMutableAttributedStringXtras.h"

#include <QColor>
#include <QUrl>

namespace {

QUrl urlOfWord(const QString &word)
{
    QString address;
    if (word.contains(u"://") || word.startsWith(u"mailto:"))
        address = word;
    else if (word.startsWith(u"www."))
        address = QStringLiteral("http://") + word;
    else if (word.startsWith(u"ftp."))
        address = QStringLiteral("ftp://") + word;
    const QUrl url(address, QUrl::StrictMode);
    return url.isValid() ? url : QUrl();
}

} // namespace

namespace NSMutableAttributedStringXtras {

void detectURLs(AttributedString &text)
{
    const QString string = text.string();
    qsizetype at = 0;
    while (at < string.size()) {
        while (at < string.size() && string[at].isSpace())
            ++at;
        qsizetype end = at;
        while (end < string.size() && !string[end].isSpace())
            ++end;
        const QUrl url = urlOfWord(string.mid(at, end - at));
        if (!url.isEmpty()) {
            text.changeAttributes(at, end - at, [&url](TextAttributes &attributes) {
                attributes.link = url;
                attributes.underlineStyle = 1;
                attributes.color = QColor(0, 0, 255);
            });
        }
        at = end;
    }
}

} // namespace NSMutableAttributedStringXtras
