#pragma once

#include "core/StringEncoding.h"
#include "core/UserDefaults.h"
#include "ipoddb/TDBiPod.h"

#include <QString>
#include <QVariantMap>

#include <memory>
#include <optional>

class TVRiPod;
class TVRContactsManager;
using TVRiPodPtr = std::shared_ptr<TVRiPod>;

// One iPod mounted as a disk: its folders, model family, capabilities, identity for syncing, the
// removal of earlier output, the note writer and eject.
//
// Made on any thread; one object is used by one thread at a time. Family and serial number are read
// from SysInfo once, at creation; preferences are re-read at every call that needs them.
// Objects are shared (the host and a sync both hold one), so they only exist as TVRiPodPtr.
class TVRiPod : public std::enable_shared_from_this<TVRiPod>
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
    // Throws SysInfoError for a line with an empty key or value.
    std::optional<QVariantMap> deviceInformation() const;
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
    std::optional<QList<TDBTrackPtr>> tracks() { return m_database->tracks(); }
    std::optional<QList<TDBPlaylistPtr>> playlists() { return m_database->playlists(); }

    // Removal of earlier output; what cannot be removed is left.
    void removeNotesFoldersNamed(const QString &name) const;
    void removeContactsWithPrefix(const QString &prefix) const;
    void removeCalendarsWithPrefix(const QString &prefix) const;
    std::shared_ptr<TVRContactsManager> contactsManagerNamed(const QString &name);

    // Flushes, unmounts and ejects the volume; true when the iPod may be unplugged.
    bool eject();

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
    QString lastErrorString() const { return m_lastError; }
    // How many pages the last writeNoteToiPod() wrote.
    int lastNotePageCount() const { return m_lastNotePageCount; }
    // Bytes of UTF-8 text the last writeNoteToiPod() left out because a word was longer than a page.
    qsizetype lastNoteDroppedBytes() const { return m_lastNoteDroppedBytes; }

private:
    void getSysInfo();
    bool failWith(const QString &message);

    mutable UserDefaults m_defaults;
    QString m_iPodPath;
    qint32 m_ipodFamily = kFamilyShuffle;
    QString m_serialNumber;
    QString m_lastError;
    int m_lastNotePageCount = 0;
    qsizetype m_lastNoteDroppedBytes = 0;
    // Mutable: name() is a query, yet reads DeviceInfo on first use.
    mutable std::unique_ptr<TDBiPod> m_database;
};
