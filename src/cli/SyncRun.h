#pragma once

#include "TerminalSyncDisplay.h"

#include "ipod/TVRiPod.h"
#include "sync/TVRSyncer.h"
#include "sync/TVRSyncerDelegate.h"

#include <QEventLoop>

#include <optional>

class Console;

// One sync started from the command line, from the first status line to the summary: runs the
// event loop until the sync (and the eject it asked for) has ended, and turns Ctrl-C into a cancel.
class SyncRun : public QObject, public TVRSyncerDelegate
{
    Q_OBJECT

public:
    struct Request {
        TVRiPodPtr iPod;
        qint32 type = TVRSyncer::NormalSync;
        QStringList plugins;
        // Set: the command line's word on ejecting, which wins over the preference's. Unset: a normal
        // or connect sync ejects as its preference says, and the others do not.
        std::optional<bool> eject;
    };

    SyncRun(const TVRSyncer::PluginMap &plugins, Console &console);
    ~SyncRun() override;

    // The exit status: 0 for a clean sync, 1 when errors were logged or the sync could not start,
    // 130 when cancelled.
    int exec(const Request &request);

    void syncerFinished(TVRSyncer *syncer) override;

private:
    void interrupted(int count);
    void ended();
    void printErrors() const;
    void printSummary() const;

    Console &m_console;
    TerminalSyncDisplay m_display;
    TVRSyncer m_syncer;
    QEventLoop m_loop;
    bool m_cancelled = false;
    bool m_waitingForEject = false;
    bool m_ejectFailed = false;
};
