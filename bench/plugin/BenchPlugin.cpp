// The plug-in the discovery benchmark copies a few hundred times: shaped like a real one (an about
// text, its own sync preparation, settings), so that loading it costs what loading a real one does.
#include "core/ExportedClass.h"
#include "plugins/TVRPlugin.h"

class BenchPlugin : public TVRPlugin
{
    Q_OBJECT

public:
    void initPlugin() override
    {
        m_pluginAboutInfo = AttributedString(QStringLiteral("Copies nothing; it is only here to be found."));
    }
    qint32 prepareSync(bool *needsInternet, TVRSyncInfo *) override
    {
        *needsInternet = false;
        return 1;
    }
    bool hasSettings() const override { return true; }
};

TIVARO_EXPORT_CLASS(BenchPlugin)

#include "BenchPlugin.moc"
