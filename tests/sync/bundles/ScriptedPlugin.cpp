// A plug-in whose behaviour the test writes into its preferences, so that one class plays every
// part a sync test needs: steps with progress and feedback, notes, the internet, downloads, a
// plug-in that only stops when cancelled.
#include "core/ExportedClass.h"
#include "ipod/TVRiPod.h"
#include "net/TVRDownloader.h"
#include "plugins/TVRPlugin.h"
#include "plugins/TVRPrefs.h"
#include "sync/LogManager.h"
#include "sync/TVRSyncDownloadDelegate.h"
#include "sync/TVRSyncInfo.h"
#include "sync/TVRSyncUtils.h"

#include <QTimer>
#include <QUrl>

class ScriptedPlugin : public TVRPlugin, public TVRSyncDownloadDelegate
{
    Q_OBJECT

public:
    // Preference keys.
    //   steps (int)          progress steps, one per event-loop turn
    //   stepDelayMs (int)    pause before each step
    //   needsInternet (bool) the answer to prepareSync
    //   writeNotes (bool)    one note per step, in a folder named after the plug-in
    //   urls (array)         downloads asked of the driver, one after the other, after the steps
    //   neverComplete (bool) reports completion only once cancelled
    //   ignoreCancel (bool)  goes on as if never cancelled
    qint32 prepareSync(bool *needsInternet, TVRSyncInfo *) override
    {
        const auto prefs = TVRPrefs::prefsWithBundle(bundle().get());
        *needsInternet = prefs->objectForKey(QStringLiteral("needsInternet")).toBool();
        return prefs->objectForKey(QStringLiteral("steps")).toInt();
    }

    void sync(TVRSyncInfo *syncInfo) override
    {
        const auto prefs = TVRPrefs::prefsWithBundle(bundle().get());
        m_syncInfo = syncInfo;
        m_steps = prefs->objectForKey(QStringLiteral("steps")).toInt();
        m_delayMs = prefs->objectForKey(QStringLiteral("stepDelayMs")).toInt();
        m_writeNotes = prefs->objectForKey(QStringLiteral("writeNotes")).toBool();
        m_urls = prefs->objectForKey(QStringLiteral("urls")).toStringList();
        m_neverComplete = prefs->objectForKey(QStringLiteral("neverComplete")).toBool();
        m_ignoreCancel = prefs->objectForKey(QStringLiteral("ignoreCancel")).toBool();
        m_step = 0;
        m_cancelled = false;
        m_syncInfo->logManager()->appendLog(
            QStringLiteral("Internet: %1")
                .arg(m_syncInfo->connectedToInternet() ? QStringLiteral("yes") : QStringLiteral("no")));
        QTimer::singleShot(m_delayMs, this, &ScriptedPlugin::next);
    }

    void cancelSync() override { m_cancelled = !m_ignoreCancel; }

    void downloadComplete(TVRDownloader *downloader) override
    {
        const QString url = m_urls.takeFirst();
        if (!downloader || downloader->data().isEmpty())
            m_syncInfo->logManager()->appendLog(QStringLiteral("No body from %1").arg(url));
        else
            m_syncInfo->iPod()->writeNoteToiPod(downloader->string(), QUrl(url).fileName(), name());
        QTimer::singleShot(0, this, &ScriptedPlugin::next);
    }

private:
    void next()
    {
        if (m_cancelled) {
            TVRSyncUtils::reportSyncComplete(this);
            return;
        }
        if (m_step < m_steps) {
            ++m_step;
            const QString step = QStringLiteral("Step %1").arg(m_step);
            TVRSyncUtils::provideSyncFeedback(step);
            if (m_writeNotes && !m_syncInfo->iPod()->writeNoteToiPod(step, step, name()))
                m_syncInfo->logManager()->appendError(m_syncInfo->iPod()->errorString());
            TVRSyncUtils::incrementSyncProgress();
            QTimer::singleShot(m_delayMs, this, &ScriptedPlugin::next);
        } else if (!m_urls.isEmpty()) {
            TVRSyncUtils::downloadURL(QUrl(m_urls.first()), this);
        } else if (!m_neverComplete) {
            TVRSyncUtils::reportSyncComplete(this);
        } else {
            QTimer::singleShot(20, this, &ScriptedPlugin::next);
        }
    }

    TVRSyncInfo *m_syncInfo = nullptr;
    int m_steps = 0;
    int m_step = 0;
    int m_delayMs = 0;
    bool m_writeNotes = false;
    bool m_neverComplete = false;
    bool m_cancelled = false;
    bool m_ignoreCancel = false;
    QStringList m_urls;
};

TIVARO_EXPORT_CLASS(ScriptedPlugin)

#include "ScriptedPlugin.moc"
