#pragma once

#include "tivaro_export.h"

#include <QByteArray>
#include <QString>

#include <functional>

// Writing whole files so that nobody ever finds a half-written one.
namespace FileWriter {

enum Durability {
    // Flushed to the device before the file takes its name: settings, logs.
    Durable,
    // Left to the page cache; used for iPod pages, whose volume is flushed once at eject.
    Cached,
};

// Writes `data` to `path`. A file that already exists is replaced through a temporary file in the
// same folder and a rename, so it is either the old or the new content. A new file is created
// exclusively and removed again if the write fails, so a failure leaves nothing behind.
// On failure returns false and sets *error to the system's reason.
TIVARO_AUTOTEST_EXPORT bool writeAtomically(const QString &path, const QByteArray &data, Durability durability,
                                            QString *error = nullptr);
// The same for a path already encoded for the file system (QFile::encodeName), for callers that
// write many files into one folder.
TIVARO_AUTOTEST_EXPORT bool writeAtomicallyToEncodedPath(const QByteArray &encodedPath, const QByteArray &data,
                                                         Durability durability, QString *error = nullptr);

// Whether a regular file of `size` bytes already there may be replaced; false, with *reason set, keeps it.
using ReplacePolicy = std::function<bool(qint64 size, QString *reason)>;

// Writes `data` as the file `name` of the open folder `folder` without ever following a symbolic link: for
// files of a volume that must not lead anywhere else. A new file is created exclusively (and removed if the
// write fails); a regular file already there is replaced through a temporary file and a rename when
// `mayReplace` allows it (an empty policy always does). A link, a folder or a device in the way is refused.
// Durable also flushes the folder, so that the new name survives a power cut.
TIVARO_AUTOTEST_EXPORT bool writeAtomicallyAt(int folder, const QByteArray &name, const QByteArray &data,
                                              Durability durability, const ReplacePolicy &mayReplace,
                                              QString *error = nullptr);

} // namespace FileWriter
