#include "TextFileFinder.h"

#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QStringDecoder>

namespace {

// Enough to tell text from binary without reading a large file whole.
constexpr qint64 kSniffedBytes = 4096;

const QStringList kTextExtensions{QStringLiteral("txt"), QStringLiteral("text"), QStringLiteral("md")};

} // namespace

QStringList TextFileFinder::find(const QString &folder)
{
    QStringList found;
    // QDir::Hidden is not set, so hidden files are skipped and hidden folders not entered.
    QDirIterator it(folder, QDir::Files | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        if (isText(path))
            found.append(path.mid(folder.size() + 1));
    }
    found.sort();
    return found;
}

bool TextFileFinder::hasTextExtension(const QString &fileName)
{
    return kTextExtensions.contains(QFileInfo(fileName).suffix().toLower());
}

bool TextFileFinder::isText(const QString &path)
{
    return hasTextExtension(path) || startsWithUtf8Text(path);
}

bool TextFileFinder::startsWithUtf8Text(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const QByteArray start = file.read(kSniffedBytes);
    if (start.isEmpty() || start.contains('\0'))
        return false;
    // Stateful decoding: a character cut at the end of the sample is not an error.
    QStringDecoder decoder(QStringDecoder::Utf8);
    const QString text = decoder.decode(start);
    return !decoder.hasError() && !text.isEmpty();
}
