#include "IPodFixture.h"
#include "PluginTree.h"
#include "TemporaryHome.h"
#include "TestHttpServer.h"
#include "UDisks2StandIn.h"

#include "core/DistributedNotificationCenter_p.h"
#include "ipod/TVRiPod.h"
#include "plugins/PluginManager.h"
#include "plugins/TVRPlugin.h"
#include "sync/LogManager.h"
#include "sync/SyncLogFile.h"
#include "sync/TVRNetwork.h"
#include "sync/TVRProgressIndicator.h"
#include "sync/TVRStatusField.h"
#include "sync/TVRSyncAlerter.h"
#include "sync/TVRSyncer.h"
#include "sync/TVRSyncerDelegate.h"

#include <QMetaEnum>
#include <QtTest>

#include <optional>

namespace {

// Everything a window would show, written down.
class RecordingDisplay : public TVRProgressIndicator, public TVRSyncAlerter, public TVRSyncerDelegate
{
public:
    class Field : public TVRStatusField
    {
    public:
        void setStringValue(const QString &text) override { history.append(text); }
        QStringList history;
    };

    void setIndeterminate(bool on) override { indeterminate = on; }
    void startAnimation() override { animating = true; }
    void stopAnimation() override { animating = false; }
    void setMinValue(double v) override { minimum = v; }
    void setMaxValue(double v) override { maximum = v; }
    void setDoubleValue(double v) override { value = v; }
    void incrementBy(double delta) override { value += delta; }
    void beep() override { ++beeps; }
    void activateApplication() override { ++activations; }
    void runWarning(const QString &title, const QString &message, const QString &button) override
    {
        warnings.append(QStringList{title, message, button});
    }
    void syncerFinished(TVRSyncer *) override { ++finished; }

    void attach(TVRSyncer &syncer)
    {
        syncer.setPluginStatus(&upper);
        syncer.setItemStatus(&lower);
        syncer.setProgressIndicator(this);
        syncer.setAlerter(this);
    }

    Field upper;
    Field lower;
    bool indeterminate = false;
    bool animating = false;
    double minimum = -1;
    double maximum = -1;
    double value = 0;
    int beeps = 0;
    int activations = 0;
    int finished = 0;
    QList<QStringList> warnings;
};

QString logText(const TVRSyncer &syncer)
{
    return syncer.logManager()->logAttributedString().string();
}

// "Preparing syncing", "WaitingToEject pending", "Idle": the new phase and what the queries say then.
QString phaseLine(const TVRSyncer &syncer, TVRSyncer::Phase phase)
{
    return QString(QMetaEnum::fromType<TVRSyncer::Phase>().valueToKey(int(phase))) +
           (syncer.isSyncing() ? " syncing" : "") + (syncer.isEjectPending() ? " pending" : "");
}

} // namespace

// Whole syncs through real plug-in bundles onto iPod folders.
class SyncerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void runsEveryPluginInTurn();
    void choosesPluginsByType_data();
    void choosesPluginsByType();
    void checksTheInternetOnlyWhenAsked_data();
    void checksTheInternetOnlyWhenAsked();
    void downloadsForPlugins();
    void cancelStopsAfterTheRunningPlugin_data();
    void cancelStopsAfterTheRunningPlugin();
    void missingPluginIsLoggedAndSkipped();
    void nothingToRunIsAnError_data();
    void nothingToRunIsAnError();
    void warnsAboutTooManyNotes_data();
    void warnsAboutTooManyNotes();
    void removesAnEmptyTivaroFolder_data();
    void removesAnEmptyTivaroFolder();
    void lastSyncInfo_data();
    void lastSyncInfo();
    void ejectOfAFolderFailsCleanly();
    void iPodStaysLockedUntilTheEjectIsTried_data();
    void iPodStaysLockedUntilTheEjectIsTried();
    void secondSyncToTheSameIPodIsRefused();
    void corruptSyncLogIsKeptAside();
    void iPodRemovedMidSync();
    void phasesOfASync_data();
    void phasesOfASync();
    void ejectLeavesTheEventLoopTurning();

private:
    void setPrefs(const QString &plugin, const QVariantMap &values) const;
    TVRSyncer::PluginMap plugins();
    // Runs a sync to the end; false when it did not start or did not end in time.
    bool runSync(TVRSyncer &syncer, TVRSyncer::SyncType type, const QStringList &names = {});

    std::optional<TemporaryHome> m_home;
    std::optional<PluginTree> m_tree;
    std::unique_ptr<PluginManager> m_manager;
    TVRiPodPtr m_iPod;
    RecordingDisplay m_display;
};

void SyncerTest::init()
{
    m_home.emplace();
    m_tree.emplace();
    for (const char *bundle : {"Alpha.tvr", "Beta.tvr", "Gamma.tvr"})
        QVERIFY(!PluginTree::install(bundle, m_tree->builtInFolder()).isEmpty());
    m_iPod = TVRiPod::iPodAtPath(IPodFixture::createWithFamily(m_home->path() + "/Tivaro iPod", 6, "SER1"));
    QVERIFY(m_iPod);
    m_display = RecordingDisplay();
    TVRNetwork::setHosts({"localhost", "localhost"});
}

void SyncerTest::cleanup()
{
    m_manager.reset();
    m_iPod.reset();
    m_tree.reset();
    m_home.reset();
}

void SyncerTest::setPrefs(const QString &plugin, const QVariantMap &values) const
{
    m_home->writePluginPreferences("org.tivaro.test." + plugin.toLower(), values);
}

TVRSyncer::PluginMap SyncerTest::plugins()
{
    m_manager = std::make_unique<PluginManager>(m_tree->prefix());
    return m_manager->plugins();
}

bool SyncerTest::runSync(TVRSyncer &syncer, TVRSyncer::SyncType type, const QStringList &names)
{
    const int before = m_display.finished;
    if (!syncer.sync(type, names, m_iPod))
        return false;
    return QTest::qWaitFor([&] { return m_display.finished > before && !syncer.isSyncing(); }, 20000);
}

void SyncerTest::runsEveryPluginInTurn()
{
    setPrefs("Alpha", {{"steps", 2}, {"writeNotes", true}});
    setPrefs("Gamma", {{"steps", 3}});
    QByteArray broadcast;
    QObject listener;
    QVERIFY(DistributedNotificationCenter::addObserver("NewLogManager", &listener, [&](const QVariantMap &userInfo) {
        broadcast = userInfo.value("data").toByteArray();
    }));

    TVRSyncer syncer(plugins(), &m_display);
    m_display.attach(syncer);
    QVERIFY(runSync(syncer, TVRSyncer::SyncType::Normal));

    // No choice stored: every plug-in, in name order; each counts its steps plus its completion.
    QCOMPARE(syncer.pluginsRun(), QStringList({"Alpha", "Beta", "Gamma"}));
    QCOMPARE(m_display.maximum, 8.0);
    QCOMPARE(m_display.value, 8.0);
    QCOMPARE(m_display.upper.history.mid(0, 2), QStringList({"Preparing...", "Syncing"}));
    QVERIFY(m_display.upper.history.contains("Syncing Gamma"));
    QVERIFY(m_display.lower.history.contains("Step 3"));
    QVERIFY(!m_display.upper.history.contains("Checking internet connection..."));
    QVERIFY(QFileInfo::exists(m_iPod->notesFolder() + "/Alpha/Step 2.txt"));

    const QString text = logText(syncer);
    QVERIFY(text.startsWith("Syncing to Tivaro iPod\rType: "));
    QVERIFY(text.contains("\rAlpha\r"));
    QVERIFY(text.contains(QRegularExpression("\rSync Complete \\(\\d+\\.\\d\\d seconds\\)\r$")));
    QCOMPARE(syncer.logManager()->errorCount(), 0);

    // Saved once, and announced to other processes with the same bytes.
    const std::optional<QList<QByteArray>> saved = SyncLogFile::readEntries();
    QVERIFY(saved && saved->size() == 1);
    QVERIFY(QTest::qWaitFor([&] { return !broadcast.isEmpty(); }, 5000));
    QCOMPARE(broadcast, saved->first());
    QCOMPARE((*LogManager::fromArchive(broadcast))->logAttributedString().string(), text);

    // The same syncer runs the next sync.
    QVERIFY(runSync(syncer, TVRSyncer::SyncType::List, {"Beta"}));
    QCOMPARE(syncer.pluginsRun(), QStringList({"Beta"}));
    QCOMPARE(SyncLogFile::readEntries()->size(), 2);
}

void SyncerTest::choosesPluginsByType_data()
{
    QTest::addColumn<qint32>("type");
    QTest::addColumn<QStringList>("given");
    QTest::addColumn<QVariantMap>("preferences");
    QTest::addColumn<QStringList>("expected");
    QTest::addColumn<bool>("eject");

    const QVariantMap onlyBeta{{"syncOnlySelected", true},
                               {"ejectAfterSync", true},
                               {"tools", QVariantList{QVariantMap{{"tool", "Beta"}, {"sync", true}}}}};
    const QVariantMap allButBeta{{"syncAllButSelected", true},
                                 {"tools", QVariantList{QVariantMap{{"tool", "Beta"}, {"sync", true}}}}};
    const QStringList all{"Alpha", "Beta", "Gamma"};
    QTest::newRow("normal, only selected")
        << 0 << QStringList() << QVariantMap{{"prefsNormalSync", onlyBeta}} << QStringList{"Beta"} << true;
    QTest::newRow("connect, all but selected")
        << 1 << QStringList() << QVariantMap{{"prefsNormalSync", onlyBeta}, {"prefsiPodConnect", allButBeta}}
        << QStringList{"Alpha", "Gamma"} << false;
    // Neither flag set: an empty choice, which means every plug-in.
    QTest::newRow("normal, no flag") << 0 << QStringList() << QVariantMap{{"prefsNormalSync", QVariantMap{}}} << all
                                     << false;
    QTest::newRow("normal, not a dictionary")
        << 0 << QStringList() << QVariantMap{{"prefsNormalSync", "Beta"}} << all << false;
    QTest::newRow("quick") << 3 << QStringList{"Gamma"} << QVariantMap{{"prefsNormalSync", onlyBeta}}
                           << QStringList{"Gamma"} << false;
    // Stored as text, as `defaults write -dict` once did: "NO" is false, as boolForKey reads it.
    const QVariantMap textFlags{{"syncAll", "NO"},
                                {"syncOnlySelected", "YES"},
                                {"ejectAfterSync", "NO"},
                                {"tools", QVariantList{QVariantMap{{"tool", "Beta"}, {"sync", "YES"}},
                                                       QVariantMap{{"tool", "Gamma"}, {"sync", "NO"}}}}};
    QTest::newRow("normal, booleans as text")
        << 0 << QStringList() << QVariantMap{{"prefsNormalSync", textFlags}} << QStringList{"Beta"} << false;
    QTest::newRow("connect, eject as text")
        << 1 << QStringList()
        << QVariantMap{{"prefsiPodConnect", QVariantMap{{"syncAll", "YES"}, {"ejectAfterSync", "yes"}}}} << all << true;
    QTest::newRow("caller's list, unknown name dropped")
        << 2 << QStringList{"Gamma", "Nobody", "Alpha"} << QVariantMap() << QStringList{"Alpha", "Gamma"} << false;
    // Any number that names no other type is the caller's list, whatever the stored choice says.
    QTest::newRow("caller's list, another number")
        << 7 << QStringList{"Gamma"} << QVariantMap{{"prefsNormalSync", onlyBeta}} << QStringList{"Gamma"} << false;
}

void SyncerTest::choosesPluginsByType()
{
    QFETCH(qint32, type);
    QFETCH(QStringList, given);
    QFETCH(QVariantMap, preferences);
    QFETCH(QStringList, expected);
    QFETCH(bool, eject);
    m_home->writeApplicationPreferences(preferences);

    bool ejectWhenFinished = false;
    struct : TVRSyncerDelegate {
        void syncerFinished(TVRSyncer *syncer) override { *eject = syncer->ejectAfterSync(); }
        bool *eject = nullptr;
    } delegate;
    delegate.eject = &ejectWhenFinished;
    TVRSyncer watched(plugins(), &delegate);
    // The numbers of the table, as hosts and preferences give them.
    const TVRSyncer::SyncType syncType = TVRSyncer::syncTypeFromValue(type);
    if (syncType == TVRSyncer::SyncType::Quick) {
        watched.setiPod(m_iPod);
        QVERIFY(watched.quickSync(given.first()));
    } else {
        QVERIFY(watched.sync(syncType, given, m_iPod));
    }
    QVERIFY(QTest::qWaitFor([&] { return !watched.isSyncing(); }, 10000));
    QCOMPARE(watched.pluginsRun(), expected);
    QCOMPARE(ejectWhenFinished, eject);
    QCOMPARE(logText(watched).contains("is not a dictionary"), QByteArray(QTest::currentDataTag()).contains("not a"));
}

void SyncerTest::checksTheInternetOnlyWhenAsked_data()
{
    QTest::addColumn<bool>("needsInternet");
    QTest::addColumn<QStringList>("hosts");
    QTest::addColumn<QString>("answer");
    QTest::newRow("not needed") << false << QStringList{"localhost", "localhost"} << "Internet: no";
    QTest::newRow("reachable") << true << QStringList{"localhost", "localhost"} << "Internet: yes";
    QTest::newRow("second host reachable")
        << true << QStringList{"no-such-host.invalid", "localhost"} << "Internet: yes";
    QTest::newRow("unreachable") << true << QStringList{"no-such-host.invalid", "nor-this.invalid"} << "Internet: no";
}

void SyncerTest::checksTheInternetOnlyWhenAsked()
{
    QFETCH(bool, needsInternet);
    QFETCH(QStringList, hosts);
    QFETCH(QString, answer);
    TVRNetwork::setHosts(hosts);
    setPrefs("Beta", {{"needsInternet", needsInternet}});
    TVRSyncer syncer(plugins(), &m_display);
    m_display.attach(syncer);
    QVERIFY(runSync(syncer, TVRSyncer::SyncType::List, {"Alpha", "Beta"}));
    // A plug-in that needs the internet runs without it, and is told.
    QCOMPARE(syncer.pluginsRun(), QStringList({"Alpha", "Beta"}));
    QVERIFY2(logText(syncer).contains("Beta\rInternet: " + answer.section(' ', 1)), qPrintable(logText(syncer)));
    QCOMPARE(m_display.upper.history.contains("Checking internet connection..."), needsInternet);
}

void SyncerTest::downloadsForPlugins()
{
    TestHttpServer server;
    QVERIFY(server.isListening());
    server.serve("/news.txt", "Today's news");
    server.serve("/japanese.txt", TestHttpServer::eucJpBody(), "text/plain");
    // One integer second: the shortest watchdog there is.
    m_home->writeApplicationPreferences({{"DownloadTimeout", 1}});
    const QString dead = "http://127.0.0.1:1/gone.txt";
    setPrefs("Alpha", {{"urls", QStringList{server.url("/redirect/2/news.txt").toString(), dead,
                                            server.url("/stall/10").toString(), "notascheme:/x",
                                            server.url("/japanese.txt").toString()}}});
    TVRSyncer syncer(plugins(), &m_display);
    QVERIFY(runSync(syncer, TVRSyncer::SyncType::List, {"Alpha"}));

    const QString text = logText(syncer);
    // Every request was answered, in order; the failures are named and the plug-in still heard back.
    QVERIFY2(text.contains("Download failed: " + dead + ": connection refused\rNo body from " + dead),
             qPrintable(text));
    QVERIFY(text.contains("Download timed out: " + server.url("/stall/10").toString() + ": no data for 1 second\r"));
    QVERIFY(text.contains("Download failed: notascheme:/x\rNo body from notascheme:/x"));
    QCOMPARE(syncer.logManager()->errorCount(), 3);
    QVERIFY(IPodFixture::readFile(m_iPod->notesFolder() + "/Alpha/news.txt.txt").contains("Today's news"));
    QVERIFY(IPodFixture::readFile(m_iPod->notesFolder() + "/Alpha/japanese.txt.txt")
                .contains(TestHttpServer::eucJpText().toUtf8()));
    // The redirect's hops were followed and the final URL kept.
    QCOMPARE(server.requestCount("/news.txt"), 1);
}

void SyncerTest::cancelStopsAfterTheRunningPlugin_data()
{
    QTest::addColumn<int>("cancelAfterSteps");
    QTest::addColumn<QStringList>("run");
    QTest::newRow("during preparation") << -1 << QStringList();
    QTest::newRow("mid-plug-in") << 3 << QStringList{"Alpha"};
}

void SyncerTest::cancelStopsAfterTheRunningPlugin()
{
    QFETCH(int, cancelAfterSteps);
    QFETCH(QStringList, run);
    setPrefs("Alpha", {{"steps", 40}, {"stepDelayMs", 10}, {"writeNotes", true}});
    setPrefs("Beta", {{"steps", 1}});
    TVRSyncer syncer(plugins(), &m_display);
    m_display.attach(syncer);
    QVERIFY(syncer.sync(TVRSyncer::SyncType::List, {"Alpha", "Beta"}, m_iPod));
    if (cancelAfterSteps >= 0)
        QVERIFY(QTest::qWaitFor([&] { return m_display.value >= cancelAfterSteps; }, 10000));
    syncer.cancel();
    QVERIFY(syncer.isStopped());
    QVERIFY(!syncer.isSyncing());
    const qsizetype feedbackAtCancel = m_display.lower.history.size();
    QVERIFY(QTest::qWaitFor([&] { return m_display.finished == 1; }, 10000));

    QCOMPARE(syncer.pluginsRun(), run);
    QVERIFY(logText(syncer).contains("User cancelled sync."));
    QVERIFY(logText(syncer).contains("Sync Complete"));
    // Feedback that comes after the cancel is not shown; only the clearing of the line.
    for (const QString &line : m_display.lower.history.mid(feedbackAtCancel))
        QVERIFY2(line.isEmpty(), qPrintable(line));
    // Notes already written stay whole.
    const QStringList notes = QDir(m_iPod->notesFolder() + "/Alpha").entryList(QDir::Files);
    for (const QString &note : notes)
        QVERIFY(IPodFixture::readFile(m_iPod->notesFolder() + "/Alpha/" + note).contains(note.chopped(4).toUtf8()));
    QCOMPARE(SyncLogFile::readEntries()->size(), 1);
}

void SyncerTest::missingPluginIsLoggedAndSkipped()
{
    TVRSyncer::PluginMap map = plugins();
    map.insert("Ghost", nullptr);
    TVRSyncer syncer(map, &m_display);
    m_display.attach(syncer);
    QVERIFY(runSync(syncer, TVRSyncer::SyncType::Normal));
    QCOMPARE(syncer.pluginsRun(), QStringList({"Alpha", "Beta", "Gamma"}));
    QVERIFY(logText(syncer).contains("Failed to load Ghost"));
    QCOMPARE(syncer.logManager()->errorCount(), 1);
    QCOMPARE(m_display.value, m_display.maximum);
}

void SyncerTest::nothingToRunIsAnError_data()
{
    QTest::addColumn<qint32>("type");
    QTest::addColumn<QStringList>("given");
    QTest::addColumn<QVariantMap>("preferences");
    QTest::addColumn<bool>("installed");
    QTest::addColumn<QString>("error");
    const QVariantMap onlyGone{
        {"prefsNormalSync", QVariantMap{{"syncOnlySelected", true},
                                        {"tools", QVariantList{QVariantMap{{"tool", "News"}, {"sync", true}},
                                                               QVariantMap{{"tool", "Alpha"}, {"sync", false}}}}}}};
    QTest::newRow("stored choice of one not installed")
        << 0 << QStringList() << onlyGone << true
        << "Nothing was synced: the chosen plug-in \"News\" is not installed (installed: Alpha, Beta, Gamma).";
    QTest::newRow("caller's list of two not installed")
        << 2 << QStringList{"Nobody", "Gone", "Nobody"} << QVariantMap() << true
        << "Nothing was synced: the chosen plug-ins \"Nobody\", \"Gone\" are not installed (installed: Alpha, Beta, "
           "Gamma).";
    QTest::newRow("quick sync of one not installed")
        << 3 << QStringList{"Nobody"} << QVariantMap() << true << "the chosen plug-in \"Nobody\" is not installed";
    QTest::newRow("none installed") << 0 << QStringList() << QVariantMap() << false
                                    << "Nothing was synced: no plug-ins are installed.";
}

// A sync that would run nothing says so in its log as an error, rather than completing in silence.
void SyncerTest::nothingToRunIsAnError()
{
    QFETCH(qint32, type);
    QFETCH(QStringList, given);
    QFETCH(QVariantMap, preferences);
    QFETCH(bool, installed);
    QFETCH(QString, error);
    m_home->writeApplicationPreferences(preferences);
    TVRSyncer syncer(installed ? plugins() : TVRSyncer::PluginMap(), &m_display);
    const TVRSyncer::SyncType syncType = TVRSyncer::syncTypeFromValue(type);
    if (syncType == TVRSyncer::SyncType::Quick) {
        syncer.setiPod(m_iPod);
        QVERIFY(syncer.quickSync(given.first()));
        QVERIFY(QTest::qWaitFor([&] { return m_display.finished == 1; }, 10000));
    } else {
        QVERIFY(runSync(syncer, syncType, given));
    }
    QVERIFY(syncer.pluginsRun().isEmpty());
    QVERIFY2(logText(syncer).contains(error), qPrintable(logText(syncer)));
    QCOMPARE(syncer.logManager()->errorCount(), 1);
    QCOMPARE(SyncLogFile::readEntries()->size(), 1);
}

void SyncerTest::warnsAboutTooManyNotes_data()
{
    QTest::addColumn<int>("notes");
    QTest::addColumn<bool>("warned");
    QTest::newRow("1000") << 1000 << false;
    QTest::newRow("1001") << 1001 << true;
}

void SyncerTest::warnsAboutTooManyNotes()
{
    QFETCH(int, notes);
    QFETCH(bool, warned);
    for (int i = 0; i < notes; ++i)
        IPodFixture::writeFile(m_iPod->path(), QString("Notes/many/%1").arg(i), "x");
    TVRSyncer syncer(plugins(), &m_display);
    m_display.attach(syncer);
    QVERIFY(runSync(syncer, TVRSyncer::SyncType::List, {"Beta"}));
    QCOMPARE(logText(syncer).contains("Warning: Your iPod contains over 1,000 notes."), warned);
    QCOMPARE(m_display.beeps, int(warned));
    QCOMPARE(m_display.activations, int(warned));
    if (warned)
        QCOMPARE(m_display.warnings,
                 QList<QStringList>({{"Warning",
                                      "Your iPod contains over 1,000 notes. Only the first 1,000 notes will be loaded "
                                      "on your iPod.",
                                      "OK"}}));
}

void SyncerTest::removesAnEmptyTivaroFolder_data()
{
    QTest::addColumn<QString>("entry");
    QTest::addColumn<bool>("removed");
    QTest::newRow("hidden file only") << ".DS_Store" << true;
    QTest::newRow("a note") << "Weather" << false;
}

void SyncerTest::removesAnEmptyTivaroFolder()
{
    QFETCH(QString, entry);
    QFETCH(bool, removed);
    IPodFixture::writeFile(m_iPod->path(), "Notes/Velmora/" + entry, "x");
    TVRSyncer syncer(plugins(), &m_display);
    QVERIFY(runSync(syncer, TVRSyncer::SyncType::List, {"Beta"}));
    QCOMPARE(QFileInfo::exists(m_iPod->notesFolder() + "/Velmora"), !removed);
}

void SyncerTest::lastSyncInfo_data()
{
    QTest::addColumn<int>("family");
    QTest::addColumn<bool>("wanted");
    QTest::addColumn<QString>("written");
    QTest::addColumn<QString>("absent");
    QTest::newRow("notes, wanted") << 6 << true << "Notes/-- Last Sync Info --.txt"
                                   << "Contacts/TVR-LastSync.vcf";
    QTest::newRow("notes, not wanted") << 6 << false << ""
                                       << "Notes/-- Last Sync Info --.txt";
    QTest::newRow("contacts, wanted") << 1 << true << "Contacts/TVR-LastSync.vcf"
                                      << "Notes/-- Last Sync Info --.txt";
    QTest::newRow("contacts, not wanted") << 1 << false << ""
                                          << "Contacts/TVR-LastSync.vcf";
}

void SyncerTest::lastSyncInfo()
{
    QFETCH(int, family);
    QFETCH(bool, wanted);
    QFETCH(QString, written);
    QFETCH(QString, absent);
    m_home->writeApplicationPreferences({{"iPodLastSyncInfo", wanted}, {"NSShortDateFormatString", "%Y/%m/%d"}});
    m_iPod = TVRiPod::iPodAtPath(IPodFixture::createWithFamily(m_home->path() + "/Other iPod", family, "SER2"));
    // Left by an earlier sync, as Tivaro writes them: removed whatever happens now.
    IPodFixture::writeFile(m_iPod->path(), "Notes/-- Last Sync Info --.txt",
                           "<?xml encoding=\"UTF-8\"?><title>-- Last Sync Info --</title>1999/01/01");
    IPodFixture::writeFile(m_iPod->path(), "Contacts/TVR-LastSync.vcf", "BEGIN:VCARD\rVERSION:3.0\rEND:VCARD\r");
    TVRSyncer syncer(plugins(), &m_display);
    QVERIFY(runSync(syncer, TVRSyncer::SyncType::List, {"Beta"}));
    QVERIFY(!QFileInfo::exists(m_iPod->path() + '/' + absent));
    if (!written.isEmpty())
        QVERIFY(IPodFixture::readFile(m_iPod->path() + '/' + written)
                    .contains(QDate::currentDate().toString("yyyy/MM/dd").toUtf8()));
}

void SyncerTest::ejectOfAFolderFailsCleanly()
{
    TVRSyncer syncer(plugins(), &m_display);
    QSignalSpy ejects(&syncer, &TVRSyncer::ejectAttempted);
    QVERIFY(runSync(syncer, TVRSyncer::SyncType::NormalThenEject));
    QVERIFY(!syncer.ejectAfterSync());
    // The log is saved at once; the eject comes two seconds later.
    QCOMPARE(SyncLogFile::readEntries()->size(), 1);
    QVERIFY(ejects.wait(5000));
    QCOMPARE(ejects.first().at(0).toBool(), false);
    QVERIFY(!ejects.first().at(1).toString().isEmpty());
    QVERIFY(QFileInfo::exists(m_iPod->sysInfoPath()));
}

void SyncerTest::iPodStaysLockedUntilTheEjectIsTried_data()
{
    QTest::addColumn<bool>("cancelEject");
    QTest::newRow("eject tried") << false;
    QTest::newRow("eject cancelled") << true;
}

// Between the end of a sync and the eject it asked for, no sync may start on the iPod: not on this
// syncer, not on another, here or in another process.
void SyncerTest::iPodStaysLockedUntilTheEjectIsTried()
{
    QFETCH(bool, cancelEject);
    TVRSyncer syncer(plugins(), &m_display);
    QSignalSpy ejects(&syncer, &TVRSyncer::ejectAttempted);
    QVERIFY(!syncer.cancelEject());
    QVERIFY(runSync(syncer, TVRSyncer::SyncType::NormalThenEject));
    QVERIFY(ejects.isEmpty());
    QVERIFY(syncer.isEjectPending());

    QVERIFY(!syncer.sync(TVRSyncer::SyncType::List, {"Beta"}, m_iPod));
    QCOMPARE(syncer.errorString(),
             QString("The iPod of the last sync is about to be ejected; try again once it has been."));
    RecordingDisplay otherDisplay;
    TVRSyncer other(plugins(), &otherDisplay);
    QVERIFY(!other.sync(TVRSyncer::SyncType::List, {"Beta"}, m_iPod));
    QVERIFY2(other.errorString().startsWith("Another sync to \"Tivaro iPod\" is running (process "),
             qPrintable(other.errorString()));

    if (cancelEject) {
        QVERIFY(syncer.cancelEject());
        QVERIFY(!syncer.isEjectPending());
    } else {
        QVERIFY(ejects.wait(5000));
    }
    QVERIFY(other.sync(TVRSyncer::SyncType::List, {"Beta"}, m_iPod));
    QVERIFY(QTest::qWaitFor([&] { return otherDisplay.finished == 1; }, 10000));
    QCOMPARE(other.pluginsRun(), QStringList({"Beta"}));
    if (cancelEject) {
        // The cancelled eject never comes.
        QTest::qWait(2500);
        QVERIFY(ejects.isEmpty());
    }
}

void SyncerTest::secondSyncToTheSameIPodIsRefused()
{
    setPrefs("Alpha", {{"neverComplete", true}});
    TVRSyncer first(plugins(), &m_display);
    QVERIFY(first.sync(TVRSyncer::SyncType::List, {"Alpha"}, m_iPod));
    QVERIFY(!first.sync(TVRSyncer::SyncType::List, {"Beta"}, m_iPod));
    QCOMPARE(first.errorString(), QString("A sync is already running."));

    RecordingDisplay other;
    TVRSyncer second(plugins(), &other);
    // The same iPod reached through a link is the same iPod.
    QVERIFY(QFile::link(m_iPod->path(), m_home->path() + "/link"));
    QVERIFY(!second.sync(TVRSyncer::SyncType::List, {"Beta"}, TVRiPod::withPath(m_home->path() + "/link")));
    QVERIFY2(second.errorString().startsWith("Another sync to \"link\" is running (process "),
             qPrintable(second.errorString()));

    first.cancel();
    QVERIFY(QTest::qWaitFor([&] { return m_display.finished == 1; }, 10000));
    QVERIFY(second.sync(TVRSyncer::SyncType::List, {"Beta"}, m_iPod));
    QVERIFY(QTest::qWaitFor([&] { return other.finished == 1; }, 10000));
    QCOMPARE(second.pluginsRun(), QStringList({"Beta"}));
}

void SyncerTest::corruptSyncLogIsKeptAside()
{
    QVERIFY(QDir().mkpath(QFileInfo(SyncLogFile::path()).absolutePath()));
    IPodFixture::writeFile(QFileInfo(SyncLogFile::path()).absolutePath(), "SyncLog.plist", "<plist><array><data>");
    TVRSyncer syncer(plugins(), &m_display);
    QVERIFY(runSync(syncer, TVRSyncer::SyncType::List, {"Beta"}));
    QVERIFY(logText(syncer).contains("The sync log file could not be read"));
    QVERIFY(syncer.logFileError().isEmpty());
    QCOMPARE(SyncLogFile::readEntries()->size(), 1);
    const QStringList aside =
        QDir(QFileInfo(SyncLogFile::path()).absolutePath()).entryList({"SyncLog.plist.corrupt-*"}, QDir::Files);
    QCOMPARE(aside.size(), 1);
}

void SyncerTest::iPodRemovedMidSync()
{
    setPrefs("Alpha", {{"steps", 30}, {"stepDelayMs", 10}, {"writeNotes", true}});
    setPrefs("Beta", {{"steps", 2}, {"writeNotes", true}});
    TVRSyncer syncer(plugins(), &m_display);
    m_display.attach(syncer);
    QVERIFY(syncer.sync(TVRSyncer::SyncType::List, {"Alpha", "Beta"}, m_iPod));
    QVERIFY(QTest::qWaitFor([&] { return m_display.value >= 5; }, 10000));
    QVERIFY(QDir(m_iPod->path()).removeRecursively());
    QVERIFY(QTest::qWaitFor([&] { return m_display.finished == 1; }, 20000));
    // Every plug-in still ran and said what failed; the log was kept.
    QCOMPARE(syncer.pluginsRun(), QStringList({"Alpha", "Beta"}));
    QVERIFY(syncer.logManager()->errorCount() >= 2);
    QVERIFY(logText(syncer).contains("The iPod is no longer at"));
    QCOMPARE(SyncLogFile::readEntries()->size(), 1);
}

void SyncerTest::phasesOfASync_data()
{
    QTest::addColumn<QString>("how");
    QTest::addColumn<QStringList>("phases");
    QTest::newRow("plug-ins only") << "plain"
                                   << QStringList{"Preparing syncing", "SyncingPlugins syncing", "Finishing", "Idle"};
    QTest::newRow("internet checked") << "internet"
                                      << QStringList{"Preparing syncing", "CheckingInternet syncing",
                                                     "SyncingPlugins syncing", "Finishing", "Idle"};
    // A cancelled sync still passes through every phase after its own: it finishes and saves its log.
    QTest::newRow("cancelled while preparing")
        << "cancel while preparing" << QStringList{"Preparing syncing", "SyncingPlugins", "Finishing", "Idle"};
    QTest::newRow("cancelled mid-plug-in")
        << "cancel mid-plug-in" << QStringList{"Preparing syncing", "SyncingPlugins syncing", "Finishing", "Idle"};
    QTest::newRow("eject tried") << "eject"
                                 << QStringList{"Preparing syncing",      "SyncingPlugins syncing", "Finishing",
                                                "WaitingToEject pending", "Ejecting pending",       "Idle"};
    QTest::newRow("eject cancelled") << "eject cancelled"
                                     << QStringList{"Preparing syncing", "SyncingPlugins syncing", "Finishing",
                                                    "WaitingToEject pending", "Idle"};
}

void SyncerTest::phasesOfASync()
{
    QFETCH(QString, how);
    QFETCH(QStringList, phases);
    setPrefs("Alpha", {{"steps", 40}, {"stepDelayMs", 10}});
    setPrefs("Beta", {{"needsInternet", how == "internet"}});
    TVRSyncer syncer(plugins(), &m_display);
    m_display.attach(syncer);
    QStringList seen;
    connect(&syncer, &TVRSyncer::phaseChanged, this,
            [&](TVRSyncer::Phase phase) { seen.append(phaseLine(syncer, phase)); });
    QSignalSpy ejects(&syncer, &TVRSyncer::ejectAttempted);

    const bool midPlugin = how == "cancel mid-plug-in";
    QVERIFY(
        syncer.sync(TVRSyncer::SyncType::List, midPlugin ? QStringList{"Alpha", "Beta"} : QStringList{"Beta"}, m_iPod));
    syncer.setEjectAfterSync(how.startsWith("eject"));
    if (midPlugin)
        QVERIFY(QTest::qWaitFor([&] { return m_display.value >= 3; }, 10000));
    if (how.startsWith("cancel"))
        syncer.cancel();
    QVERIFY(QTest::qWaitFor([&] { return m_display.finished == 1; }, 10000));
    if (how == "eject cancelled")
        QVERIFY(syncer.cancelEject());
    if (how == "eject")
        QVERIFY(ejects.wait(5000));

    QCOMPARE(seen, phases);
    QCOMPARE(syncer.phase(), TVRSyncer::Phase::Idle);
    QCOMPARE(syncer.isStopped(), how.startsWith("cancel"));
}

// The eject after a sync runs beside the event loop: while UDisks2 takes its time, timers fire and
// the iPod stays the sync's until the eject has been tried.
void SyncerTest::ejectLeavesTheEventLoopTurning()
{
    TVRSyncer syncer(plugins(), &m_display);
    QSignalSpy ejects(&syncer, &TVRSyncer::ejectAttempted);
    // Made after the syncer, so that it goes first and answers a call it still holds should this fail.
    UDisks2StandIn udisks;
    udisks.addDrive("iPod", true, true);
    udisks.addBlock("sdb1", "iPod", {m_iPod->path()});
    udisks.holdCall("Unmount sdb1");
    QString error;
    QVERIFY2(udisks.start(&error), qPrintable(error));

    QVERIFY(runSync(syncer, TVRSyncer::SyncType::NormalThenEject));
    int ticks = 0;
    QTimer timer;
    timer.setInterval(1);
    connect(&timer, &QTimer::timeout, this, [&ticks] { ++ticks; });
    timer.start();
    QVERIFY(
        QTest::qWaitFor([&] { return syncer.phase() == TVRSyncer::Phase::Ejecting && udisks.isHoldingCall(); }, 10000));
    const int ticksWhenHeld = ticks;
    QVERIFY(QTest::qWaitFor([&] { return ticks >= ticksWhenHeld + 3; }, 10000));
    QVERIFY(ejects.isEmpty());

    // An eject that has begun runs to its end, and no sync may start on the iPod meanwhile.
    QVERIFY(syncer.isEjectPending());
    QVERIFY(!syncer.cancelEject());
    QVERIFY(!syncer.sync(TVRSyncer::SyncType::List, {"Beta"}, m_iPod));
    QCOMPARE(syncer.errorString(),
             QString("The iPod of the last sync is about to be ejected; try again once it has been."));
    RecordingDisplay otherDisplay;
    TVRSyncer other(plugins(), &otherDisplay);
    QVERIFY(!other.sync(TVRSyncer::SyncType::List, {"Beta"}, m_iPod));
    QVERIFY2(other.errorString().startsWith("Another sync to \"Tivaro iPod\" is running (process "),
             qPrintable(other.errorString()));

    udisks.releaseHeldCall();
    QVERIFY(ejects.wait(10000));
    QCOMPARE(ejects.first(), QVariantList({true, QString()}));
    QCOMPARE(udisks.calls(), QStringList({"Unmount sdb1", "Eject iPod", "PowerOff iPod"}));
    QCOMPARE(syncer.phase(), TVRSyncer::Phase::Idle);
    QVERIFY(other.sync(TVRSyncer::SyncType::List, {"Beta"}, m_iPod));
    QVERIFY(QTest::qWaitFor([&] { return otherDisplay.finished == 1; }, 10000));
}

QTEST_MAIN(SyncerTest)

#include "tst_syncer.moc"
