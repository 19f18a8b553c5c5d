#include "PluginPreferenceStore.h"

PluginPreferenceStore::PluginPreferenceStore(const QString &pluginName, std::unique_ptr<TVRPrefs> prefs)
    : m_pluginName(pluginName)
    , m_prefs(std::move(prefs))
{}
