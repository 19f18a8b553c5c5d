#pragma once

class TVRSyncer;

// Told when a sync has ended, cancelled or not, before its log is saved.
class TVRSyncerDelegate
{
public:
    virtual ~TVRSyncerDelegate() = default;
    virtual void syncerFinished(TVRSyncer *syncer) = 0;
};
