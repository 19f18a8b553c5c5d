// The sync log file: a property-list array of archived logs. Bytes that are no such array are also
// tried as one archived log, so that the archive reader is reached without the list around it.
// A log that is read must survive being archived and read again.
#include "sync/LogManager.h"
#include "sync/SyncLogFile.h"

#include <QByteArray>
#include <QLoggingCategory>
#include <QString>

#include <cstddef>
#include <cstdint>
#include <optional>

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    // Elements that are not data are reported on this category; at fuzzing speed that is noise.
    QLoggingCategory::setFilterRules(QStringLiteral("tivaro.*=false"));
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    QString error;
    std::optional<QList<QByteArray>> entries = SyncLogFile::entriesFromData(bytes, &error);
    if (!entries) {
        if (error.isEmpty())
            __builtin_trap();
        entries = QList<QByteArray>{bytes};
    }
    for (const QByteArray &entry : *entries) {
        const Result<std::shared_ptr<LogManager>> read = LogManager::fromArchive(entry);
        if (!read) {
            if (read.errorString().isEmpty())
                __builtin_trap();
            continue;
        }
        const std::shared_ptr<LogManager> &log = *read;
        const Result<std::shared_ptr<LogManager>> again = LogManager::fromArchive(log->archive());
        if (!again || !((*again)->logAttributedString() == log->logAttributedString()) ||
            (*again)->errorCount() != log->errorCount() || (*again)->startingDate() != log->startingDate() ||
            (*again)->entries() != log->entries())
            __builtin_trap();
    }
    return 0;
}
