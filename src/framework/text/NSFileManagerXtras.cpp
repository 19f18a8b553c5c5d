#include "NSFileManagerXtras.h"

#include <QFile>

#include <algorithm>

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
    struct stat info {};
    if (::stat(encoded.constData(), &info) == 0)
        return true;
    // Create each missing component from the top; those above the deepest one that exists are
    // skipped without a look, which is what makes a path under an existing folder cheap.
    qsizetype existing = encoded.size();
    while ((existing = encoded.lastIndexOf('/', existing - 1)) > 0 && !exists(encoded.left(existing))) {
    }
    for (qsizetype slash = encoded.indexOf('/', std::max<qsizetype>(existing, 0) + 1); slash >= 0;
         slash = encoded.indexOf('/', slash + 1)) {
        const QByteArray prefix = encoded.left(slash);
        if (!exists(prefix))
            ::mkdir(prefix.constData(), 0777);
    }
    if (!exists(encoded))
        ::mkdir(encoded.constData(), 0777);
    return ::stat(encoded.constData(), &info) == 0;
}

} // namespace NSFileManagerXtras
