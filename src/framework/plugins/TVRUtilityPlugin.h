#pragma once

#include "tivaro_export.h"

#include "TVRPlugin.h"

// Marks a utility plug-in; it adds nothing to TVRPlugin.
class TIVARO_EXPORT TVRUtilityPlugin : public TVRPlugin
{
    Q_OBJECT
};
