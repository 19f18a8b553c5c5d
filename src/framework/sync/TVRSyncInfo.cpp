#include "TVRSyncInfo.h"

#include "LogManager.h"
#include "TVRSyncPrefs.h"
#include "ipod/TVRiPod.h"

#include <utility>

TVRSyncInfo::TVRSyncInfo(std::shared_ptr<TVRiPod> iPod, std::shared_ptr<TVRSyncPrefs> syncPrefs,
                         std::shared_ptr<LogManager> logManager, bool connectedToInternet)
    : m_iPod(std::move(iPod))
    , m_syncPrefs(std::move(syncPrefs))
    , m_logManager(std::move(logManager))
    , m_connectedToInternet(connectedToInternet)
{}
