#include "TVRSyncPrefs.h"

#include "core/UserDefaults.h"

TVRSyncPrefs::TVRSyncPrefs()
{
    UserDefaults defaults;
    defaults.addSuiteNamed(UserDefaults::applicationDomain());
    const QString key = QStringLiteral("notesOrganizeByFolders");
    if (defaults.objectForKey(key).isValid())
        m_notesUseSubFolders = defaults.boolForKey(key);
}
