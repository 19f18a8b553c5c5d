#include "IPodOutput_p.h"

#include "core/VolumeRoot_p.h"

#include <QSet>

namespace {

constexpr int kMaximumDepth = 32;

const QString kNotTivaros = QStringLiteral("Tivaro did not write it");
const QString kChanged = QStringLiteral("it was changed since Tivaro wrote it");
const QString kLink = QStringLiteral("it is a symbolic link, which Tivaro does not follow");
const QString kNotAFile = QStringLiteral("it is not a file");

QByteArray joined(const QByteArray &folder, const QByteArray &name)
{
    return folder.isEmpty() ? name : folder + '/' + name;
}

// "Notes", "Contacts" and the like belong to the iPod and are never removed, nor is the root.
bool isTopLevel(const QByteArray &folder)
{
    return !folder.contains('/');
}

} // namespace

IPodOutput::IPodOutput(const VolumeRoot &root, IPodManifest &manifest)
    : m_root(root)
    , m_manifest(manifest)
{}

bool IPodOutput::carriesTivarosMark(const QByteArray &path, qint64 size) const
{
    return IPodManifest::hasTivarosShape(m_root, path, size);
}

IPodOutput::Ownership IPodOutput::ownership(const QByteArray &path, qint64 size) const
{
    const std::optional<IPodManifest::Entry> entry = m_manifest.entry(path);
    if (!entry)
        return Ownership::NotListed;
    if (entry->size < 0 || entry->size == size || carriesTivarosMark(path, size))
        return Ownership::Own;
    return Ownership::Changed;
}

bool IPodOutput::mayReplace(const QByteArray &path, qint64 size, QString *reason) const
{
    const Ownership owned = ownership(path, size);
    if (owned == Ownership::Own || carriesTivarosMark(path, size))
        return true;
    if (reason)
        *reason = owned == Ownership::Changed
                      ? QStringLiteral("the file there was changed since Tivaro wrote it, so it was kept")
                      : QStringLiteral("a file Tivaro did not write is there, so it was kept");
    return false;
}

FileWriter::ReplacePolicy IPodOutput::replacePolicy(const QByteArray &path) const
{
    return [this, path](qint64 size, QString *reason) { return mayReplace(path, size, reason); };
}

void IPodOutput::recordWritten(const QByteArray &path, const QString &owner, const QString &group, qint64 size)
{
    m_manifest.recordWritten(path, IPodManifest::Entry{owner, group, size});
}

bool IPodOutput::removeOne(const QByteArray &path, qint64 size, RemovalReport &report)
{
    const Ownership owned = ownership(path, size);
    if (owned != Ownership::Own) {
        report.kept.append({path, owned == Ownership::Changed ? kChanged : kNotTivaros});
        return false;
    }
    QString error;
    if (!m_root.removeFile(path, &error)) {
        report.kept.append({path, error});
        return false;
    }
    m_manifest.recordRemoved(path);
    report.removed.append(path);
    return true;
}

RemovalReport IPodOutput::removeFiles(const QList<QByteArray> &paths)
{
    RemovalReport report;
    QSet<QByteArray> emptied;
    for (const QByteArray &path : paths) {
        const VolumeRoot::Entry entry = m_root.entry(path);
        switch (entry.kind) {
        case VolumeRoot::Kind::Missing:
            // Gone already (the user removed it): the record forgets it.
            if (m_manifest.entry(path))
                m_manifest.recordRemoved(path);
            break;
        case VolumeRoot::Kind::File:
            if (removeOne(path, entry.size, report))
                emptied.insert(VolumeRoot::splitPath(path).first);
            break;
        case VolumeRoot::Kind::Link:
            report.kept.append({path, kLink});
            break;
        default:
            report.kept.append({path, kNotAFile});
            break;
        }
    }
    for (const QByteArray &folder : std::as_const(emptied))
        pruneUpwards(folder);
    return report;
}

RemovalReport IPodOutput::removeBelow(const QByteArray &path)
{
    RemovalReport report;
    const VolumeRoot::Entry entry = m_root.entry(path);
    switch (entry.kind) {
    case VolumeRoot::Kind::Missing:
        break;
    case VolumeRoot::Kind::File:
        if (removeOne(path, entry.size, report))
            pruneUpwards(VolumeRoot::splitPath(path).first);
        break;
    case VolumeRoot::Kind::Folder:
        if (removeInFolder(path, 0, report))
            pruneUpwards(VolumeRoot::splitPath(path).first);
        break;
    case VolumeRoot::Kind::Link:
        report.kept.append({path, kLink});
        break;
    case VolumeRoot::Kind::Other:
        report.kept.append({path, kNotAFile});
        break;
    }
    return report;
}

// True when `folder` itself was removed.
bool IPodOutput::removeInFolder(const QByteArray &folder, int depth, RemovalReport &report)
{
    bool removedAny = false;
    for (const VolumeRoot::Entry &item : m_root.list(folder)) {
        const QByteArray path = joined(folder, item.name);
        if (item.kind == VolumeRoot::Kind::Folder && depth < kMaximumDepth)
            removedAny = removeInFolder(path, depth + 1, report) || removedAny;
        else if (item.kind == VolumeRoot::Kind::File)
            removedAny = removeOne(path, item.size, report) || removedAny;
        else if (item.kind == VolumeRoot::Kind::Link)
            report.kept.append({path, kLink});
        else if (item.kind == VolumeRoot::Kind::Folder)
            report.kept.append({path, QStringLiteral("it lies too deep")});
        else
            report.kept.append({path, kNotAFile});
    }
    return removedAny && !isTopLevel(folder) && m_root.removeEmptyFolder(folder);
}

void IPodOutput::pruneUpwards(QByteArray folder)
{
    while (!folder.isEmpty() && !isTopLevel(folder) && m_root.removeEmptyFolder(folder))
        folder = VolumeRoot::splitPath(folder).first;
}
