#pragma once

#include "TerminalSyncDisplay.h"

#include "ipod/TVRiPod.h"
#include "sync/TVRSyncer.h"
#include "sync/TVRSyncerDelegate.h"

#include <QEventLoop>

#include <optional>

class Console;

// One sync started from the command line, from the first status line to the summary: runs the
// event loop until the sync (and the eject it asked for) has ended. Ctrl-C, SIGTERM and SIGHUP cancel
// the sync while it runs; once it is complete they cancel the eject that is still waiting instead.
class SyncRun : public QObject, public TVRSyncerDelegate
{
    Q_OBJECT

public:
    struct Request {
        TVRiPodPtr iPod;
        TVRSyncer::SyncType type = TVRSyncer::SyncType::Normal;
        QStringList plugins;
        // Set: the command line's word on ejecting, which wins over the preference's. Unset: a normal
        // or connect sync ejects as its preference says, and the others do not.
        std::optional<bool> eject;
    };

    SyncRun(const TVRSyncer::PluginMap &plugins, Console &console);
    ~SyncRun() override;

    // The exit status: 0 for a clean sync, 1 when errors were logged or the sync could not start,
    // 128 plus the signal's number when a signal cancelled it (130 for Ctrl-C, 143 for SIGTERM, 129
    // for SIGHUP), as a shell reports a program that signal ended.
    int exec(const Request &request);

    void syncerFinished(TVRSyncer *syncer) override;

private:
    void interrupted(int count, int signal);
    void cancelWaitingEject();
    void ended();
    void printErrors() const;
    void printSummary() const;

    Console &m_console;
    TerminalSyncDisplay m_display;
    TVRSyncer m_syncer;
    QEventLoop m_loop;
    // The signal that cancelled the sync; 0 when none did.
    int m_cancelledBy = 0;
    // Set when the syncer says it has finished; a signal then concerns only the eject.
    bool m_syncFinished = false;
    bool m_summaryPrinted = false;
    bool m_waitingForEject = false;
    bool m_ejectCancelled = false;
    bool m_ejectFailed = false;
};
