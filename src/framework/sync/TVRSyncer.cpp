#include "TVRSyncer.h"

#include "IPodSyncLock_p.h"
#include "LogManager.h"
#include "SyncLogFile.h"
#include "TVRProgressIndicator.h"
#include "TVRStatusField.h"
#include "TVRSyncAlerter.h"
#include "TVRSyncDownloadDelegate.h"
#include "TVRSyncInfo.h"
#include "TVRSyncPrefs.h"
#include "TVRSyncUtils.h"
#include "TVRSyncerDelegate.h"
#include "ThreadWorker_p.h"

#include "core/DistributedNotificationCenter_p.h"
#include "core/Logging_p.h"
#include "core/ObserverRegistration.h"
#include "core/PathUtils.h"
#include "core/UserDefaults.h"
#include "ipod/IPodEjection.h"
#include "ipod/TVRContactsManager.h"
#include "ipod/TVRiPod.h"
#include "plugins/ConfigureSyncUtils_p.h"
#include "plugins/TVRPlugin.h"
#include "text/NSStringXtra.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <QPointer>
#include <QThread>
#include <QTimer>

#include <ctime>
#include <exception>
#include <vector>

namespace {

const QString kLastSyncInfoName = QStringLiteral("** Last Sync Info **");
const QString kLastSyncContacts = QStringLiteral("LastSync");
const QString kTivaroFolder = QStringLiteral("Velmora");
// The owner the record of Tivaro's files gives the sync's own notes.
const QString kTivaroOwner = QStringLiteral("Tivaro");
const QString kTooManyNotes =
    QStringLiteral("Your iPod contains over 1,000 notes. Only the first 1,000 notes will be loaded on your iPod.");
constexpr int kNotesLimit = 1000;
constexpr int kPrepareDelayMs = 100;
constexpr int kEjectDelayMs = 2000;

// The note writer puts a name onto the volume with the characters FAT refuses replaced and ".txt"
// added; removing a special note must find it under every spelling.
QStringList spellingsOnVolume(const QString &name)
{
    const QString corrected = NSStringXtra::correctFilename(name);
    QStringList names{name, name + QStringLiteral(".txt")};
    if (corrected != name)
        names += QStringList{corrected, corrected + QStringLiteral(".txt")};
    return names;
}

} // namespace

// Everything a sync keeps between its steps, out of the header: the programs built on the syncer see a
// class whose layout does not change as it does.
struct TVRSyncer::Private {
    TVRStatusField *pluginStatus = nullptr;
    TVRStatusField *itemStatus = nullptr;
    TVRProgressIndicator *pluginProgress = nullptr;
    TVRSyncAlerter *alerter = nullptr;
    TVRSyncerDelegate *delegate = nullptr;
    PluginMap plugins;
    QStringList pluginsToSync;
    // The names still to sync, front first.
    QStringList pluginQueue;
    std::shared_ptr<TVRPlugin> currentPlugin;
    std::shared_ptr<TVRSyncInfo> syncInfo;
    std::shared_ptr<TVRiPod> synciPod;
    std::shared_ptr<LogManager> logManager;
    bool ejectAfterSync = false;
    qint32 totalThingsToSync = 0;
    QDateTime startSyncDate;
    UserDefaults defaults;
    std::shared_ptr<TVRDownloader> syncUtilsDownloader;
    QPointer<QObject> syncUtilsDelegate;
    SyncPhase phase;
    // A cancel is asked in any phase of a running sync and changes none of them: the sync still ends
    // the plug-in that runs, finishes, saves its log and ejects when asked. So it is a flag of its own.
    bool stopped = false;
    SyncType syncType = SyncType::Normal;

    std::unique_ptr<TVRNetwork> network;
    std::unique_ptr<IPodSyncLock> lock;
    // Running while a finished sync's eject waits; the lock is kept until the eject has been tried.
    std::unique_ptr<QTimer> ejectTimer;
    // The eject of the last sync that asked for one; kept until the next, as it may not be deleted
    // from within its own signal.
    std::unique_ptr<IPodEjection> ejection;
    std::vector<ObserverRegistration> observers;
    QStringList pluginsRun;
    QString lastError;
    QString logFileError;
    double lastSyncSeconds = 0;
};

TVRSyncer::TVRSyncer(const PluginMap &plugins, TVRSyncerDelegate *delegate, QObject *parent)
    : QObject(parent)
    , d(std::make_unique<Private>())
{
    d->delegate = delegate;
    d->plugins = plugins;
    d->observers.emplace_back(TVRSyncUtils::completeNotification,
                              [this](const Notification &) { onMainThread([this] { pluginDidFinishSync(); }); });
    d->observers.emplace_back(TVRSyncUtils::incrementProgressNotification,
                              [this](const Notification &) { onMainThread([this] { pluginDidIncrementProgress(); }); });
    d->observers.emplace_back(TVRSyncUtils::provideFeedbackNotification, [this](const Notification &notification) {
        onMainThread([this, userInfo = notification.userInfo] { pluginDidProvideSyncFeedback(userInfo); });
    });
    // Always queued, even from the main thread: the plug-in's request returns before the download starts.
    d->observers.emplace_back(TVRSyncUtils::downloadURLNotification, [this](const Notification &notification) {
        QMetaObject::invokeMethod(
            this, [this, userInfo = notification.userInfo] { startSyncUtilsDownload(userInfo); }, Qt::QueuedConnection);
    });
    d->observers.emplace_back(TVRSyncUtils::cancelDownloadNotification,
                              [this](const Notification &) { onMainThread([this] { cancelSyncUtilsDownload(); }); });
}

TVRSyncer::~TVRSyncer()
{
    // Observers go first, so that no report reaches a half-destroyed syncer.
    d->observers.clear();
}

void TVRSyncer::setPluginStatus(TVRStatusField *field)
{
    d->pluginStatus = field;
}

void TVRSyncer::setItemStatus(TVRStatusField *field)
{
    d->itemStatus = field;
}

void TVRSyncer::setProgressIndicator(TVRProgressIndicator *indicator)
{
    d->pluginProgress = indicator;
}

void TVRSyncer::setAlerter(TVRSyncAlerter *alerter)
{
    d->alerter = alerter;
}

void TVRSyncer::setEjectAfterSync(bool eject)
{
    d->ejectAfterSync = eject;
}

bool TVRSyncer::ejectAfterSync() const
{
    return d->ejectAfterSync;
}

TVRSyncer::Phase TVRSyncer::phase() const
{
    return d->phase.current();
}

bool TVRSyncer::isStopped() const
{
    return d->stopped;
}

void TVRSyncer::setiPod(const std::shared_ptr<TVRiPod> &iPod)
{
    d->synciPod = iPod;
}

std::shared_ptr<TVRiPod> TVRSyncer::iPod() const
{
    return d->synciPod;
}

void TVRSyncer::setPluginsToSync(const QStringList &names)
{
    d->pluginsToSync = names;
}

QStringList TVRSyncer::pluginsToSync() const
{
    return d->pluginsToSync;
}

QString TVRSyncer::errorString() const
{
    return d->lastError;
}

TVRSyncer::SyncType TVRSyncer::syncType() const
{
    return d->syncType;
}

qint32 TVRSyncer::totalThingsToSync() const
{
    return d->totalThingsToSync;
}

std::shared_ptr<LogManager> TVRSyncer::logManager() const
{
    return d->logManager;
}

std::shared_ptr<TVRSyncInfo> TVRSyncer::syncInfo() const
{
    return d->syncInfo;
}

QStringList TVRSyncer::pluginsRun() const
{
    return d->pluginsRun;
}

QDateTime TVRSyncer::startSyncDate() const
{
    return d->startSyncDate;
}

double TVRSyncer::lastSyncSeconds() const
{
    return d->lastSyncSeconds;
}

QString TVRSyncer::logFileError() const
{
    return d->logFileError;
}

std::shared_ptr<TVRDownloader> TVRSyncer::downloader() const
{
    return d->syncUtilsDownloader;
}

void TVRSyncer::onMainThread(std::function<void()> step)
{
    if (QThread::currentThread() == thread())
        step();
    else
        QMetaObject::invokeMethod(this, std::move(step), Qt::QueuedConnection);
}

TVRSyncer::SyncType TVRSyncer::syncTypeFromValue(qint32 value)
{
    switch (value) {
    case qint32(SyncType::Normal):
    case qint32(SyncType::Connect):
    case qint32(SyncType::Quick):
    case qint32(SyncType::NormalThenEject):
        return SyncType(value);
    default:
        return SyncType::List;
    }
}

bool TVRSyncer::isRunning() const
{
    switch (phase()) {
    case Phase::Preparing:
    case Phase::CheckingInternet:
    case Phase::SyncingPlugins:
    case Phase::Finishing:
        return true;
    case Phase::Idle:
    case Phase::WaitingToEject:
    case Phase::Ejecting:
        return false;
    }
    return false;
}

bool TVRSyncer::isSyncing() const
{
    const Phase current = phase();
    return !d->stopped &&
           (current == Phase::Preparing || current == Phase::CheckingInternet || current == Phase::SyncingPlugins);
}

void TVRSyncer::moveTo(Phase next)
{
    [[maybe_unused]] const bool moved = d->phase.moveTo(next);
    Q_ASSERT_X(moved, "TVRSyncer::moveTo", "a move the phase table does not allow");
    if (moved)
        Q_EMIT phaseChanged(next);
}

bool TVRSyncer::refusedWhileRunning()
{
    if (isRunning())
        d->lastError = QStringLiteral("A sync is already running.");
    else if (isEjectPending())
        d->lastError = QStringLiteral("The iPod of the last sync is about to be ejected; try again once it has been.");
    return isRunning() || isEjectPending();
}

bool TVRSyncer::sync(SyncType type, const QStringList &pluginsToSync, const std::shared_ptr<TVRiPod> &iPod)
{
    // Checked first: the iPod and the choice of a running sync are not to be replaced.
    if (refusedWhileRunning())
        return false;
    setiPod(iPod);
    setPluginsToSync(pluginsToSync);
    return performSync(type);
}

bool TVRSyncer::quickSync(const QString &pluginName)
{
    if (refusedWhileRunning())
        return false;
    setPluginsToSync({pluginName});
    return performSync(SyncType::Quick);
}

bool TVRSyncer::performSync(SyncType type)
{
    d->lastError.clear();
    if (refusedWhileRunning())
        return false;
    if (!d->synciPod) {
        d->lastError = QStringLiteral("There is no iPod to sync.");
        return false;
    }
    d->lock = std::make_unique<IPodSyncLock>(*d->synciPod);
    if (!d->lock->tryLock()) {
        d->lastError = d->lock->errorString();
        return false;
    }
    d->stopped = false;
    moveTo(Phase::Preparing);

    d->startSyncDate = QDateTime::currentDateTime();
    d->defaults.synchronize();
    d->syncType = type;
    d->logManager = LogManager::sharedManager();
    d->pluginsRun.clear();
    d->logFileError.clear();

    // Said in the log once the sync's heading is there.
    QStringList earlyLines;
    const QString record = d->synciPod->prepareOwnFilesRecord();
    if (!record.isEmpty())
        earlyLines.append(record);
    d->synciPod->setOutputOwner(kTivaroOwner);
    d->synciPod->setOutputGroup(QString());
    if (!d->synciPod->useNotes())
        earlyLines += removeOutputOfIPodWithoutNotes();

    if (type == SyncType::Normal || type == SyncType::NormalThenEject)
        chooseFromPreference(QStringLiteral("prefsNormalSync"), type == SyncType::Normal);
    else if (type == SyncType::Connect)
        chooseFromPreference(QStringLiteral("prefsiPodConnect"), true);
    if (type == SyncType::NormalThenEject)
        d->ejectAfterSync = true;

    removeSpecialNotes();
    doLastSyncInfo();

    d->logManager->appendBigHeading(QStringLiteral("Syncing to %1").arg(d->synciPod->name()));
    d->logManager->appendLog(QStringLiteral("Type: %1").arg(d->synciPod->iPodFamilyDescription()));
    for (const QString &line : std::as_const(earlyLines))
        d->logManager->appendLog(line);
    logWhenNothingToRun();

    if (d->pluginProgress) {
        d->pluginProgress->setIndeterminate(true);
        d->pluginProgress->startAnimation();
    }
    setPluginStatusText(QStringLiteral("Preparing..."));
    setItemStatusText(QString());
    // A moment for whoever shows the sync to draw before the work begins.
    QTimer::singleShot(kPrepareDelayMs, this, &TVRSyncer::startPrepareSync);
    return true;
}

QStringList TVRSyncer::removeOutputOfIPodWithoutNotes()
{
    // Only Tivaro's own notes and contacts go: the Notes folder may hold the user's, and an iPod whose
    // SysInfo went missing (after a restore by other tools) is taken for one without notes.
    QStringList lines{QStringLiteral("This iPod is taken for one without notes (%1%2), so Tivaro's notes are removed "
                                     "from it.")
                          .arg(d->synciPod->iPodFamilyDescription(),
                               QFileInfo::exists(d->synciPod->sysInfoPath())
                                   ? QString()
                                   : QStringLiteral(": it has no iPod_Control/Device/SysInfo"))};
    RemovalReport report = d->synciPod->removeOwnFilesBelow(d->synciPod->realTivaroFolder());
    report.add(d->synciPod->removeContactsWithPrefix(QStringLiteral("Tivaro")));
    lines +=
        report.isEmpty() ? QStringList{QStringLiteral("Nothing of Tivaro's was there to remove.")} : report.describe();
    return lines;
}

void TVRSyncer::chooseFromPreference(const QString &key, bool takeEject)
{
    const QVariant stored = d->defaults.objectForKey(key);
    if (stored.isValid() && stored.metaType().id() != QMetaType::QVariantMap)
        d->logManager->appendWarning(
            QStringLiteral("The preference \"%1\" is not a dictionary; every plug-in is synced.").arg(key));
    const QVariantMap choice = d->defaults.dictionaryForKey(key);
    d->pluginsToSync = ConfigureSyncUtils::plugins(d->plugins.keys(), choice);
    if (takeEject)
        d->ejectAfterSync = UserDefaults::boolValue(choice.value(QStringLiteral("ejectAfterSync")));
}

void TVRSyncer::logWhenNothingToRun()
{
    if (d->plugins.isEmpty()) {
        d->logManager->appendError(QStringLiteral("Nothing was synced: no plug-ins are installed."));
        return;
    }
    // An empty choice means every plug-in; a plug-in that failed to load is still there to name.
    QStringList missing;
    for (const QString &name : std::as_const(d->pluginsToSync)) {
        if (d->plugins.contains(name))
            return;
        const QString quoted = QLatin1Char('"') + name + QLatin1Char('"');
        if (!missing.contains(quoted))
            missing.append(quoted);
    }
    if (missing.isEmpty())
        return;
    const QString installed = d->plugins.keys().join(QStringLiteral(", "));
    d->logManager->appendError(
        missing.size() == 1
            ? QStringLiteral("Nothing was synced: the chosen plug-in %1 is not installed (installed: %2).")
                  .arg(missing.constFirst(), installed)
            : QStringLiteral("Nothing was synced: the chosen plug-ins %1 are not installed (installed: %2).")
                  .arg(missing.join(QStringLiteral(", ")), installed));
}

void TVRSyncer::startPrepareSync()
{
    // The worker gets copies: the main thread goes on serving events while plug-ins count.
    auto preparation = std::make_shared<Preparation>();
    ThreadWorker::workOn(
        [preparation, plugins = d->plugins, chosen = d->pluginsToSync](const QVariant &, ThreadWorker &) {
            *preparation = prepareSync(plugins, chosen);
            return QVariant();
        },
        {},
        [this, preparation](const QVariant &) {
            d->totalThingsToSync = preparation->total;
            d->pluginQueue = preparation->names;
            for (const QString &error : std::as_const(preparation->errors))
                d->logManager->appendError(error);
            startSync(preparation->needsInternet);
        },
        this);
}

TVRSyncer::Preparation TVRSyncer::prepareSync(const PluginMap &plugins, const QStringList &pluginsToSync)
{
    Preparation result;
    // Never reset between plug-ins: each plug-in must give its own answer.
    bool answer = false;
    for (auto entry = plugins.cbegin(); entry != plugins.cend(); ++entry) {
        const QString &name = entry.key();
        if (!shouldSyncPluginNamed(pluginsToSync, name))
            continue;
        const std::shared_ptr<TVRPlugin> &plugin = entry.value();
        qint32 count = 0;
        if (plugin) {
            try {
                count = plugin->prepareSync(&answer, nullptr);
            } catch (const std::exception &error) {
                result.errors.append(
                    QStringLiteral("%1 failed to prepare: %2").arg(name, QString::fromLocal8Bit(error.what())));
            }
        }
        result.total += count + 1;
        if (answer)
            result.needsInternet = true;
        result.names.append(name);
    }
    return result;
}

bool TVRSyncer::shouldSyncPluginNamed(const QStringList &pluginsToSync, const QString &name)
{
    return pluginsToSync.isEmpty() || pluginsToSync.contains(name);
}

void TVRSyncer::startSync(bool needsInternet)
{
    if (!needsInternet) {
        makeSyncInfo(false);
        doSync();
        return;
    }
    moveTo(Phase::CheckingInternet);
    setPluginStatusText(QStringLiteral("Checking internet connection..."));
    d->network = std::make_unique<TVRNetwork>();
    d->network->detectInternetConnectionWithDelegate(this);
}

void TVRSyncer::detectedInternetConnection(TVRNetwork *network)
{
    if (phase() != Phase::CheckingInternet || network != d->network.get())
        return;
    makeSyncInfo(network->connectedToInternet());
    doSync();
}

void TVRSyncer::makeSyncInfo(bool connectedToInternet)
{
    d->syncInfo = std::make_shared<TVRSyncInfo>(d->synciPod, std::make_shared<TVRSyncPrefs>(), d->logManager,
                                                connectedToInternet);
}

void TVRSyncer::doSync()
{
    moveTo(Phase::SyncingPlugins);
    if (d->pluginProgress) {
        d->pluginProgress->stopAnimation();
        d->pluginProgress->setIndeterminate(false);
        d->pluginProgress->setMinValue(0);
        d->pluginProgress->setMaxValue(d->totalThingsToSync);
        d->pluginProgress->setDoubleValue(0);
    }
    setPluginStatusText(QStringLiteral("Syncing"));
    setItemStatusText(QString());
    syncNextPlugin();
}

void TVRSyncer::syncNextPlugin()
{
    setItemStatusText(QString());
    for (;;) {
        if (d->stopped || d->pluginQueue.isEmpty()) {
            finishSync();
            return;
        }
        const QString name = d->pluginQueue.takeFirst();
        d->currentPlugin = d->plugins.value(name);
        if (d->currentPlugin)
            break;
        d->logManager->appendError(QStringLiteral("Failed to load %1").arg(name));
        // A plug-in that is not there still had its step counted.
        if (d->pluginProgress)
            d->pluginProgress->incrementBy(1.0);
    }
    const std::shared_ptr<TVRPlugin> plugin = d->currentPlugin;
    const std::shared_ptr<TVRSyncInfo> syncInfo = d->syncInfo;
    d->synciPod->setOutputOwner(plugin->name());
    d->synciPod->setOutputGroup(QString());
    d->synciPod->clearWrittenFiles();
    d->logManager->appendToolHeading(plugin->name());
    setPluginStatusText(QStringLiteral("Syncing %1").arg(plugin->name()));
    d->pluginsRun.append(plugin->name());
    try {
        plugin->sync(syncInfo.get());
    } catch (const std::exception &error) {
        d->logManager->appendError(
            QStringLiteral("%1 stopped with an error: %2").arg(plugin->name(), QString::fromLocal8Bit(error.what())));
        TVRSyncUtils::reportSyncComplete(plugin.get());
    }
}

void TVRSyncer::pluginDidFinishSync()
{
    if (phase() != Phase::SyncingPlugins || !d->currentPlugin)
        return;
    if (d->pluginProgress)
        d->pluginProgress->incrementBy(1.0);
    saveOwnFilesRecord();
    // The next plug-in starts once the report has returned, from the event loop: nothing runs under
    // the feet of a plug-in that completes from inside its own sync() or a callback of its own, and a
    // thousand such plug-ins do not nest on the stack.
    QMetaObject::invokeMethod(this, &TVRSyncer::syncNextPlugin, Qt::QueuedConnection);
}

void TVRSyncer::pluginDidIncrementProgress()
{
    if (isRunning() && d->pluginProgress)
        d->pluginProgress->incrementBy(1.0);
}

void TVRSyncer::pluginDidProvideSyncFeedback(const QVariantMap &userInfo)
{
    if (d->stopped || !isRunning())
        return;
    const QVariant feedback = userInfo.value(QStringLiteral("feedback"));
    if (feedback.isValid())
        setItemStatusText(feedback.toString());
}

void TVRSyncer::cancel()
{
    if (isRunning() && d->logManager)
        d->logManager->appendError(QStringLiteral("User cancelled sync."));
    if (d->currentPlugin)
        d->currentPlugin->cancelSync();
    d->stopped = true;
}

void TVRSyncer::saveOwnFilesRecord()
{
    QString error;
    if (!d->synciPod->saveOwnFilesRecord(&error))
        d->logManager->appendError(
            QStringLiteral("The record of Tivaro's files on the iPod could not be saved: %1").arg(error));
}

void TVRSyncer::finishSync()
{
    moveTo(Phase::Finishing);
    saveOwnFilesRecord();
    warnAboutTooManyNotes();
    d->defaults.synchronize();
    if (d->delegate)
        d->delegate->syncerFinished(this);
    removeEmptyTivaroFolder();
    const bool eject = d->ejectAfterSync;
    d->ejectAfterSync = false;
    saveLog();
    d->syncInfo.reset();
    d->currentPlugin.reset();
    d->pluginsToSync.clear();
    d->network.reset();
    // An iPod about to be ejected stays locked until the eject has been tried.
    if (eject) {
        scheduleEject();
        return;
    }
    d->lock.reset();
    moveTo(Phase::Idle);
}

void TVRSyncer::warnAboutTooManyNotes()
{
    if (d->synciPod->numberOfNotes() <= kNotesLimit)
        return;
    d->logManager->appendWarning(QStringLiteral("\rWarning: ") + kTooManyNotes);
    if (d->alerter) {
        d->alerter->beep();
        d->alerter->activateApplication();
        d->alerter->runWarning(QStringLiteral("Warning"), kTooManyNotes, QStringLiteral("OK"));
    }
}

void TVRSyncer::removeEmptyTivaroFolder()
{
    const QString folder = PathUtils::appendingPathComponent(d->synciPod->notesFolder(), kTivaroFolder);
    QDir dir(folder);
    // A link is never followed: what it points to is not the iPod's.
    if (!dir.exists() || QFileInfo(folder).isSymLink())
        return;
    // Only hidden entries left (a desktop's ".Trash" or "._" files) counts as empty.
    const QStringList visible = dir.entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::System);
    if (visible.isEmpty() && !dir.removeRecursively())
        qCWarning(lcSync) << "Cannot remove the empty folder" << folder;
}

void TVRSyncer::scheduleEject()
{
    moveTo(Phase::WaitingToEject);
    // The iPod of this sync, whatever setiPod() is given meanwhile.
    d->ejection = std::make_unique<IPodEjection>(d->synciPod);
    connect(d->ejection.get(), &IPodEjection::finished, this, &TVRSyncer::ejectFinished);
    d->ejectTimer = std::make_unique<QTimer>();
    d->ejectTimer->setSingleShot(true);
    connect(d->ejectTimer.get(), &QTimer::timeout, this, &TVRSyncer::startEject);
    d->ejectTimer->start(kEjectDelayMs);
}

void TVRSyncer::startEject()
{
    moveTo(Phase::Ejecting);
    // The D-Bus calls of an eject may take a minute: they run on a thread of their own, and the
    // event loop goes on meanwhile (a window redraws, a signal is read).
    d->ejection->start();
}

void TVRSyncer::ejectFinished(bool ejected, const QString &error)
{
    if (!ejected)
        qCWarning(lcSync) << "Eject of" << d->ejection->iPod()->path() << "failed:" << error;
    d->lock.reset();
    moveTo(Phase::Idle);
    Q_EMIT ejectAttempted(ejected, error);
}

bool TVRSyncer::isEjectPending() const
{
    return phase() == Phase::WaitingToEject || phase() == Phase::Ejecting;
}

bool TVRSyncer::cancelEject()
{
    if (phase() != Phase::WaitingToEject)
        return false;
    d->ejectTimer->stop();
    d->ejection.reset();
    d->lock.reset();
    moveTo(Phase::Idle);
    return true;
}

void TVRSyncer::saveLog()
{
    QString aside;
    QString problem;
    if (!SyncLogFile::setAsideIfCorrupt(&aside, &problem))
        d->logFileError = problem;
    else if (!aside.isEmpty())
        d->logManager->appendWarning(
            QStringLiteral("The sync log file could not be read (%1); it was kept as %2 and a new one started.")
                .arg(problem, aside));

    d->lastSyncSeconds = d->startSyncDate.msecsTo(QDateTime::currentDateTime()) / 1000.0;
    d->logManager->appendSmallHeading(
        QStringLiteral("\rSync Complete (%1 seconds)").arg(d->lastSyncSeconds, 0, 'f', 2));

    const QByteArray archive = d->logManager->archive();
    DistributedNotificationCenter::postNotificationName(QStringLiteral("NewLogManager"),
                                                        {{QStringLiteral("data"), archive}});
    QString error;
    if (d->logFileError.isEmpty() && !SyncLogFile::append(archive, &error))
        d->logFileError = error;
    if (!d->logFileError.isEmpty())
        qCWarning(lcSync) << "The sync log was not saved:" << d->logFileError;
}

void TVRSyncer::removeSpecialNotes()
{
    QList<QByteArray> paths;
    for (const QString &name : spellingsOnVolume(kLastSyncInfoName)) {
        const QByteArray encoded = QFile::encodeName(name);
        paths += {"Notes/" + encoded, "Notes/" + QFile::encodeName(kTivaroFolder) + '/' + encoded};
    }
    logKept(d->synciPod->removeOwnFiles(paths));
    logKept(TVRContactsManager::managerForiPod(d->synciPod, kLastSyncContacts)->removeContactsFileFromiPod());
}

void TVRSyncer::logKept(const RemovalReport &report)
{
    if (report.kept.isEmpty())
        return;
    RemovalReport kept;
    kept.kept = report.kept;
    for (const QString &line : kept.describe())
        d->logManager->appendLog(line);
}

void TVRSyncer::doLastSyncInfo()
{
    if (!d->defaults.boolForKey(QStringLiteral("iPodLastSyncInfo"))) {
        logKept(TVRContactsManager::managerForiPod(d->synciPod, kLastSyncContacts)->removeContactsFileFromiPod());
        for (const QString &name : spellingsOnVolume(kLastSyncInfoName))
            logKept(d->synciPod->removeNotesFoldersNamed(name));
        return;
    }
    const QString today = shortDateToday();
    if (d->synciPod->useNotes()) {
        if (!d->synciPod->writeNoteToiPod(today, kLastSyncInfoName, QString()))
            d->logManager->appendError(d->synciPod->errorString());
        return;
    }
    const auto contacts = TVRContactsManager::managerForiPod(d->synciPod, kLastSyncContacts);
    contacts->appendContactWithText(today, kLastSyncInfoName);
    if (!contacts->writeContactsFileToiPod())
        d->logManager->appendError(contacts->errorString());
}

QString TVRSyncer::shortDateToday() const
{
    // A format stored the Mac's way ("%m/%d/%y") wins over the locale's.
    const QString format = d->defaults.stringForKey(QStringLiteral("NSShortDateFormatString"));
    if (!format.isEmpty()) {
        const std::time_t now = std::time(nullptr);
        std::tm local{};
        localtime_r(&now, &local);
        char text[256];
        const size_t length = std::strftime(text, sizeof text, format.toLocal8Bit().constData(), &local);
        if (length > 0)
            return QString::fromLocal8Bit(text, qsizetype(length));
    }
    return QLocale::system().toString(QDate::currentDate(), QLocale::ShortFormat);
}

void TVRSyncer::startSyncUtilsDownload(const QVariantMap &userInfo)
{
    if (userInfo.isEmpty())
        return;
    const QUrl url = userInfo.value(QStringLiteral("url")).toUrl();
    d->syncUtilsDelegate = userInfo.value(QStringLiteral("delegate")).value<QObject *>();
    // Read and dropped, as plug-ins have always been told.
    Q_UNUSED(userInfo.value(QStringLiteral("timeout")));
    d->syncUtilsDownloader = TVRDownloader::loadWithURL(url, this);
    if (!d->syncUtilsDownloader) {
        if (d->logManager && isRunning())
            d->logManager->appendError(QStringLiteral("Download failed: %1").arg(url.toDisplayString()));
        syncUtilsDownloadComplete();
    }
}

void TVRSyncer::downloadFinished(TVRDownloader *)
{
    syncUtilsDownloadComplete();
}

void TVRSyncer::downloadFailedWithErrorType(int)
{
    // One line naming the URL and what happened: "Download timed out: <url>: no data for 20 seconds".
    if (d->logManager && isRunning() && d->syncUtilsDownloader)
        d->logManager->appendError(
            d->syncUtilsDownloader->failure().message(d->syncUtilsDownloader->url().toDisplayString()));
    syncUtilsDownloadComplete();
}

void TVRSyncer::syncUtilsDownloadComplete()
{
    if (auto *delegate = dynamic_cast<TVRSyncDownloadDelegate *>(d->syncUtilsDelegate.data()))
        delegate->downloadComplete(d->syncUtilsDownloader.get());
}

void TVRSyncer::cancelSyncUtilsDownload()
{
    if (d->syncUtilsDownloader)
        d->syncUtilsDownloader->cancel();
}

void TVRSyncer::setPluginStatusText(const QString &text)
{
    if (d->pluginStatus)
        d->pluginStatus->setStringValue(text);
}

void TVRSyncer::setItemStatusText(const QString &text)
{
    if (d->itemStatus)
        d->itemStatus->setStringValue(text);
}
