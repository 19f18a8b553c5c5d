#pragma once

#include <QString>
#include <QVariant>
#include <QVariantMap>

// One preferences file as `tivaro defaults` and `tivaro prefs` see it: its values, changes to them,
// and saving. Changes stay in memory until save().
class PreferenceStore
{
public:
    virtual ~PreferenceStore() = default;

    // How messages name the preferences, such as "org.tivaro.Tivaro".
    virtual QString name() const = 0;
    // The file the values live in.
    virtual QString filePath() const = 0;

    virtual QVariantMap values() const = 0;
    virtual void setValue(const QString &key, const QVariant &value) = 0;
    virtual void removeValue(const QString &key) = 0;
    // Writes the changes; false with *error when the file could not be written.
    virtual bool save(QString *error) = 0;
};
