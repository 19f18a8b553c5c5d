// What the sync driver itself costs a plug-in: syncs of 0, 10 and 100 plug-ins that complete at
// once, through the whole road (choice, preparation on a worker thread, the plug-ins in turn,
// progress, the log saved and broadcast). The per-plug-in figure is the slope between 0 and 100,
// so the fixed costs (the 0.1 s pause before preparation, saving the log) drop out of it.
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
#include <QTemporaryDir>

#include <chrono>
#include <cstdio>
#include <vector>

using BenchSupport::die;
using BenchSupport::median;
using BenchSupport::milliseconds;

namespace {

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
        TVRSyncUtils::incrementSyncProgress();
        TVRSyncUtils::reportSyncComplete(this);
    }
};

class LoopQuitter : public TVRSyncerDelegate
{
public:
    void syncerFinished(TVRSyncer *) override { QMetaObject::invokeMethod(&loop, &QEventLoop::quit, Qt::QueuedConnection); }
    QEventLoop loop;
};

TVRiPodPtr makeIPod(const QString &root)
{
    if (!QDir().mkpath(root + QStringLiteral("/iPod_Control/Device")) || !QDir().mkpath(root + QStringLiteral("/Notes")))
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

double timeSync(int pluginCount, const TVRiPodPtr &iPod)
{
    TVRSyncer::PluginMap plugins;
    for (int i = 0; i < pluginCount; ++i)
        plugins.insert(QStringLiteral("Plug-in %1").arg(i, 3, 10, QLatin1Char('0')), std::make_shared<InstantPlugin>());
    LoopQuitter quitter;
    TVRSyncer syncer(plugins, &quitter);
    const auto start = std::chrono::steady_clock::now();
    if (!syncer.sync(TVRSyncer::NormalSync, {}, iPod))
        die(syncer.lastError());
    quitter.loop.exec();
    const double elapsed = milliseconds(std::chrono::steady_clock::now() - start);
    if (syncer.pluginsRun().size() != pluginCount)
        die(QStringLiteral("%1 of %2 plug-ins ran").arg(syncer.pluginsRun().size()).arg(pluginCount));
    return elapsed;
}

} // namespace

int main(int argc, char **argv)
{
    QTemporaryDir home;
    BenchSupport::useTemporaryHome(home);
    QCoreApplication application(argc, argv);
    const TVRiPodPtr iPod = makeIPod(home.path() + QStringLiteral("/Bench iPod"));

    constexpr int kRuns = 7;
    const std::vector<int> sizes{0, 10, 100};
    std::vector<double> medians;
    std::printf("Sync driver: syncs of plug-ins that complete at once, median of %d runs\n", kRuns);
    std::printf("%10s %12s\n", "plug-ins", "sync ms");
    for (const int size : sizes) {
        std::vector<double> runs;
        for (int run = 0; run < kRuns; ++run)
            runs.push_back(timeSync(size, iPod));
        medians.push_back(median(runs));
        std::printf("%10d %12.2f\n", size, medians.back());
    }
    std::printf("fixed cost (0 plug-ins, includes the 100 ms pause before preparation): %.2f ms\n", medians.front());
    std::printf("driver overhead per plug-in: %.3f ms\n", (medians.back() - medians.front()) / sizes.back());
    return 0;
}
