#pragma once

#include "PreferenceStore.h"

#include "core/UserDefaults.h"

// The application's own preferences domain, through UserDefaults: saving merges the changes into
// the file under its lock, so keys another program wrote meanwhile stay.
class ApplicationPreferenceStore : public PreferenceStore
{
public:
    ApplicationPreferenceStore();

    QString name() const override { return m_defaults.domain(); }
    QString filePath() const override;
    QVariantMap values() const override { return m_defaults.persistentDomain(); }
    void setValue(const QString &key, const QVariant &value) override { m_defaults.setObject(value, key); }
    void removeValue(const QString &key) override { m_defaults.removeObjectForKey(key); }
    bool save(QString *error) override { return m_defaults.synchronize(error); }

private:
    UserDefaults m_defaults;
};
