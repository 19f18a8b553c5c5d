#pragma once

#include "tivaro_export.h"

#include <QByteArray>
#include <QHash>
#include <QString>

#include <optional>

class VolumeRoot;

// The record, kept on the iPod itself, of every file Tivaro wrote there: what Tivaro may replace or
// remove later, and nothing else. It lives in ".tivaro/manifest.plist" at the volume's root (never in
// iPod_Control, which belongs to the iPod), so that it travels with the iPod to another computer.
//
// Changes are kept in memory until save(), which takes a lock beside the file, reads it again, applies
// only this object's own changes and replaces it atomically and durably: two programs writing to one
// iPod keep each other's entries, and a cable pulled mid-save leaves the old record whole.
//
// An iPod without a record (written by a Tivaro that kept none, or never) is searched once, when the
// record is first needed, for the notes and contacts files Tivaro writes: pages that begin with the
// note writer's exact header and a title equal to their own name, and "TVR-" vCard files. Those are
// adopted as Tivaro's; nothing else is.
//
// Paths are relative to the volume root, "/"-separated, in the file system's encoding. One thread at a
// time.
class TIVARO_EXPORT IPodManifest
{
public:
    struct Entry {
        // Who wrote the file: a plug-in's name, "Tivaro" for the sync's own notes, empty when unknown.
        QString owner;
        // What the writer made it from (a feed's address, a source file), so that it can keep or drop it.
        QString group;
        // Its size when written, in bytes; -1 when not known.
        qint64 size = -1;
    };

    static const QByteArray recordFolder; // ".tivaro"
    static const QByteArray recordPath;   // ".tivaro/manifest.plist"

    // Reads the record from `root` the first time it is called; later calls do nothing. A record that
    // cannot be read as one is kept aside under another name and the iPod searched as if it had none.
    void load(const VolumeRoot &root);
    bool isLoaded() const { return m_loaded; }

    std::optional<Entry> entry(const QByteArray &path) const;
    const QHash<QByteArray, Entry> &entries() const { return m_entries; }
    void recordWritten(const QByteArray &path, const Entry &entry);
    void recordRemoved(const QByteArray &path);
    bool hasUnsavedChanges() const { return !m_changes.isEmpty(); }

    // Merges this object's changes into the record on the volume. False, with *error, when it cannot be
    // written; the changes are then kept for the next try.
    bool save(const VolumeRoot &root, QString *error);

    // What load() found worth telling the user: files adopted, a record kept aside, a record that
    // cannot be used. Empty when there was nothing to say.
    QString loadReport() const { return m_loadReport; }
    int adoptedCount() const { return m_adopted; }

    // Whether `head`, the start of the file `fileName`, is a note page as the note writer writes it.
    static bool looksLikeNotePage(const QByteArray &head, const QByteArray &fileName);
    // Whether the regular file at `path`, `size` bytes long, has the exact shape of what Tivaro writes
    // there: a note page below "Notes", a "TVR-" vCard file in "Contacts".
    static bool hasTivarosShape(const VolumeRoot &root, const QByteArray &path, qint64 size);

    // The entries of a record's bytes; nullopt when they are no record.
    static std::optional<QHash<QByteArray, Entry>> parse(const QByteArray &bytes);
    // A record's bytes, as save() writes them.
    static std::optional<QByteArray> serialise(const QHash<QByteArray, Entry> &entries, QString *error = nullptr);

private:
    // The record as it is on the volume now; nullopt when there is none or it cannot be read.
    static std::optional<QHash<QByteArray, Entry>> readFrom(const VolumeRoot &root, QString *problem);
    void adopt(const VolumeRoot &root);
    void adoptBelow(const VolumeRoot &root, const QByteArray &folder, int depth);
    void keepAside(const VolumeRoot &root, const QString &problem);

    QHash<QByteArray, Entry> m_entries;
    // Entries written (a value) or removed (nullopt) since the last save.
    QHash<QByteArray, std::optional<Entry>> m_changes;
    bool m_loaded = false;
    // Why the record cannot be written (it is a link, say); empty when it can.
    QString m_unusable;
    QString m_loadReport;
    int m_adopted = 0;
};
