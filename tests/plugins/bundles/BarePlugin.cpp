// A plug-in that overrides nothing, and an application-style one, from one library.
#include "core/ExportedClass.h"
#include "plugins/TVRAppsPlugin.h"
#include "plugins/TVRUtilityPlugin.h"

class BarePlugin : public TVRPlugin
{
    Q_OBJECT
};

class BareAppsPlugin : public TVRAppsPlugin
{
    Q_OBJECT
};

class BareUtilityPlugin : public TVRUtilityPlugin
{
    Q_OBJECT
};

TIVARO_EXPORT_CLASS(BarePlugin)
TIVARO_EXPORT_CLASS(BareAppsPlugin)
TIVARO_EXPORT_CLASS(BareUtilityPlugin)

#include "BarePlugin.moc"
