#pragma once

#include "tivaro_export.h"

#include <memory>

class LogManager;
class TVRSyncPrefs;
class TVRiPod;

// What a plug-in is given for one sync: the iPod, the sync preferences, the sync log and whether
// the internet could be reached. Made by the sync driver, immutable afterwards; the objects it
// holds are shared with the driver.
class TIVARO_EXPORT TVRSyncInfo
{
public:
    TVRSyncInfo(std::shared_ptr<TVRiPod> iPod, std::shared_ptr<TVRSyncPrefs> syncPrefs,
                std::shared_ptr<LogManager> logManager, bool connectedToInternet);

    const std::shared_ptr<TVRiPod> &iPod() const { return m_iPod; }
    const std::shared_ptr<TVRSyncPrefs> &syncPrefs() const { return m_syncPrefs; }
    // The log is shared, not copied: plug-ins append to the sync's own log through it.
    const std::shared_ptr<LogManager> &logManager() const { return m_logManager; }
    bool connectedToInternet() const { return m_connectedToInternet; }

private:
    const std::shared_ptr<TVRiPod> m_iPod;
    const std::shared_ptr<TVRSyncPrefs> m_syncPrefs;
    const std::shared_ptr<LogManager> m_logManager;
    const bool m_connectedToInternet;
};
