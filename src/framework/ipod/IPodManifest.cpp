#include "IPodManifest.h"

#include "NotePaginator_p.h"

#include "core/Logging_p.h"
#include "core/PropertyList.h"
#include "core/VolumeRoot_p.h"

#include <QDateTime>
#include <QFile>
#include <QLockFile>

#include <cstdio>

#include <fcntl.h>

const QByteArray IPodManifest::recordFolder = QByteArrayLiteral(".tivaro");
const QByteArray IPodManifest::recordPath = QByteArrayLiteral(".tivaro/manifest.plist");

namespace {

constexpr int kFormat = 1;
// Far above any real record (a full iPod's is a few hundred kilobytes), far below harm.
constexpr qint64 kMaximumBytes = 32 * 1024 * 1024;
// Enough of a page to hold its header and a title of the longest file name.
constexpr qint64 kPageHeadBytes = 512;
// Notes folders nest a few levels; a deeper tree is not walked further.
constexpr int kMaximumDepth = 32;

const QString kFormatKey = QStringLiteral("format");
const QString kFilesKey = QStringLiteral("files");
const QString kOwnerKey = QStringLiteral("owner");
const QString kGroupKey = QStringLiteral("group");
const QString kSizeKey = QStringLiteral("size");

bool fail(QString *error, const QString &reason)
{
    if (error)
        *error = reason;
    return false;
}

QByteArray joined(const QByteArray &folder, const QByteArray &name)
{
    return folder.isEmpty() ? name : folder + '/' + name;
}

} // namespace

bool IPodManifest::looksLikeNotePage(const QByteArray &head, const QByteArray &fileName)
{
    if (!fileName.endsWith(".txt"))
        return false;
    const QByteArray expected = NotePaginator::header() + "<title>" + fileName.chopped(4) + "</title>";
    return head.startsWith(expected);
}

bool IPodManifest::hasTivarosShape(const VolumeRoot &root, const QByteArray &path, qint64 size)
{
    const QByteArray name = VolumeRoot::splitPath(path).second;
    const bool notePage = path.startsWith("Notes/") && name.endsWith(".txt") && size <= NotePaginator::kPageLimit;
    const bool contacts =
        path.startsWith("Contacts/") && !path.mid(9).contains('/') && name.startsWith("TVR-") && name.endsWith(".vcf");
    if (!notePage && !contacts)
        return false;
    const std::optional<QByteArray> head = root.readRange(path, 0, std::min(size, kPageHeadBytes));
    if (!head)
        return false;
    if (notePage)
        return looksLikeNotePage(*head, name);
    return head->left(11).compare("BEGIN:VCARD", Qt::CaseInsensitive) == 0;
}

std::optional<QHash<QByteArray, IPodManifest::Entry>> IPodManifest::parse(const QByteArray &bytes)
{
    const std::optional<QVariant> root = PropertyList::fromData(bytes);
    if (!root || root->metaType().id() != QMetaType::QVariantMap)
        return std::nullopt;
    const QVariantMap map = root->toMap();
    const QVariant files = map.value(kFilesKey);
    if (files.metaType().id() != QMetaType::QVariantMap)
        return std::nullopt;
    QHash<QByteArray, Entry> entries;
    const QVariantMap fileMap = files.toMap();
    for (auto it = fileMap.cbegin(); it != fileMap.cend(); ++it) {
        const QVariantMap fields = it.value().toMap();
        Entry entry{fields.value(kOwnerKey).toString(), fields.value(kGroupKey).toString(), -1};
        // A size that is no count is no size.
        if (fields.contains(kSizeKey))
            entry.size = std::max<qint64>(fields.value(kSizeKey).toLongLong(), -1);
        // A record anyone may have edited names nothing outside the iPod, and nothing Tivaro could not
        // have written (bytes that are no UTF-8 arrive as replacement characters).
        const QByteArray path = QFile::encodeName(it.key());
        if (path.isEmpty() || path.startsWith('/') || !VolumeRoot::components(path) ||
            it.key().contains(QChar::ReplacementCharacter) || it.key().contains(QChar(0)) ||
            entry.owner.contains(QChar(0)) || entry.group.contains(QChar(0)))
            continue;
        entries.insert(path, entry);
    }
    return entries;
}

std::optional<QByteArray> IPodManifest::serialise(const QHash<QByteArray, Entry> &entries, QString *error)
{
    QVariantMap files;
    for (auto it = entries.cbegin(); it != entries.cend(); ++it) {
        QVariantMap fields;
        if (!it->owner.isEmpty())
            fields.insert(kOwnerKey, it->owner);
        if (!it->group.isEmpty())
            fields.insert(kGroupKey, it->group);
        if (it->size >= 0)
            fields.insert(kSizeKey, it->size);
        files.insert(QFile::decodeName(it.key()), fields);
    }
    return PropertyList::toXml(QVariantMap{{kFormatKey, kFormat}, {kFilesKey, files}}, error);
}

std::optional<QHash<QByteArray, IPodManifest::Entry>> IPodManifest::readFrom(const VolumeRoot &root, QString *problem)
{
    const VolumeRoot::Entry file = root.entry(recordPath);
    if (file.kind == VolumeRoot::Kind::Missing)
        return std::nullopt;
    const std::optional<QByteArray> bytes = root.readFile(recordPath, kMaximumBytes, problem);
    if (!bytes)
        return std::nullopt;
    std::optional<QHash<QByteArray, Entry>> entries = parse(*bytes);
    if (!entries)
        fail(problem, QStringLiteral("%1 is not a record of Tivaro's files").arg(root.displayPath(recordPath)));
    return entries;
}

void IPodManifest::load(const VolumeRoot &root)
{
    if (m_loaded)
        return;
    m_loaded = true;
    const VolumeRoot::Entry file = root.entry(recordPath);
    if (file.kind == VolumeRoot::Kind::Missing) {
        adopt(root);
        return;
    }
    QString problem;
    if (std::optional<QHash<QByteArray, Entry>> entries = readFrom(root, &problem)) {
        m_entries = *entries;
        return;
    }
    if (file.kind != VolumeRoot::Kind::File) {
        // A link or a folder in its place: never written through, never moved.
        m_unusable = problem;
        m_loadReport = QStringLiteral("Tivaro's record of its files cannot be used: %1. Nothing Tivaro wrote "
                                      "before can be replaced or removed.")
                           .arg(problem);
        return;
    }
    keepAside(root, problem);
    adopt(root);
}

void IPodManifest::keepAside(const VolumeRoot &root, const QString &problem)
{
    const QByteArray name = VolumeRoot::splitPath(recordPath).second;
    const QByteArray asideName =
        name + ".corrupt-" + QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-HHmmss")).toLatin1();
    const QByteArray aside = recordFolder + '/' + asideName;
    const UniqueFd folder = root.openFolder(recordFolder, false);
    const bool moved = folder && ::renameat(folder.get(), name.constData(), folder.get(), asideName.constData()) == 0;
    m_loadReport = moved ? QStringLiteral("Tivaro's record of its files could not be read (%1); it was kept as %2 "
                                          "and a new one started.")
                               .arg(problem, root.displayPath(aside))
                         : QStringLiteral("Tivaro's record of its files could not be read (%1).").arg(problem);
    if (!moved)
        m_unusable = problem;
    qCWarning(lcIPod).noquote() << m_loadReport;
}

void IPodManifest::adopt(const VolumeRoot &root)
{
    adoptBelow(root, QByteArrayLiteral("Notes"), 0);
    // Tivaro's contacts files lie directly in Contacts: no folder below it is searched.
    adoptBelow(root, QByteArrayLiteral("Contacts"), kMaximumDepth);
    if (m_adopted == 0)
        return;
    const QString found =
        QStringLiteral("Found %1 written by an earlier Tivaro; they are now in its record of its "
                       "files.")
            .arg(m_adopted == 1 ? QStringLiteral("1 file") : QStringLiteral("%1 files").arg(m_adopted));
    m_loadReport = m_loadReport.isEmpty() ? found : m_loadReport + QLatin1Char(' ') + found;
}

void IPodManifest::adoptBelow(const VolumeRoot &root, const QByteArray &folder, int depth)
{
    if (depth > kMaximumDepth)
        return;
    for (const VolumeRoot::Entry &item : root.list(folder)) {
        const QByteArray path = joined(folder, item.name);
        if (item.kind == VolumeRoot::Kind::Folder) {
            adoptBelow(root, path, depth + 1);
        } else if (item.kind == VolumeRoot::Kind::File && hasTivarosShape(root, path, item.size)) {
            recordWritten(path, Entry{QString(), QString(), item.size});
            ++m_adopted;
        }
    }
}

std::optional<IPodManifest::Entry> IPodManifest::entry(const QByteArray &path) const
{
    const auto found = m_entries.constFind(path);
    if (found == m_entries.cend())
        return std::nullopt;
    return *found;
}

void IPodManifest::recordWritten(const QByteArray &path, const Entry &entry)
{
    m_entries.insert(path, entry);
    m_changes.insert(path, entry);
}

void IPodManifest::recordRemoved(const QByteArray &path)
{
    m_entries.remove(path);
    m_changes.insert(path, std::nullopt);
}

bool IPodManifest::save(const VolumeRoot &root, QString *error)
{
    if (m_changes.isEmpty())
        return true;
    if (!m_unusable.isEmpty())
        return fail(error, QStringLiteral("Tivaro's record of its files cannot be written: %1").arg(m_unusable));
    if (!root.openFolder(recordFolder, true, error))
        return false;
    QLockFile lock(root.displayPath(recordPath) + QStringLiteral(".lock"));
    lock.setStaleLockTime(30000);
    if (!lock.tryLock(10000))
        return fail(error, QStringLiteral("%1 is locked by another program").arg(root.displayPath(recordPath)));

    // What another program saved meanwhile stays; only this object's changes go over it.
    QString problem;
    QHash<QByteArray, Entry> merged = readFrom(root, &problem).value_or(m_entries);
    for (auto it = m_changes.cbegin(); it != m_changes.cend(); ++it) {
        if (it.value())
            merged.insert(it.key(), *it.value());
        else
            merged.remove(it.key());
    }
    const std::optional<QByteArray> bytes = serialise(merged, error);
    if (!bytes || !root.writeFile(recordPath, *bytes, FileWriter::Durable, {}, error))
        return false;
    m_entries = merged;
    m_changes.clear();
    return true;
}
