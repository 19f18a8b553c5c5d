#include "FileWriter_p.h"

#include <QFile>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

QString systemError(int code)
{
    return QString::fromLocal8Bit(std::strerror(code));
}

bool fail(QString *error, int code)
{
    if (error)
        *error = systemError(code);
    return false;
}

bool writeAll(int fd, const QByteArray &data)
{
    const char *cursor = data.constData();
    qsizetype left = data.size();
    while (left > 0) {
        const ssize_t written = ::write(fd, cursor, size_t(left));
        if (written < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        cursor += written;
        left -= written;
    }
    return true;
}

// Writes into an open descriptor and closes it; on failure removes the file (`name` in `folder`, or a
// path when `folder` is AT_FDCWD) and keeps errno.
bool fillAndClose(int fd, int folder, const QByteArray &encodedName, const QByteArray &data,
                  FileWriter::Durability durability)
{
    bool ok = writeAll(fd, data);
    if (ok && durability == FileWriter::Durable)
        ok = ::fsync(fd) == 0;
    int code = ok ? 0 : errno;
    // close() is where FAT and network volumes may report a full disk; it must count.
    if (::close(fd) != 0 && ok) {
        ok = false;
        code = errno;
    }
    if (!ok) {
        ::unlinkat(folder, encodedName.constData(), 0);
        errno = code;
    }
    return ok;
}

// A short name, so that a target name close to the volume's length limit still leaves room for it.
QByteArray temporaryNameBeside(const QByteArray &target)
{
    static std::atomic<unsigned> counter{0};
    const qsizetype slash = target.lastIndexOf('/');
    const QByteArray folder = slash < 0 ? QByteArray() : target.left(slash + 1);
    return folder + ".tvr-" + QByteArray::number(::getpid()) + '-' + QByteArray::number(counter++) + ".tmp";
}

bool replaceExisting(const QByteArray &link, const QByteArray &data, FileWriter::Durability durability, QString *error)
{
    // A symbolic link (a dotfile manager's, say) stays: the file it points to is what gets replaced.
    QByteArray target = link;
    struct stat linkInfo {};
    if (::lstat(link.constData(), &linkInfo) == 0 && S_ISLNK(linkInfo.st_mode)) {
        char *resolved = ::realpath(link.constData(), nullptr);
        if (!resolved)
            return fail(error, errno);
        target = resolved;
        ::free(resolved);
    }
    const QByteArray temporary = temporaryNameBeside(target);
    const int fd = ::open(temporary.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (fd < 0)
        return fail(error, errno);
    // The new file keeps the old one's permissions: a private file stays private. Volumes without
    // permissions (FAT) refuse, which does not matter.
    struct stat old {};
    if (::stat(target.constData(), &old) == 0)
        ::fchmod(fd, old.st_mode & 07777);
    if (!fillAndClose(fd, AT_FDCWD, temporary, data, durability))
        return fail(error, errno);
    if (::rename(temporary.constData(), target.constData()) != 0) {
        const int code = errno;
        ::unlink(temporary.constData());
        return fail(error, code);
    }
    return true;
}

bool refuse(QString *error, const QString &reason)
{
    if (error)
        *error = reason;
    return false;
}

// Replaces the regular file `name` of `folder` by a temporary file renamed over it; never through a link.
bool replaceExistingAt(int folder, const QByteArray &name, const QByteArray &data, FileWriter::Durability durability,
                       const FileWriter::ReplacePolicy &mayReplace, QString *error)
{
    struct stat existing {};
    if (::fstatat(folder, name.constData(), &existing, AT_SYMLINK_NOFOLLOW) != 0)
        return fail(error, errno);
    if (S_ISLNK(existing.st_mode))
        return refuse(error, QStringLiteral("it is a symbolic link, which Tivaro never follows"));
    if (!S_ISREG(existing.st_mode))
        return refuse(error, QStringLiteral("something that is not a file is in its place"));
    if (mayReplace && !mayReplace(qint64(existing.st_size), error))
        return false;
    const QByteArray temporary = temporaryNameBeside(QByteArray());
    const int fd = ::openat(folder, temporary.constData(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
    if (fd < 0)
        return fail(error, errno);
    ::fchmod(fd, existing.st_mode & 07777);
    if (!fillAndClose(fd, folder, temporary, data, durability))
        return fail(error, errno);
    if (::renameat(folder, temporary.constData(), folder, name.constData()) != 0) {
        const int code = errno;
        ::unlinkat(folder, temporary.constData(), 0);
        return fail(error, code);
    }
    return true;
}

} // namespace

namespace FileWriter {

bool writeAtomically(const QString &path, const QByteArray &data, Durability durability, QString *error)
{
    return writeAtomicallyToEncodedPath(QFile::encodeName(path), data, durability, error);
}

bool writeAtomicallyToEncodedPath(const QByteArray &target, const QByteArray &data, Durability durability,
                                  QString *error)
{
    const int fd = ::open(target.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (fd >= 0) {
        if (!fillAndClose(fd, AT_FDCWD, target, data, durability))
            return fail(error, errno);
        return true;
    }
    if (errno != EEXIST)
        return fail(error, errno);
    return replaceExisting(target, data, durability, error);
}

bool writeAtomicallyAt(int folder, const QByteArray &name, const QByteArray &data, Durability durability,
                       const ReplacePolicy &mayReplace, QString *error)
{
    bool written = false;
    const int fd = ::openat(folder, name.constData(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
    if (fd >= 0)
        written = fillAndClose(fd, folder, name, data, durability) || fail(error, errno);
    else if (errno == EEXIST)
        written = replaceExistingAt(folder, name, data, durability, mayReplace, error);
    else
        return fail(error, errno);
    if (written && durability == Durable)
        ::fsync(folder);
    return written;
}

} // namespace FileWriter
