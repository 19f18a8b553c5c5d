// What the sync driver itself costs a plug-in: syncs of 0, 100 and 1000 plug-ins that complete at
// once, through the whole road (choice, preparation on a worker thread, the plug-ins in turn,
// progress, the log saved and broadcast). Two figures: the whole sync, whose fixed part (the 0.1 s
// pause before preparation, saving the log durably) hides the plug-ins, and the plug-in phase alone,
// from the first plug-in's sync() to the driver's end, divided by the number of plug-ins.
#include "BenchSupport.h"
#include "ipod/TVRiPod.h"
#include "plugins/TVRPlugin.h"
#include "sync/TVRSyncUtils.h"
#include "sync/TVRSyncer.h"
#include "sync/TVRSyncerDelegate.h"

#include <QCoreApplication>
#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QLoggingCategory>
#include <QTemporaryDir>

#include <chrono>
#include <cstdio>
#include <vector>

using BenchSupport::die;
using BenchSupport::median;
using BenchSupport::milliseconds;

namespace {

std::chrono::steady_clock::time_point s_firstPluginStarted;

class InstantPlugin : public TVRPlugin
{
public:
    qint32 prepareSync(bool *needsInternet, TVRSyncInfo *) override
    {
        *needsInternet = false;
        return 1;
    }
    void sync(TVRSyncInfo *) override
    {
        if (s_firstPluginStarted == std::chrono::steady_clock::time_point())
            s_firstPluginStarted = std::chrono::steady_clock::now();
        TVRSyncUtils::incrementSyncProgress();
        TVRSyncUtils::reportSyncComplete(this);
    }
};

class LoopQuitter : public TVRSyncerDelegate
{
public:
    void syncerFinished(TVRSyncer *) override
    {
        finished = std::chrono::steady_clock::now();
        QMetaObject::invokeMethod(&loop, &QEventLoop::quit, Qt::QueuedConnection);
    }
    QEventLoop loop;
    std::chrono::steady_clock::time_point finished;
};

TVRiPodPtr makeIPod(const QString &root)
{
    if (!QDir().mkpath(root + QStringLiteral("/iPod_Control/Device")) ||
        !QDir().mkpath(root + QStringLiteral("/Notes")))
        die(QStringLiteral("cannot create %1").arg(root));
    QFile sysInfo(root + QStringLiteral("/iPod_Control/Device/SysInfo"));
    if (!sysInfo.open(QIODevice::WriteOnly) ||
        sysInfo.write("boardHwSwInterfaceRev: 0x000B0005\nModelNumStr: MA002\npszSerialNumber: BENCH\n") < 0)
        die(QStringLiteral("cannot write SysInfo"));
    sysInfo.close();
    TVRiPodPtr iPod = TVRiPod::iPodAtPath(root);
    if (!iPod)
        die(QStringLiteral("%1 is no iPod").arg(root));
    return iPod;
}

struct Timing {
    double wholeMs = 0;
    double pluginPhaseMs = 0;
};

Timing timeSync(int pluginCount, const TVRiPodPtr &iPod)
{
    s_firstPluginStarted = {};
    TVRSyncer::PluginMap plugins;
    for (int i = 0; i < pluginCount; ++i)
        plugins.insert(QStringLiteral("Plug-in %1").arg(i, 3, 10, QLatin1Char('0')), std::make_shared<InstantPlugin>());
    LoopQuitter quitter;
    TVRSyncer syncer(plugins, &quitter);
    const auto start = std::chrono::steady_clock::now();
    if (!syncer.sync(TVRSyncer::SyncType::Normal, {}, iPod))
        die(syncer.errorString());
    quitter.loop.exec();
    Timing timing;
    timing.wholeMs = milliseconds(std::chrono::steady_clock::now() - start);
    if (syncer.pluginsRun().size() != pluginCount)
        die(QStringLiteral("%1 of %2 plug-ins ran").arg(syncer.pluginsRun().size()).arg(pluginCount));
    if (pluginCount > 0)
        timing.pluginPhaseMs = milliseconds(quitter.finished - s_firstPluginStarted);
    return timing;
}

} // namespace

int main(int argc, char **argv)
{
    QTemporaryDir home;
    BenchSupport::useTemporaryHome(home);
    QCoreApplication application(argc, argv);
    // Without a session bus the log broadcast says so once a sync; not what is measured here.
    QLoggingCategory::setFilterRules(QStringLiteral("tivaro.*=false"));
    const TVRiPodPtr iPod = makeIPod(home.path() + QStringLiteral("/Bench iPod"));

    constexpr int kRuns = 7;
    std::printf("Sync driver: syncs of plug-ins that complete at once, median of %d runs\n", kRuns);
    std::printf("%10s %14s %18s %18s\n", "plug-ins", "whole sync ms", "plug-in phase ms", "ms per plug-in");
    for (const int size : {0, 100, 1000}) {
        std::vector<double> whole;
        std::vector<double> phase;
        for (int run = 0; run < kRuns; ++run) {
            const Timing timing = timeSync(size, iPod);
            whole.push_back(timing.wholeMs);
            phase.push_back(timing.pluginPhaseMs);
        }
        const double phaseMs = median(phase);
        std::printf("%10d %14.2f %18.3f %18.4f\n", size, median(whole), phaseMs, size > 0 ? phaseMs / size : 0.0);
    }
    return 0;
}
