#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>
#include <QTemporaryDir>

// A home folder of its own for one test: HOME and the XDG data, config and cache variables point into
// a temporary folder for the object's lifetime and are restored afterwards.
class TemporaryHome
{
public:
    TemporaryHome();
    ~TemporaryHome();
    TemporaryHome(const TemporaryHome &) = delete;
    TemporaryHome &operator=(const TemporaryHome &) = delete;

    bool isValid() const { return m_folder.isValid(); }
    QString path() const { return m_folder.path(); }
    // Writes the application's preferences file with these values (replacing it).
    void writeApplicationPreferences(const QVariantMap &values) const;
    // Writes the preferences file of the plug-in whose bundle identifier is `identifier` (replacing it).
    void writePluginPreferences(const QString &identifier, const QVariantMap &values) const;

private:
    QTemporaryDir m_folder;
    QHash<QByteArray, QByteArray> m_saved;
};
