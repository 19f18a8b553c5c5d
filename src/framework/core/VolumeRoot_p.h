#pragma once

#include "tivaro_export.h"

#include "FileWriter_p.h"
#include "UniqueFd_p.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <memory>
#include <optional>
#include <utility>

// A volume's root folder held open, through which files below it are read, written and removed.
// Nothing goes through a symbolic link and nothing leaves the volume: every path is walked one folder at
// a time from the open root, so a volume unmounted midway makes each later operation fail instead of
// reaching the empty mount point (the computer's own disk) it leaves behind.
//
// Paths are relative to the root, "/"-separated, in the file system's encoding (QFile::encodeName); ""
// is the root itself. A "." or ".." component is refused, empty ones are skipped. One object is used by
// one thread at a time. Hold it only for the work at hand: an open root keeps the volume from unmounting.
class TIVARO_AUTOTEST_EXPORT VolumeRoot
{
public:
    enum class Kind { Missing, File, Folder, Link, Other };
    struct Entry {
        QByteArray name;
        Kind kind = Kind::Missing;
        qint64 size = 0;
    };

    // Null, with *error saying why, when `path` cannot be opened as a folder.
    static std::unique_ptr<VolumeRoot> open(const QString &path, QString *error = nullptr);

    QString path() const { return m_path; }
    int fd() const { return m_fd.get(); }

    // The folder at `relativePath`, made with every missing parent when `create` is set. Fails, with
    // *error, on a link, on something else where a folder should be, and on a component that climbs.
    UniqueFd openFolder(const QByteArray &relativePath, bool create, QString *error = nullptr) const;
    // What is at `relativePath`, links not followed; Link too when a folder on the way is one.
    Entry entry(const QByteArray &relativePath) const;
    // The entries of a folder, "." and ".." left out, in no particular order; empty when it is no folder.
    QList<Entry> list(const QByteArray &relativePath) const;

    // The whole of a regular file of at most `maxBytes` bytes; nullopt, with *error, for anything else.
    std::optional<QByteArray> readFile(const QByteArray &relativePath, qint64 maxBytes, QString *error = nullptr) const;
    // `length` bytes at `offset` of a regular file; nullopt when it is shorter or no regular file.
    std::optional<QByteArray> readRange(const QByteArray &relativePath, qint64 offset, qint64 length,
                                        QString *error = nullptr) const;

    // Writes a file as FileWriter::writeAtomicallyAt does, making its folder first.
    bool writeFile(const QByteArray &relativePath, const QByteArray &data, FileWriter::Durability durability,
                   const FileWriter::ReplacePolicy &mayReplace, QString *error = nullptr) const;
    // Removes a regular file; a link, a folder or anything else is refused.
    bool removeFile(const QByteArray &relativePath, QString *error = nullptr) const;
    // Removes a folder when nothing at all is left in it; false otherwise.
    bool removeEmptyFolder(const QByteArray &relativePath) const;

    // The path of `absolutePath` relative to this root; nullopt when it does not lie below it.
    std::optional<QByteArray> relativePath(const QString &absolutePath) const;
    // "a/b/c" gives {"a/b", "c"}; "c" gives {"", "c"}.
    static std::pair<QByteArray, QByteArray> splitPath(const QByteArray &relativePath);
    // The components of a relative path; nullopt when one is "." or "..".
    static std::optional<QList<QByteArray>> components(const QByteArray &relativePath);
    // The absolute path, for messages.
    QString displayPath(const QByteArray &relativePath) const;

private:
    VolumeRoot(const QString &path, UniqueFd fd);

    QString m_path;
    UniqueFd m_fd;
};
