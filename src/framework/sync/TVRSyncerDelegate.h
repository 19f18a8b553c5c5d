#pragma once

#include "tivaro_export.h"

class TVRSyncer;

// Told when a sync has ended, cancelled or not, before its log is saved.
// For Tivaro's programs; plug-ins have no use for it.
class TIVARO_EXPORT TVRSyncerDelegate
{
public:
    virtual ~TVRSyncerDelegate() = default;
    virtual void syncerFinished(TVRSyncer *syncer) = 0;
};
