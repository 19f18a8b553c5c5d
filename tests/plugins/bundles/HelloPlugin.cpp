// A well-behaved plug-in: overrides the hooks a real one overrides.
#include "core/ExportedClass.h"
#include "plugins/TVRPlugin.h"

class HelloPlugin : public TVRPlugin
{
    Q_OBJECT

public:
    void initPlugin() override { m_pluginAboutInfo = AttributedString(QStringLiteral("Says hello.")); }
    qint32 prepareSync(bool *needsInternet, TVRSyncInfo *) override
    {
        *needsInternet = true;
        return 3;
    }
    bool hasSettings() const override { return true; }
};

TIVARO_EXPORT_CLASS(HelloPlugin)

#include "HelloPlugin.moc"
