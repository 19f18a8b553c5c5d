#pragma once

#include <QByteArray>
#include <QString>

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
bool writeAtomically(const QString &path, const QByteArray &data, Durability durability, QString *error = nullptr);
// The same for a path already encoded for the file system (QFile::encodeName), for callers that
// write many files into one folder.
bool writeAtomicallyToEncodedPath(const QByteArray &encodedPath, const QByteArray &data, Durability durability,
                                  QString *error = nullptr);

} // namespace FileWriter
