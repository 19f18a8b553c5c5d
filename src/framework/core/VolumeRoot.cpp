#include "VolumeRoot_p.h"

#include <QDir>
#include <QFile>

#include <cerrno>
#include <cstring>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int kFolderFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

bool fail(QString *error, const QString &reason)
{
    if (error)
        *error = reason;
    return false;
}

QString systemError(int code)
{
    return QString::fromLocal8Bit(std::strerror(code));
}

VolumeRoot::Kind kindOf(mode_t mode)
{
    if (S_ISLNK(mode))
        return VolumeRoot::Kind::Link;
    if (S_ISREG(mode))
        return VolumeRoot::Kind::File;
    if (S_ISDIR(mode))
        return VolumeRoot::Kind::Folder;
    return VolumeRoot::Kind::Other;
}

// Why `name` of `folder` could not be opened as a folder, in words.
QString whyNotAFolder(int folder, const QByteArray &name, int code, const QString &shown)
{
    struct stat info {};
    if (::fstatat(folder, name.constData(), &info, AT_SYMLINK_NOFOLLOW) == 0) {
        if (S_ISLNK(info.st_mode))
            return QStringLiteral("%1 is a symbolic link, which Tivaro does not follow").arg(shown);
        if (!S_ISDIR(info.st_mode))
            return QStringLiteral("%1 is not a folder").arg(shown);
    }
    return QStringLiteral("cannot open %1: %2").arg(shown, systemError(code));
}

// Opens a regular file for reading without following a link or waiting on a pipe.
UniqueFd openRegularFile(const VolumeRoot &root, const QByteArray &relativePath, struct stat *info, QString *error)
{
    const auto [folderPath, name] = VolumeRoot::splitPath(relativePath);
    const QString shown = root.displayPath(relativePath);
    if (name.isEmpty()) {
        fail(error, QStringLiteral("%1 is not a file").arg(shown));
        return {};
    }
    const UniqueFd folder = root.openFolder(folderPath, false, error);
    if (!folder)
        return {};
    UniqueFd file(::openat(folder.get(), name.constData(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!file) {
        const int code = errno;
        fail(error, code == ELOOP ? QStringLiteral("%1 is a symbolic link, which Tivaro does not follow").arg(shown)
                                  : QStringLiteral("cannot read %1: %2").arg(shown, systemError(code)));
        return {};
    }
    if (::fstat(file.get(), info) != 0 || !S_ISREG(info->st_mode)) {
        fail(error, QStringLiteral("%1 is not a regular file").arg(shown));
        return {};
    }
    return file;
}

bool readFully(int fd, char *into, qint64 length)
{
    while (length > 0) {
        const ssize_t got = ::read(fd, into, size_t(length));
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            return false;
        into += got;
        length -= got;
    }
    return true;
}

} // namespace

VolumeRoot::VolumeRoot(const QString &path, UniqueFd fd)
    : m_path(path)
    , m_fd(std::move(fd))
{}

std::unique_ptr<VolumeRoot> VolumeRoot::open(const QString &path, QString *error)
{
    UniqueFd fd(::open(QFile::encodeName(path).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!fd) {
        fail(error, QStringLiteral("cannot open %1: %2").arg(path, systemError(errno)));
        return nullptr;
    }
    return std::unique_ptr<VolumeRoot>(new VolumeRoot(path, std::move(fd)));
}

std::optional<QList<QByteArray>> VolumeRoot::components(const QByteArray &relativePath)
{
    QList<QByteArray> parts;
    for (const QByteArray &part : relativePath.split('/')) {
        if (part.isEmpty())
            continue;
        if (part == "." || part == "..")
            return std::nullopt;
        parts.append(part);
    }
    return parts;
}

std::pair<QByteArray, QByteArray> VolumeRoot::splitPath(const QByteArray &relativePath)
{
    const qsizetype slash = relativePath.lastIndexOf('/');
    if (slash < 0)
        return {QByteArray(), relativePath};
    return {relativePath.left(slash), relativePath.mid(slash + 1)};
}

QString VolumeRoot::displayPath(const QByteArray &relativePath) const
{
    if (relativePath.isEmpty())
        return m_path;
    return m_path + (m_path.endsWith(QLatin1Char('/')) ? QString() : QStringLiteral("/")) +
           QFile::decodeName(relativePath);
}

std::optional<QByteArray> VolumeRoot::relativePath(const QString &absolutePath) const
{
    const QString root = QDir::cleanPath(m_path);
    const QString path = QDir::cleanPath(absolutePath);
    if (path == root)
        return QByteArray("");
    const QString prefix = root.endsWith(QLatin1Char('/')) ? root : root + QLatin1Char('/');
    if (!path.startsWith(prefix))
        return std::nullopt;
    return QFile::encodeName(path.mid(prefix.size()));
}

UniqueFd VolumeRoot::openFolder(const QByteArray &relativePath, bool create, QString *error) const
{
    const std::optional<QList<QByteArray>> parts = components(relativePath);
    if (!parts) {
        fail(error, QStringLiteral("%1 climbs out of its folder").arg(displayPath(relativePath)));
        return {};
    }
    UniqueFd current(::fcntl(m_fd.get(), F_DUPFD_CLOEXEC, 0));
    QByteArray walked;
    for (const QByteArray &part : *parts) {
        walked += walked.isEmpty() ? part : '/' + part;
        int next = ::openat(current.get(), part.constData(), kFolderFlags);
        if (next < 0 && errno == ENOENT && create) {
            if (::mkdirat(current.get(), part.constData(), 0755) != 0 && errno != EEXIST) {
                fail(error,
                     QStringLiteral("cannot make the folder %1: %2").arg(displayPath(walked), systemError(errno)));
                return {};
            }
            next = ::openat(current.get(), part.constData(), kFolderFlags);
        }
        if (next < 0) {
            fail(error, whyNotAFolder(current.get(), part, errno, displayPath(walked)));
            return {};
        }
        current.reset(next);
    }
    return current;
}

VolumeRoot::Entry VolumeRoot::entry(const QByteArray &relativePath) const
{
    const auto [folderPath, name] = splitPath(relativePath);
    Entry result{name, Kind::Missing, 0};
    if (!components(relativePath))
        return result;
    const UniqueFd folder = openFolder(folderPath, false);
    if (!folder) {
        // A folder on the way that is a link makes the whole path one.
        const Entry parent = folderPath.isEmpty() ? Entry{} : entry(folderPath);
        if (parent.kind == Kind::Link)
            result.kind = Kind::Link;
        return result;
    }
    struct stat info {};
    const QByteArray target = name.isEmpty() ? QByteArray(".") : name;
    if (::fstatat(folder.get(), target.constData(), &info, AT_SYMLINK_NOFOLLOW) == 0) {
        result.kind = kindOf(info.st_mode);
        result.size = qint64(info.st_size);
    }
    return result;
}

QList<VolumeRoot::Entry> VolumeRoot::list(const QByteArray &relativePath) const
{
    QList<Entry> entries;
    const UniqueFd folder = openFolder(relativePath, false);
    if (!folder)
        return entries;
    const int fd = folder.get();
    const int listed = ::fcntl(fd, F_DUPFD_CLOEXEC, 0);
    DIR *dir = listed < 0 ? nullptr : ::fdopendir(listed);
    if (!dir) {
        if (listed >= 0)
            ::close(listed);
        return entries;
    }
    while (const dirent *item = ::readdir(dir)) {
        const QByteArray name(item->d_name);
        if (name == "." || name == "..")
            continue;
        struct stat info {};
        if (::fstatat(fd, item->d_name, &info, AT_SYMLINK_NOFOLLOW) != 0)
            continue;
        entries.append(Entry{name, kindOf(info.st_mode), qint64(info.st_size)});
    }
    ::closedir(dir);
    return entries;
}

std::optional<QByteArray> VolumeRoot::readFile(const QByteArray &relativePath, qint64 maxBytes, QString *error) const
{
    struct stat info {};
    const UniqueFd file = openRegularFile(*this, relativePath, &info, error);
    if (!file)
        return std::nullopt;
    if (qint64(info.st_size) > maxBytes) {
        fail(error, QStringLiteral("%1 is larger than %2 bytes").arg(displayPath(relativePath)).arg(maxBytes));
        return std::nullopt;
    }
    // Read to the end rather than trusting the size: the file may grow or shrink meanwhile.
    QByteArray data;
    data.reserve(qsizetype(info.st_size));
    char chunk[65536];
    for (;;) {
        const ssize_t got = ::read(file.get(), chunk, sizeof chunk);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0) {
            fail(error, QStringLiteral("cannot read %1: %2").arg(displayPath(relativePath), systemError(errno)));
            return std::nullopt;
        }
        if (got == 0)
            break;
        if (data.size() + got > maxBytes) {
            fail(error, QStringLiteral("%1 is larger than %2 bytes").arg(displayPath(relativePath)).arg(maxBytes));
            return std::nullopt;
        }
        data.append(chunk, got);
    }
    return data;
}

std::optional<QByteArray> VolumeRoot::readRange(const QByteArray &relativePath, qint64 offset, qint64 length,
                                                QString *error) const
{
    struct stat info {};
    const UniqueFd file = openRegularFile(*this, relativePath, &info, error);
    if (!file)
        return std::nullopt;
    if (offset < 0 || length < 0 || offset > qint64(info.st_size) || length > qint64(info.st_size) - offset) {
        fail(error, QStringLiteral("%1 is shorter than %2 bytes").arg(displayPath(relativePath)).arg(offset + length));
        return std::nullopt;
    }
    QByteArray data(qsizetype(length), Qt::Uninitialized);
    if (::lseek(file.get(), off_t(offset), SEEK_SET) < 0 || !readFully(file.get(), data.data(), length)) {
        fail(error, QStringLiteral("cannot read %1").arg(displayPath(relativePath)));
        return std::nullopt;
    }
    return data;
}

bool VolumeRoot::writeFile(const QByteArray &relativePath, const QByteArray &data, FileWriter::Durability durability,
                           const FileWriter::ReplacePolicy &mayReplace, QString *error) const
{
    const auto [folderPath, name] = splitPath(relativePath);
    if (name.isEmpty() || name == "." || name == "..")
        return fail(error, QStringLiteral("%1 is no file name").arg(displayPath(relativePath)));
    QString reason;
    const UniqueFd folder = openFolder(folderPath, true, &reason);
    if (!folder)
        return fail(error, QStringLiteral("cannot write %1: %2").arg(displayPath(relativePath), reason));
    if (FileWriter::writeAtomicallyAt(folder.get(), name, data, durability, mayReplace, &reason))
        return true;
    return fail(error, QStringLiteral("cannot write %1: %2").arg(displayPath(relativePath), reason));
}

bool VolumeRoot::removeFile(const QByteArray &relativePath, QString *error) const
{
    const auto [folderPath, name] = splitPath(relativePath);
    const UniqueFd folder = openFolder(folderPath, false, error);
    if (!folder)
        return false;
    struct stat info {};
    if (::fstatat(folder.get(), name.constData(), &info, AT_SYMLINK_NOFOLLOW) != 0)
        return fail(error, QStringLiteral("%1 is not there").arg(displayPath(relativePath)));
    if (!S_ISREG(info.st_mode))
        return fail(error, S_ISLNK(info.st_mode)
                               ? QStringLiteral("%1 is a symbolic link").arg(displayPath(relativePath))
                               : QStringLiteral("%1 is not a file").arg(displayPath(relativePath)));
    if (::unlinkat(folder.get(), name.constData(), 0) != 0)
        return fail(error, QStringLiteral("cannot remove %1: %2").arg(displayPath(relativePath), systemError(errno)));
    return true;
}

bool VolumeRoot::removeEmptyFolder(const QByteArray &relativePath) const
{
    const auto [folderPath, name] = splitPath(relativePath);
    if (name.isEmpty())
        return false;
    const UniqueFd folder = openFolder(folderPath, false);
    // AT_REMOVEDIR removes only an empty folder, and never a link's target.
    return folder && ::unlinkat(folder.get(), name.constData(), AT_REMOVEDIR) == 0;
}
