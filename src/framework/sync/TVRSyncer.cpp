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
#include "core/PathUtils.h"
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
#include <QThread>
#include <QTimer>

#include <ctime>
#include <exception>

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

TVRSyncer::TVRSyncer(const PluginMap &plugins, TVRSyncerDelegate *delegate, QObject *parent)
    : QObject(parent)
    , m_delegate(delegate)
    , m_plugins(plugins)
{
    m_observers.emplace_back(TVRSyncUtils::completeNotification,
                             [this](const Notification &) { onMainThread([this] { pluginDidFinishSync(); }); });
    m_observers.emplace_back(TVRSyncUtils::incrementProgressNotification,
                             [this](const Notification &) { onMainThread([this] { pluginDidIncrementProgress(); }); });
    m_observers.emplace_back(TVRSyncUtils::provideFeedbackNotification, [this](const Notification &notification) {
        onMainThread([this, userInfo = notification.userInfo] { pluginDidProvideSyncFeedback(userInfo); });
    });
    // Always queued, even from the main thread: the plug-in's request returns before the download starts.
    m_observers.emplace_back(TVRSyncUtils::downloadURLNotification, [this](const Notification &notification) {
        QMetaObject::invokeMethod(
            this, [this, userInfo = notification.userInfo] { startSyncUtilsDownload(userInfo); }, Qt::QueuedConnection);
    });
    m_observers.emplace_back(TVRSyncUtils::cancelDownloadNotification,
                             [this](const Notification &) { onMainThread([this] { cancelSyncUtilsDownload(); }); });
}

TVRSyncer::~TVRSyncer()
{
    // Observers go first, so that no report reaches a half-destroyed syncer.
    m_observers.clear();
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
    return !m_stopped &&
           (current == Phase::Preparing || current == Phase::CheckingInternet || current == Phase::SyncingPlugins);
}

void TVRSyncer::moveTo(Phase next)
{
    [[maybe_unused]] const bool moved = m_phase.moveTo(next);
    Q_ASSERT_X(moved, "TVRSyncer::moveTo", "a move the phase table does not allow");
    if (moved)
        Q_EMIT phaseChanged(next);
}

bool TVRSyncer::refusedWhileRunning()
{
    if (isRunning())
        m_lastError = QStringLiteral("A sync is already running.");
    else if (isEjectPending())
        m_lastError = QStringLiteral("The iPod of the last sync is about to be ejected; try again once it has been.");
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
    m_lastError.clear();
    if (refusedWhileRunning())
        return false;
    if (!m_synciPod) {
        m_lastError = QStringLiteral("There is no iPod to sync.");
        return false;
    }
    m_lock = std::make_unique<IPodSyncLock>(*m_synciPod);
    if (!m_lock->tryLock()) {
        m_lastError = m_lock->errorString();
        return false;
    }
    m_stopped = false;
    moveTo(Phase::Preparing);

    m_startSyncDate = QDateTime::currentDateTime();
    m_defaults.synchronize();
    m_syncType = type;
    m_logManager = LogManager::sharedManager();
    m_pluginsRun.clear();
    m_logFileError.clear();

    // Said in the log once the sync's heading is there.
    QStringList earlyLines;
    const QString record = m_synciPod->prepareOwnFilesRecord();
    if (!record.isEmpty())
        earlyLines.append(record);
    m_synciPod->setOutputOwner(kTivaroOwner);
    m_synciPod->setOutputGroup(QString());
    if (!m_synciPod->useNotes())
        earlyLines += removeOutputOfIPodWithoutNotes();

    if (type == SyncType::Normal || type == SyncType::NormalThenEject)
        chooseFromPreference(QStringLiteral("prefsNormalSync"), type == SyncType::Normal);
    else if (type == SyncType::Connect)
        chooseFromPreference(QStringLiteral("prefsiPodConnect"), true);
    if (type == SyncType::NormalThenEject)
        m_ejectAfterSync = true;

    removeSpecialNotes();
    doLastSyncInfo();

    m_logManager->appendBigHeading(QStringLiteral("Syncing to %1").arg(m_synciPod->name()));
    m_logManager->appendLog(QStringLiteral("Type: %1").arg(m_synciPod->iPodFamilyDescription()));
    for (const QString &line : std::as_const(earlyLines))
        m_logManager->appendLog(line);
    logWhenNothingToRun();

    if (m_pluginProgress) {
        m_pluginProgress->setIndeterminate(true);
        m_pluginProgress->startAnimation();
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
    QStringList lines{
        QStringLiteral("This iPod is taken for one without notes (%1%2), so Tivaro's notes are removed "
                       "from it.")
            .arg(m_synciPod->iPodFamilyDescription(), QFileInfo::exists(m_synciPod->sysInfoPath())
                                                          ? QString()
                                                          : QStringLiteral(": it has no iPod_Control/Device/SysInfo"))};
    RemovalReport report = m_synciPod->removeOwnFilesBelow(m_synciPod->realTivaroFolder());
    report.add(m_synciPod->removeContactsWithPrefix(QStringLiteral("Tivaro")));
    lines +=
        report.isEmpty() ? QStringList{QStringLiteral("Nothing of Tivaro's was there to remove.")} : report.describe();
    return lines;
}

void TVRSyncer::chooseFromPreference(const QString &key, bool takeEject)
{
    const QVariant stored = m_defaults.objectForKey(key);
    if (stored.isValid() && stored.metaType().id() != QMetaType::QVariantMap)
        m_logManager->appendWarning(
            QStringLiteral("The preference \"%1\" is not a dictionary; every plug-in is synced.").arg(key));
    const QVariantMap choice = m_defaults.dictionaryForKey(key);
    m_pluginsToSync = ConfigureSyncUtils::plugins(m_plugins.keys(), choice);
    if (takeEject)
        m_ejectAfterSync = UserDefaults::boolValue(choice.value(QStringLiteral("ejectAfterSync")));
}

void TVRSyncer::logWhenNothingToRun()
{
    if (m_plugins.isEmpty()) {
        m_logManager->appendError(QStringLiteral("Nothing was synced: no plug-ins are installed."));
        return;
    }
    // An empty choice means every plug-in; a plug-in that failed to load is still there to name.
    QStringList missing;
    for (const QString &name : std::as_const(m_pluginsToSync)) {
        if (m_plugins.contains(name))
            return;
        const QString quoted = QLatin1Char('"') + name + QLatin1Char('"');
        if (!missing.contains(quoted))
            missing.append(quoted);
    }
    if (missing.isEmpty())
        return;
    const QString installed = m_plugins.keys().join(QStringLiteral(", "));
    m_logManager->appendError(
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
        [preparation, plugins = m_plugins, chosen = m_pluginsToSync](const QVariant &, ThreadWorker &) {
            *preparation = prepareSync(plugins, chosen);
            return QVariant();
        },
        {},
        [this, preparation](const QVariant &) {
            m_totalThingsToSync = preparation->total;
            m_pluginQueue = preparation->names;
            for (const QString &error : std::as_const(preparation->errors))
                m_logManager->appendError(error);
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
    m_network = std::make_unique<TVRNetwork>();
    m_network->detectInternetConnectionWithDelegate(this);
}

void TVRSyncer::detectedInternetConnection(TVRNetwork *network)
{
    if (phase() != Phase::CheckingInternet || network != m_network.get())
        return;
    makeSyncInfo(network->connectedToInternet());
    doSync();
}

void TVRSyncer::makeSyncInfo(bool connectedToInternet)
{
    m_syncInfo =
        std::make_shared<TVRSyncInfo>(m_synciPod, std::make_shared<TVRSyncPrefs>(), m_logManager, connectedToInternet);
}

void TVRSyncer::doSync()
{
    moveTo(Phase::SyncingPlugins);
    if (m_pluginProgress) {
        m_pluginProgress->stopAnimation();
        m_pluginProgress->setIndeterminate(false);
        m_pluginProgress->setMinValue(0);
        m_pluginProgress->setMaxValue(m_totalThingsToSync);
        m_pluginProgress->setDoubleValue(0);
    }
    setPluginStatusText(QStringLiteral("Syncing"));
    setItemStatusText(QString());
    syncNextPlugin();
}

void TVRSyncer::syncNextPlugin()
{
    setItemStatusText(QString());
    for (;;) {
        if (m_stopped || m_pluginQueue.isEmpty()) {
            finishSync();
            return;
        }
        const QString name = m_pluginQueue.takeFirst();
        m_currentPlugin = m_plugins.value(name);
        if (m_currentPlugin)
            break;
        m_logManager->appendError(QStringLiteral("Failed to load %1").arg(name));
        // A plug-in that is not there still had its step counted.
        if (m_pluginProgress)
            m_pluginProgress->incrementBy(1.0);
    }
    const std::shared_ptr<TVRPlugin> plugin = m_currentPlugin;
    const std::shared_ptr<TVRSyncInfo> syncInfo = m_syncInfo;
    m_synciPod->setOutputOwner(plugin->name());
    m_synciPod->setOutputGroup(QString());
    m_synciPod->clearWrittenFiles();
    m_logManager->appendToolHeading(plugin->name());
    setPluginStatusText(QStringLiteral("Syncing %1").arg(plugin->name()));
    m_pluginsRun.append(plugin->name());
    try {
        plugin->sync(syncInfo.get());
    } catch (const std::exception &error) {
        m_logManager->appendError(
            QStringLiteral("%1 stopped with an error: %2").arg(plugin->name(), QString::fromLocal8Bit(error.what())));
        TVRSyncUtils::reportSyncComplete(plugin.get());
    }
}

void TVRSyncer::pluginDidFinishSync()
{
    if (phase() != Phase::SyncingPlugins || !m_currentPlugin)
        return;
    if (m_pluginProgress)
        m_pluginProgress->incrementBy(1.0);
    saveOwnFilesRecord();
    // The next plug-in starts once the report has returned, from the event loop: nothing runs under
    // the feet of a plug-in that completes from inside its own sync() or a callback of its own, and a
    // thousand such plug-ins do not nest on the stack.
    QMetaObject::invokeMethod(this, &TVRSyncer::syncNextPlugin, Qt::QueuedConnection);
}

void TVRSyncer::pluginDidIncrementProgress()
{
    if (isRunning() && m_pluginProgress)
        m_pluginProgress->incrementBy(1.0);
}

void TVRSyncer::pluginDidProvideSyncFeedback(const QVariantMap &userInfo)
{
    if (m_stopped || !isRunning())
        return;
    const QVariant feedback = userInfo.value(QStringLiteral("feedback"));
    if (feedback.isValid())
        setItemStatusText(feedback.toString());
}

void TVRSyncer::cancel()
{
    if (isRunning() && m_logManager)
        m_logManager->appendError(QStringLiteral("User cancelled sync."));
    if (m_currentPlugin)
        m_currentPlugin->cancelSync();
    m_stopped = true;
}

void TVRSyncer::saveOwnFilesRecord()
{
    QString error;
    if (!m_synciPod->saveOwnFilesRecord(&error))
        m_logManager->appendError(
            QStringLiteral("The record of Tivaro's files on the iPod could not be saved: %1").arg(error));
}

void TVRSyncer::finishSync()
{
    moveTo(Phase::Finishing);
    saveOwnFilesRecord();
    warnAboutTooManyNotes();
    m_defaults.synchronize();
    if (m_delegate)
        m_delegate->syncerFinished(this);
    removeEmptyTivaroFolder();
    const bool eject = m_ejectAfterSync;
    m_ejectAfterSync = false;
    saveLog();
    m_syncInfo.reset();
    m_currentPlugin.reset();
    m_pluginsToSync.clear();
    m_network.reset();
    // An iPod about to be ejected stays locked until the eject has been tried.
    if (eject) {
        scheduleEject();
        return;
    }
    m_lock.reset();
    moveTo(Phase::Idle);
}

void TVRSyncer::warnAboutTooManyNotes()
{
    if (m_synciPod->numberOfNotes() <= kNotesLimit)
        return;
    m_logManager->appendWarning(QStringLiteral("\rWarning: ") + kTooManyNotes);
    if (m_alerter) {
        m_alerter->beep();
        m_alerter->activateApplication();
        m_alerter->runWarning(QStringLiteral("Warning"), kTooManyNotes, QStringLiteral("OK"));
    }
}

void TVRSyncer::removeEmptyTivaroFolder()
{
    const QString folder = PathUtils::appendingPathComponent(m_synciPod->notesFolder(), kTivaroFolder);
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
    m_ejection = std::make_unique<IPodEjection>(m_synciPod);
    connect(m_ejection.get(), &IPodEjection::finished, this, &TVRSyncer::ejectFinished);
    m_ejectTimer = std::make_unique<QTimer>();
    m_ejectTimer->setSingleShot(true);
    connect(m_ejectTimer.get(), &QTimer::timeout, this, &TVRSyncer::startEject);
    m_ejectTimer->start(kEjectDelayMs);
}

void TVRSyncer::startEject()
{
    moveTo(Phase::Ejecting);
    // The D-Bus calls of an eject may take a minute: they run on a thread of their own, and the
    // event loop goes on meanwhile (a window redraws, a signal is read).
    m_ejection->start();
}

void TVRSyncer::ejectFinished(bool ejected, const QString &error)
{
    if (!ejected)
        qCWarning(lcSync) << "Eject of" << m_ejection->iPod()->path() << "failed:" << error;
    m_lock.reset();
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
    m_ejectTimer->stop();
    m_ejection.reset();
    m_lock.reset();
    moveTo(Phase::Idle);
    return true;
}

void TVRSyncer::saveLog()
{
    QString aside;
    QString problem;
    if (!SyncLogFile::setAsideIfCorrupt(&aside, &problem))
        m_logFileError = problem;
    else if (!aside.isEmpty())
        m_logManager->appendWarning(
            QStringLiteral("The sync log file could not be read (%1); it was kept as %2 and a new one started.")
                .arg(problem, aside));

    m_lastSyncSeconds = m_startSyncDate.msecsTo(QDateTime::currentDateTime()) / 1000.0;
    m_logManager->appendSmallHeading(QStringLiteral("\rSync Complete (%1 seconds)").arg(m_lastSyncSeconds, 0, 'f', 2));

    const QByteArray archive = m_logManager->archive();
    DistributedNotificationCenter::postNotificationName(QStringLiteral("NewLogManager"),
                                                        {{QStringLiteral("data"), archive}});
    QString error;
    if (m_logFileError.isEmpty() && !SyncLogFile::append(archive, &error))
        m_logFileError = error;
    if (!m_logFileError.isEmpty())
        qCWarning(lcSync) << "The sync log was not saved:" << m_logFileError;
}

void TVRSyncer::removeSpecialNotes()
{
    QList<QByteArray> paths;
    for (const QString &name : spellingsOnVolume(kLastSyncInfoName)) {
        const QByteArray encoded = QFile::encodeName(name);
        paths += {"Notes/" + encoded, "Notes/" + QFile::encodeName(kTivaroFolder) + '/' + encoded};
    }
    logKept(m_synciPod->removeOwnFiles(paths));
    logKept(TVRContactsManager::managerForiPod(m_synciPod, kLastSyncContacts)->removeContactsFileFromiPod());
}

void TVRSyncer::logKept(const RemovalReport &report)
{
    if (report.kept.isEmpty())
        return;
    RemovalReport kept;
    kept.kept = report.kept;
    for (const QString &line : kept.describe())
        m_logManager->appendLog(line);
}

void TVRSyncer::doLastSyncInfo()
{
    if (!m_defaults.boolForKey(QStringLiteral("iPodLastSyncInfo"))) {
        logKept(TVRContactsManager::managerForiPod(m_synciPod, kLastSyncContacts)->removeContactsFileFromiPod());
        for (const QString &name : spellingsOnVolume(kLastSyncInfoName))
            logKept(m_synciPod->removeNotesFoldersNamed(name));
        return;
    }
    const QString today = shortDateToday();
    if (m_synciPod->useNotes()) {
        if (!m_synciPod->writeNoteToiPod(today, kLastSyncInfoName, QString()))
            m_logManager->appendError(m_synciPod->errorString());
        return;
    }
    const auto contacts = TVRContactsManager::managerForiPod(m_synciPod, kLastSyncContacts);
    contacts->appendContactWithText(today, kLastSyncInfoName);
    if (!contacts->writeContactsFileToiPod())
        m_logManager->appendError(contacts->errorString());
}

QString TVRSyncer::shortDateToday() const
{
    // A format stored the Mac's way ("%m/%d/%y") wins over the locale's.
    const QString format = m_defaults.stringForKey(QStringLiteral("NSShortDateFormatString"));
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
    m_syncUtilsDelegate = userInfo.value(QStringLiteral("delegate")).value<QObject *>();
    // Read and dropped, as plug-ins have always been told.
    Q_UNUSED(userInfo.value(QStringLiteral("timeout")));
    m_syncUtilsDownloader = TVRDownloader::loadWithURL(url, this);
    if (!m_syncUtilsDownloader) {
        if (m_logManager && isRunning())
            m_logManager->appendError(QStringLiteral("Download failed: %1").arg(url.toDisplayString()));
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
    if (m_logManager && isRunning() && m_syncUtilsDownloader)
        m_logManager->appendError(
            m_syncUtilsDownloader->failure().message(m_syncUtilsDownloader->url().toDisplayString()));
    syncUtilsDownloadComplete();
}

void TVRSyncer::syncUtilsDownloadComplete()
{
    if (auto *delegate = dynamic_cast<TVRSyncDownloadDelegate *>(m_syncUtilsDelegate.data()))
        delegate->downloadComplete(m_syncUtilsDownloader.get());
}

void TVRSyncer::cancelSyncUtilsDownload()
{
    if (m_syncUtilsDownloader)
        m_syncUtilsDownloader->cancel();
}

void TVRSyncer::setPluginStatusText(const QString &text)
{
    if (m_pluginStatus)
        m_pluginStatus->setStringValue(text);
}

void TVRSyncer::setItemStatusText(const QString &text)
{
    if (m_itemStatus)
        m_itemStatus->setStringValue(text);
}
