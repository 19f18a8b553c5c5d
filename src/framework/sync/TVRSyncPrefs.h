#pragma once

#include "tivaro_export.h"

// The sync-wide preferences handed to every plug-in with its sync info, read once from the
// application's preferences when the object is made.
class TIVARO_EXPORT TVRSyncPrefs
{
public:
    TVRSyncPrefs();

    // "notesOrganizeByFolders": whether notes go into sub-folders; true when the key is absent.
    bool notesUseSubFolders() const { return m_notesUseSubFolders; }

private:
    bool m_notesUseSubFolders = true;
};
