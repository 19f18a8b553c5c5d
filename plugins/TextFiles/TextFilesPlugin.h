#pragma once

#include "TextFileCopier.h"

#include "plugins/TVRPlugin.h"

#include <memory>

// "Text Files": copies the text files of a folder onto the iPod, one note a file, keeping the
// sub-folders. The folder is the plug-in's preference "folder" (set it with
// `tivaro prefs "Text Files" write folder PATH`); a leading "~" stands for the home folder.
class TextFilesPlugin : public TVRPlugin
{
    Q_OBJECT

public:
    static const QString folderKey; // "folder"

    void initPlugin() override;
    qint32 prepareSync(bool *needsInternet, TVRSyncInfo *syncInfo) override;
    void sync(TVRSyncInfo *syncInfo) override;
    void cancelSync() override;

private:
    // The folder to copy from; a null string, with *problem saying why, when there is none to use.
    QString textFolder(QString *problem) const;

    std::unique_ptr<TextFileCopier> m_copier;
};
