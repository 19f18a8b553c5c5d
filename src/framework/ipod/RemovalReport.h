#pragma once

#include "tivaro_export.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

#include <utility>

// What a removal of Tivaro's earlier output did: the files it removed, and the ones it left because they
// are not Tivaro's to remove (the user's own, a symbolic link, a file changed since Tivaro wrote it).
// Paths are relative to the iPod's root.
struct TIVARO_EXPORT RemovalReport {
    QList<QByteArray> removed;
    QList<std::pair<QByteArray, QString>> kept; // path, and why it was left

    void add(const RemovalReport &other);
    bool isEmpty() const { return removed.isEmpty() && kept.isEmpty(); }

    // Lines for the sync log, a handful of paths named and the rest counted: one line for what was
    // removed (when anything was), one a file left.
    QStringList describe() const;
};
