#pragma once

#include "TVRPlugin.h"

// Marks a utility plug-in; it adds nothing to TVRPlugin.
class TVRUtilityPlugin : public TVRPlugin
{
    Q_OBJECT
};
