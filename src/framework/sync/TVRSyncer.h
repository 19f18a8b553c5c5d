#pragma once

#include "tivaro_export.h"

#include "SyncPhase.h"
#include "TVRNetwork.h"

#include "net/TVRDownloader.h"

#include <QDateTime>
#include <QMap>
#include <QObject>
#include <QStringList>

#include <functional>
#include <memory>

struct RemovalReport;
class LogManager;
class TVRPlugin;
class TVRProgressIndicator;
class TVRStatusField;
class TVRSyncAlerter;
class TVRSyncInfo;
class TVRSyncerDelegate;
class TVRiPod;

// Runs one sync: chooses the plug-ins, lets each count its work on a worker thread, checks the
// internet when one of them needs it, then runs them one after the other against one iPod. It
// drives the status lines and the progress bar, downloads for plug-ins, writes the special notes,
// and at the end saves the sync log, tells other processes about it and ejects the iPod if asked.
//
// Lives on the main thread. Plug-ins report through TVRSyncUtils; reports posted from other
// threads are carried over to the main thread. One syncer may run any number of syncs in turn; where
// it stands is one phase (SyncPhase), and nothing it does blocks its thread's event loop for long, the
// eject included.
// For Tivaro's programs; plug-ins have no use for it.
class TIVARO_EXPORT TVRSyncer : public QObject,
                                public TVRDownloaderDelegate,
                                public TVRDownloadFailureDelegate,
                                public TVRNetworkDelegate
{
    Q_OBJECT

public:
    using PluginMap = QMap<QString, std::shared_ptr<TVRPlugin>>;

    using Phase = SyncPhase::Phase;

    // What a sync runs. The values are those stored and exchanged as numbers; syncTypeFromValue() reads one.
    enum class SyncType : qint32 {
        // The choice of the preference "prefsNormalSync", ejecting as it says.
        Normal = 0,
        // The choice of "prefsiPodConnect", ejecting as it says.
        Connect = 1,
        // The caller's own list.
        List = 2,
        // The one plug-in given to quickSync().
        Quick = 3,
        // The choice of "prefsNormalSync", then always an eject.
        NormalThenEject = 4,
    };
    // Every number that is no other type stands for the caller's own list.
    static SyncType syncTypeFromValue(qint32 value);

    // The plug-ins by name; an entry may be null, standing for a plug-in that failed to load.
    TVRSyncer(const PluginMap &plugins, TVRSyncerDelegate *delegate, QObject *parent = nullptr);
    ~TVRSyncer() override;

    // What shows the sync; none is owned, any may be null.
    void setPluginStatus(TVRStatusField *field);
    void setItemStatus(TVRStatusField *field);
    void setProgressIndicator(TVRProgressIndicator *indicator);
    void setAlerter(TVRSyncAlerter *alerter);

    // Read when the sync finishes. A normal or connect sync sets it from its preference when it
    // starts (an eject sync sets it true), so a caller whose word wins sets it after the start.
    void setEjectAfterSync(bool eject);
    bool ejectAfterSync() const;
    Phase phase() const;
    // From the start of a sync until it finishes or is cancelled.
    bool isSyncing() const;
    // Set by cancel() until the next sync begins.
    bool isStopped() const;

    void setiPod(const std::shared_ptr<TVRiPod> &iPod);
    std::shared_ptr<TVRiPod> iPod() const;
    void setPluginsToSync(const QStringList &names);
    QStringList pluginsToSync() const;

    // Starts a sync of `type`. False, with errorString() saying why and nothing else done, when there
    // is no iPod, a sync is already running here, or another process is syncing the same iPod.
    bool sync(SyncType type, const QStringList &pluginsToSync, const std::shared_ptr<TVRiPod> &iPod);
    bool quickSync(const QString &pluginName);
    bool performSync(SyncType type);

    // Stops after the running plug-in has reported completion; the log is still saved.
    void cancel();
    // From the end of a sync that asked for an eject until the eject has been tried (it begins two
    // seconds later and runs on a thread of its own) the iPod stays locked and no new sync starts.
    // cancelEject() drops an eject that has not begun and frees the iPod; false when none was
    // waiting. An eject that has begun runs to its end.
    bool isEjectPending() const;
    bool cancelEject();

    QString errorString() const;
    SyncType syncType() const;
    qint32 totalThingsToSync() const;
    // The log of the running or last sync.
    std::shared_ptr<LogManager> logManager() const;
    std::shared_ptr<TVRSyncInfo> syncInfo() const;
    // The plug-ins of the last sync whose sync() was called, in order.
    QStringList pluginsRun() const;
    QDateTime startSyncDate() const;
    // Seconds the last finished sync took.
    double lastSyncSeconds() const;
    // Why the last sync's log could not be added to the sync log file; empty when it was.
    QString logFileError() const;
    std::shared_ptr<TVRDownloader> downloader() const;

    // The downloads run for plug-ins.
    void downloadFinished(TVRDownloader *downloader) override;
    void downloadFailedWithErrorType(int errorType) override;
    // The internet check.
    void detectedInternetConnection(TVRNetwork *network) override;

Q_SIGNALS:
    // Each time the phase changes, with the new one.
    void phaseChanged(TVRSyncer::Phase phase);
    // After the eject that a sync asked for has been tried, once the iPod is free again.
    void ejectAttempted(bool ejected, const QString &error);

private:
    struct Preparation {
        qint32 total = 0;
        bool needsInternet = false;
        QStringList names;
        QStringList errors;
    };

    // A sync (or the end of a cancelled one) is under way: from its start to the end of finishSync().
    bool isRunning() const;
    // True, with errorString() set, while a sync or its eject is under way.
    bool refusedWhileRunning();
    // Every change of phase goes through here; a move the table refuses is a fault of this class.
    void moveTo(Phase next);
    void chooseFromPreference(const QString &key, bool takeEject);
    // Logs an error when the choice names no installed plug-in, or none is installed: such a sync
    // runs nothing and must not pass for a clean one.
    void logWhenNothingToRun();
    void startPrepareSync();
    // Runs on a worker thread, on copies, so that nothing it reads changes under it.
    static Preparation prepareSync(const PluginMap &plugins, const QStringList &pluginsToSync);
    static bool shouldSyncPluginNamed(const QStringList &pluginsToSync, const QString &name);
    void startSync(bool needsInternet);
    void makeSyncInfo(bool connectedToInternet);
    void doSync();
    void syncNextPlugin();
    void finishSync();
    void warnAboutTooManyNotes();
    void removeEmptyTivaroFolder();
    void scheduleEject();
    void startEject();
    void ejectFinished(bool ejected, const QString &error);
    void saveLog();
    void removeSpecialNotes();
    // Lines for the log about what was removed from an iPod without notes, and what was kept.
    QStringList removeOutputOfIPodWithoutNotes();
    // Kept files of a removal the user should hear of (a note of their own where a special note goes).
    void logKept(const RemovalReport &report);
    void saveOwnFilesRecord();
    void doLastSyncInfo();
    QString shortDateToday() const;

    void pluginDidFinishSync();
    void pluginDidIncrementProgress();
    void pluginDidProvideSyncFeedback(const QVariantMap &userInfo);
    void startSyncUtilsDownload(const QVariantMap &userInfo);
    void syncUtilsDownloadComplete();
    void cancelSyncUtilsDownload();
    // Runs `step` on this object's thread: at once when already there, else queued.
    void onMainThread(std::function<void()> step);

    void setPluginStatusText(const QString &text);
    void setItemStatusText(const QString &text);

    // The state of the running or last sync.
    struct Private;
    std::unique_ptr<Private> d;
};
