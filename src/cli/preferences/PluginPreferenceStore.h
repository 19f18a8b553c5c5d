#pragma once

#include "PreferenceStore.h"

#include "plugins/TVRPrefs.h"

#include <memory>

// One plug-in's own preferences file, through TVRPrefs.
class PluginPreferenceStore : public PreferenceStore
{
public:
    PluginPreferenceStore(const QString &pluginName, std::unique_ptr<TVRPrefs> prefs);

    QString name() const override { return m_pluginName; }
    QString filePath() const override { return m_prefs->fullPath(); }
    QVariantMap values() const override { return m_prefs->dictionary(); }
    void setValue(const QString &key, const QVariant &value) override { m_prefs->setObject(value, key); }
    void removeValue(const QString &key) override { m_prefs->removeObjectForKey(key); }
    bool save(QString *error) override { return m_prefs->synchronize(error); }

private:
    QString m_pluginName;
    std::unique_ptr<TVRPrefs> m_prefs;
};
