#pragma once

#include "IPodManifest.h"
#include "RemovalReport.h"

#include "core/FileWriter_p.h"

#include <QByteArray>
#include <QList>
#include <QString>

class VolumeRoot;

// Tivaro's own files on one iPod, for one piece of work on its open volume: whether a file is Tivaro's,
// the rule that keeps the writers from replacing anything else, and the removal of earlier output, which
// takes only files the record lists and a folder only when nothing else is left in it.
//
// A file is Tivaro's when the record lists it with the size it was written with. A note page or "TVR-"
// contacts file that Tivaro writes the same way may also be replaced when the record lost it (a cable
// pulled before the record was saved); it is never removed on that ground alone.
class IPodOutput
{
public:
    IPodOutput(const VolumeRoot &root, IPodManifest &manifest);

    // Whether the regular file at `path`, now `size` bytes long, may be replaced.
    bool mayReplace(const QByteArray &path, qint64 size, QString *reason) const;
    FileWriter::ReplacePolicy replacePolicy(const QByteArray &path) const;
    void recordWritten(const QByteArray &path, const QString &owner, const QString &group, qint64 size);

    // Removes each listed file that is still Tivaro's; the others are kept with the reason.
    RemovalReport removeFiles(const QList<QByteArray> &paths);
    // Removes every file of Tivaro's at `path` or, for a folder, below it; everything else stays.
    RemovalReport removeBelow(const QByteArray &path);

private:
    enum class Ownership { Own, NotListed, Changed };
    Ownership ownership(const QByteArray &path, qint64 size) const;
    bool carriesTivarosMark(const QByteArray &path, qint64 size) const;
    // Removes one regular file when it is Tivaro's; true when it went.
    bool removeOne(const QByteArray &path, qint64 size, RemovalReport &report);
    bool removeInFolder(const QByteArray &folder, int depth, RemovalReport &report);
    // Removes `folder` and then its parents while they are empty, below the iPod's top-level folders.
    void pruneUpwards(QByteArray folder);

    const VolumeRoot &m_root;
    IPodManifest &m_manifest;
};
