// The smallest useful plug-in: it says who it is, counts its work and keeps one setting.
#include <core/ExportedClass.h>
#include <plugins/TVRPlugin.h>
#include <plugins/TVRPrefs.h>

class HelloWorldPlugin : public TVRPlugin
{
    Q_OBJECT

public:
    // Called once, after the base class has read the bundle's name, version and icon.
    void initPlugin() override
    {
        m_prefs = TVRPrefs::prefsWithBundle(bundle().get());
        m_pluginAboutInfo = AttributedString(QStringLiteral("Greets you on your iPod."));
    }

    // On a worker thread, before anything is synced: how many progress steps sync() will report,
    // and whether the internet is needed. Always write the answer.
    qint32 prepareSync(bool *needsInternet, TVRSyncInfo *) override
    {
        *needsInternet = false;
        return 1;
    }

    bool hasSettings() const override { return true; }

    QString greeting() const
    {
        const QVariant saved = m_prefs ? m_prefs->objectForKey(QStringLiteral("greeting")) : QVariant();
        return saved.isValid() ? saved.toString() : QStringLiteral("Hello, world");
    }

private:
    std::unique_ptr<TVRPrefs> m_prefs;
};

// Makes the class known by name: Info.plist's NSPrincipalClass says "HelloWorldPlugin".
TIVARO_EXPORT_CLASS(HelloWorldPlugin)

#include "HelloWorldPlugin.moc"
