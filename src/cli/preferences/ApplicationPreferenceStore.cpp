#include "ApplicationPreferenceStore.h"

#include "core/Paths.h"

ApplicationPreferenceStore::ApplicationPreferenceStore()
    : m_defaults(UserDefaults::applicationDomain())
{}

QString ApplicationPreferenceStore::filePath() const
{
    return Paths::preferencesFileForDomain(m_defaults.domain());
}
