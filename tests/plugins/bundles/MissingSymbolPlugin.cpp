// A plug-in built against a function no library provides: loading it must fail, not the host.
#include "core/ExportedClass.h"
#include "plugins/TVRPlugin.h"

extern "C" int tivaro_fixture_function_nobody_defines();

class MissingSymbolPlugin : public TVRPlugin
{
    Q_OBJECT

public:
    void initPlugin() override
    {
        m_pluginAboutInfo = AttributedString(QString::number(tivaro_fixture_function_nobody_defines()));
    }
};

TIVARO_EXPORT_CLASS(MissingSymbolPlugin)

#include "MissingSymbolPlugin.moc"
