#pragma once

#include "tivaro_export.h"

#include "IPodManifest.h"
#include "RemovalReport.h"
#include "TVRiPodPtr.h"

#include "core/Result.h"
#include "core/StringEncoding.h"
#include "core/UserDefaults.h"

#include <QSet>
#include <QString>
#include <QVariantMap>

#include <memory>
#include <optional>

class IPodOutput;
class TDBiPod;
class TDBPlaylist;
class TDBTrack;
class TVRContactsManager;
class VolumeRoot;

// One iPod mounted as a disk: its folders, model family, capabilities, identity for syncing, the
// removal of earlier output, the note writer and eject.
//
// Made on any thread; one object is used by one thread at a time. Family and serial number are read
// from SysInfo once, at creation; preferences are re-read at every call that needs them.
// Objects are shared (the host and a sync both hold one), so they only exist as TVRiPodPtr.
//
// Everything it writes or removes goes through the volume's open root (VolumeRoot): never through a
// symbolic link, never onto the computer's disk once the iPod is gone. Every file written is recorded
// in the iPod's record of Tivaro's files (IPodManifest), and removal of earlier output takes only files
// that record lists: a file the user put on the iPod is never replaced or removed.
class TIVARO_EXPORT TVRiPod : public std::enable_shared_from_this<TVRiPod>
{
    struct Passkey {};

public:
    // Family codes.
    static constexpr qint32 kFamilyUnknown = 0;
    static constexpr qint32 kFamily1G2G = 1;
    static constexpr qint32 kFamily3G = 2;
    static constexpr qint32 kFamilyMini = 3;
    static constexpr qint32 kFamily4G = 4;
    static constexpr qint32 kFamilyPhoto = 5;
    static constexpr qint32 kFamily5G = 6;
    static constexpr qint32 kFamilyNano = 7;
    static constexpr qint32 kFamilyShuffle = 128;

    // Null unless TVRiPodManager::isiPodAtPath accepts the path.
    // Throws SysInfoError when the iPod's SysInfo has an empty key or value.
    static TVRiPodPtr iPodAtPath(const QString &path);
    // The first connected iPod that is no shuffle and syncs with Tivaro, or null.
    static TVRiPodPtr connectediPod();
    // An iPod at `path` without checking that it is one. Throws SysInfoError like iPodAtPath.
    static TVRiPodPtr withPath(const QString &path);

    TVRiPod(Passkey, const QString &path);
    // Saves what the record of Tivaro's files has not saved yet, should the owner not have.
    ~TVRiPod();

    // Identity and description.
    QString path() const { return m_iPodPath; }
    QString serialNumber() const { return m_serialNumber; }
    qint32 iPodFamily() const { return m_ipodFamily; }
    QString iPodFamilyDescription() const;
    static QString iPodFamilyDescription(qint32 family);
    // The name the user gave the iPod (DeviceInfo), else the mount point's own name.
    QString name() const;
    QString description() const;
    bool isEqualToiPod(const TVRiPod *other) const;
    // Case-insensitive by name: the order of every list of iPods.
    int compare(const TVRiPod &other) const;
    // The key/value lines of SysInfo; nullopt when there is no path or the file cannot be read as text.
    // An error for a line with an empty key or value, or a file that is no small regular file.
    Result<std::optional<QVariantMap>> deviceInformation() const;
    static qint32 familyFromDeviceInformation(const std::optional<QVariantMap> &information);

    // Capabilities, all from the family code.
    bool isiPodShuffle() const;
    bool hasDisplay() const;
    bool hasColorDisplay() const;
    bool hasPhotoAlbum() const;
    bool hasNotes() const;
    bool useNotes() const;
    bool hasTVOut() const;
    bool hasVideoPlayback() const;

    // Folders on the volume.
    QString notesFolder() const;
    QString contactsFolder() const;
    QString calendarsFolder() const;
    // The Notes folder, or its "Velmora" sub-folder when the preference "notesUseTVRFolder" is set.
    QString realTivaroFolder() const;
    QString sysInfoPath() const;
    static QString pagesOverflowDirectory();

    // What is already there.
    int numberOfNotes() const;
    int numberOfContacts() const;

    // Whether this is the iPod the user chose ("TVRSyncSN"); every iPod when none was chosen.
    bool syncsWithTivaro() const;

    // The music database, read at the first call; nullopt when the iPod has none that can be read.
    std::optional<QList<std::shared_ptr<TDBTrack>>> tracks();
    std::optional<QList<std::shared_ptr<TDBPlaylist>>> playlists();

    // Removal of earlier output: only Tivaro's own files go, and a folder only once nothing else is left
    // in it; the report says what went and what was kept and why.
    RemovalReport removeNotesFoldersNamed(const QString &name) const;
    RemovalReport removeContactsWithPrefix(const QString &prefix) const;
    RemovalReport removeCalendarsWithPrefix(const QString &prefix) const;
    // Every file of Tivaro's at or below `path` (absolute, on this iPod).
    RemovalReport removeOwnFilesBelow(const QString &path) const;
    // These files (relative to the iPod's root, as ownFiles() gives them) when they are still Tivaro's.
    RemovalReport removeOwnFiles(const QList<QByteArray> &paths) const;
    std::shared_ptr<TVRContactsManager> contactsManagerNamed(const QString &name);

    // The record of Tivaro's files on this iPod: the files by their path relative to its root.
    QHash<QByteArray, IPodManifest::Entry> ownFiles() const;
    // `path` (absolute) relative to the iPod's root; empty when it does not lie on the iPod.
    QByteArray pathOnVolume(const QString &path) const;
    // What the owner and the group of the files written from now on are, for the record: the sync sets
    // the owner to the running plug-in's name, a plug-in may set the group to a note's source.
    void setOutputOwner(const QString &owner) { m_outputOwner = owner; }
    QString outputOwner() const { return m_outputOwner; }
    void setOutputGroup(const QString &group) { m_outputGroup = group; }
    // Reads the record now (a sync does so before it starts); returns what is worth a line in the log:
    // files of an earlier Tivaro adopted, a record kept aside. Said once for each object.
    QString prepareOwnFilesRecord();
    // Saves the record's changes onto the iPod; false, with *error, when that fails.
    bool saveOwnFilesRecord(QString *error = nullptr) const;
    // Writes `data` as the file at `path` (absolute, on this iPod), recorded as Tivaro's. A file already
    // there is replaced only when it is Tivaro's own.
    bool writeFileToiPod(const QString &path, const QByteArray &data);

    // Flushes, unmounts and ejects the volume; true when the iPod may be unplugged, else
    // errorString() says why. Blocks for as long as UDisks2 takes, up to a minute a step: for a
    // caller with nothing else to do. One whose event loop must go on turning uses IPodEjection.
    bool eject();
    // The same, leaving this object untouched, so that another thread may run it while this one goes
    // on using the iPod; *error says why it failed.
    bool ejectVolume(QString *error) const;

    // The note writer: the note as linked pages of at most 4096 bytes (2048 when `encoding` is
    // StringEncoding::Unicode; pages are UTF-8 either way) below realTivaroFolder()/localPath.
    // True when every page was written; pages written before a failure stay.
    bool writeNoteToiPod(const QString &text, const QString &name, const QString &localPath,
                         unsigned encoding = StringEncoding::UTF8);
    // Writes a file that needs no pages, without lossy conversion.
    bool writeString(const QString &string, const QString &path, unsigned encoding);

    static QString pageNameAtIndex(int index, const QString &initialName);
    static QString fileNameForPage(int index, const QString &initialName);
    static QString titleForPage(int index, const QString &initialName);
    static QString linkForPageAtIndex(int index, int placement, const QString &noteName);

    // Why the last writing or ejecting operation failed, for messages to the user.
    QString errorString() const { return m_lastError; }
    // How many pages the last writeNoteToiPod() wrote.
    int lastNotePageCount() const { return m_lastNotePageCount; }
    // Bytes of UTF-8 text the last writeNoteToiPod() left out because a word was longer than a page.
    qsizetype lastNoteDroppedBytes() const { return m_lastNoteDroppedBytes; }
    // The files the last writeNoteToiPod() wrote, relative to the iPod's root.
    QList<QByteArray> lastNoteFiles() const { return m_lastNoteFiles; }
    // Every file written since clearWrittenFiles() (the sync calls it as each plug-in starts), relative to
    // the iPod's root: what a plug-in wrote this time, against which it tells its older output.
    const QSet<QByteArray> &writtenFiles() const { return m_writtenFiles; }
    void clearWrittenFiles() { m_writtenFiles.clear(); }

private:
    void getSysInfo();
    bool failWith(const QString &message);
    // The open volume, once it is sure to be this iPod's: nullptr, with *error, when the iPod is gone.
    std::unique_ptr<VolumeRoot> openVolume(QString *error) const;
    IPodManifest &manifest(const VolumeRoot &volume) const;
    // The folder a note of `localPath` goes into, relative to the root; nullopt when it climbs out.
    std::optional<QByteArray> noteFolder(const QString &localPath, QString *error) const;
    // Removes the pages after `pageCount` that an earlier, longer version of the note left.
    void removeStalePages(IPodOutput &output, const QByteArray &overflowFolder, const QByteArray &nameBytes,
                          int pageCount) const;
    // A removal of earlier output on the open volume.
    template<typename Work> RemovalReport withOutput(Work work) const;

    mutable UserDefaults m_defaults;
    QString m_iPodPath;
    qint32 m_ipodFamily = kFamilyShuffle;
    QString m_serialNumber;
    QString m_lastError;
    int m_lastNotePageCount = 0;
    qsizetype m_lastNoteDroppedBytes = 0;
    QList<QByteArray> m_lastNoteFiles;
    QSet<QByteArray> m_writtenFiles;
    QString m_outputOwner;
    QString m_outputGroup;
    bool m_recordReportTaken = false;
    // Read at the first need; mutable because removals are queries of the iPod's state as much as changes.
    mutable IPodManifest m_manifest;
    // Mutable: name() is a query, yet reads DeviceInfo on first use.
    mutable std::unique_ptr<TDBiPod> m_database;
};
