#include "NSFileManagerXtras.h"

#include <QFile>

#include <sys/stat.h>

namespace {

bool exists(const QByteArray &path)
{
    struct stat info {};
    return ::lstat(path.constData(), &info) == 0 || ::stat(path.constData(), &info) == 0;
}

} // namespace

namespace NSFileManagerXtras {

bool buildPath(const QString &path)
{
    const QByteArray encoded = QFile::encodeName(path);
    if (encoded.isEmpty())
        return false;
    // Walk the components, creating each prefix that is missing; a failure shows in the final check.
    for (qsizetype slash = encoded.indexOf('/', 1); slash >= 0; slash = encoded.indexOf('/', slash + 1)) {
        const QByteArray prefix = encoded.left(slash);
        if (!exists(prefix))
            ::mkdir(prefix.constData(), 0777);
    }
    if (!exists(encoded))
        ::mkdir(encoded.constData(), 0777);
    struct stat info {};
    return ::stat(encoded.constData(), &info) == 0;
}

} // namespace NSFileManagerXtras
