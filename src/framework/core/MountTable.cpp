#include "MountTable.h"

#include "Logging_p.h"

#include <QDir>
#include <QFile>

namespace {

// mountinfo writes space, tab, newline and backslash as three octal digits after a backslash.
QString unescape(const QByteArray &field)
{
    QByteArray out;
    out.reserve(field.size());
    for (qsizetype i = 0; i < field.size(); ++i) {
        const char c = field.at(i);
        if (c == '\\' && i + 3 < field.size()) {
            const QByteArray digits = field.mid(i + 1, 3);
            bool ok = false;
            const int value = digits.toInt(&ok, 8);
            if (ok && digits.size() == 3 && value < 256) {
                out.append(char(value));
                i += 3;
                continue;
            }
        }
        out.append(c);
    }
    return QFile::decodeName(out);
}

QStringList splitOptions(const QByteArray &field)
{
    return QString::fromUtf8(field).split(QLatin1Char(','), Qt::SkipEmptyParts);
}

} // namespace

namespace MountTable {

QString currentSourcePath()
{
    const QString overridden = qEnvironmentVariable("TIVARO_MOUNTINFO");
    return overridden.isEmpty() ? QStringLiteral("/proc/self/mountinfo") : overridden;
}

QList<MountEntry> current()
{
    QFile file(currentSourcePath());
    if (!file.open(QIODevice::ReadOnly)) {
        qCWarning(lcCore) << "Cannot read the mount table" << file.fileName() << ':' << file.errorString();
        return {};
    }
    // /proc files report no size; read until the end.
    return parse(file.readAll());
}

QList<MountEntry> parse(const QByteArray &mountinfo)
{
    QList<MountEntry> entries;
    const QList<QByteArray> lines = mountinfo.split('\n');
    for (const QByteArray &line : lines) {
        const QList<QByteArray> fields = line.split(' ');
        // id parent major:minor root mount-point options [optional fields...] - type source super-options
        const qsizetype separator = fields.indexOf(QByteArray("-"), 6);
        if (fields.size() < 6 || separator < 0 || separator + 3 > fields.size())
            continue;
        MountEntry entry;
        entry.mountPoint = unescape(fields.at(4));
        entry.mountOptions = splitOptions(fields.at(5));
        entry.fileSystemType = unescape(fields.at(separator + 1));
        entry.source = unescape(fields.at(separator + 2));
        if (separator + 3 < fields.size())
            entry.superOptions = splitOptions(fields.at(separator + 3));
        if (entry.mountPoint.isEmpty())
            continue;
        entries.append(entry);
    }
    return entries;
}

const MountEntry *entryForMountPoint(const QList<MountEntry> &table, const QString &path)
{
    const QString wanted = QDir::cleanPath(path);
    const MountEntry *found = nullptr;
    for (const MountEntry &entry : table) {
        if (entry.mountPoint == wanted)
            found = &entry;
    }
    return found;
}

} // namespace MountTable
