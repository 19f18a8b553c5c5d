#pragma once

#include <QString>
#include <QTemporaryDir>

// A real FAT32 volume for tests: an image made with mkfs.vfat and mounted with fusefat.
class FatVolume
{
public:
    // Makes and mounts an image of `megabytes` labelled `label`. When the machine cannot (no
    // /dev/fuse, tools missing), isMounted() is false and skipReason() says why.
    explicit FatVolume(const QString &label = QStringLiteral("IPOD"), int megabytes = 64, bool readOnly = false);
    ~FatVolume();
    FatVolume(const FatVolume &) = delete;
    FatVolume &operator=(const FatVolume &) = delete;

    bool isMounted() const { return m_mounted; }
    QString skipReason() const { return m_skipReason; }
    // The mount point; its last component is the label, as desktops name it.
    QString mountPoint() const { return m_mountPoint; }
    QString imagePath() const { return m_imagePath; }

    // Unmounts if still mounted (after an eject it is not).
    void unmount();
    // Mounts the same image again; false when that fails.
    bool mount(bool readOnly);
    // Whether the kernel still lists the mount.
    bool isListedInMountTable() const;

private:
    QTemporaryDir m_folder;
    QString m_imagePath;
    QString m_mountPoint;
    QString m_skipReason;
    bool m_mounted = false;
};
