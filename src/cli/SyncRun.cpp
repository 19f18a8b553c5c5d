#include "SyncRun.h"

#include "Console.h"
#include "ExitCode.h"
#include "InterruptWatcher.h"

#include "ipod/TVRiPod.h"
#include "sync/LogManager.h"

#include <QTimer>

#include <cstdio>
#include <cstdlib>

namespace {

// As a shell reports a program that the signal ended.
int cancelledExit(int signal)
{
    return 128 + signal;
}

QString counted(qsizetype count, const QString &one, const QString &many)
{
    return count == 1 ? QStringLiteral("1 ") + one : QStringLiteral("%1 %2").arg(count).arg(many);
}

} // namespace

SyncRun::SyncRun(const TVRSyncer::PluginMap &plugins, Console &console)
    : m_console(console)
    , m_display(console, console.isTerminal())
    , m_syncer(plugins, this)
{
    m_syncer.setPluginStatus(m_display.pluginStatus());
    m_syncer.setItemStatus(m_display.itemStatus());
    m_syncer.setProgressIndicator(&m_display);
    m_syncer.setAlerter(&m_display);
    connect(&m_syncer, &TVRSyncer::ejectAttempted, this, [this](bool ejected, const QString &error) {
        m_waitingForEject = false;
        if (ejected) {
            m_console.print(QStringLiteral("Ejected \"%1\"; it may be unplugged.").arg(m_syncer.iPod()->name()));
        } else {
            m_ejectFailed = true;
            m_console.fail(QStringLiteral("could not eject \"%1\": %2").arg(m_syncer.iPod()->name(), error),
                           ExitCode::Failure);
        }
        m_loop.quit();
    });
}

SyncRun::~SyncRun() = default;

int SyncRun::exec(const Request &request)
{
    InterruptWatcher watcher;
    connect(&watcher, &InterruptWatcher::interrupted, this, &SyncRun::interrupted);

    const bool started = request.type == TVRSyncer::SyncType::Quick
                             ? (m_syncer.setiPod(request.iPod), m_syncer.quickSync(request.plugins.value(0)))
                             : m_syncer.sync(request.type, request.plugins, request.iPod);
    if (!started)
        return m_console.fail(m_syncer.errorString(), ExitCode::Failure);
    // After the start, which has read the preference's "ejectAfterSync" for a normal or connect sync.
    if (request.eject)
        m_syncer.setEjectAfterSync(*request.eject);
    m_loop.exec();

    if (m_cancelledBy != 0)
        return cancelledExit(m_cancelledBy);
    const bool clean = m_syncer.logManager()->errorCount() == 0 && !m_ejectFailed && m_syncer.logFileError().isEmpty();
    return clean ? ExitCode::Success : ExitCode::Failure;
}

void SyncRun::syncerFinished(TVRSyncer *syncer)
{
    m_syncFinished = true;
    m_waitingForEject = syncer->ejectAfterSync();
    // Told before the syncer saves its log: the summary waits until it has.
    QTimer::singleShot(0, this, &SyncRun::ended);
}

void SyncRun::ended()
{
    m_display.finish();
    printErrors();
    printSummary();
    m_summaryPrinted = true;
    if (!m_syncer.logFileError().isEmpty())
        m_console.fail(QStringLiteral("the log of this sync was not saved: %1").arg(m_syncer.logFileError()),
                       ExitCode::Failure);
    if (m_ejectCancelled)
        m_console.print(QStringLiteral("Eject cancelled; \"%1\" is still mounted.").arg(m_syncer.iPod()->name()));
    if (m_waitingForEject)
        m_console.print(QStringLiteral("Ejecting \"%1\"...").arg(m_syncer.iPod()->name()));
    else
        m_loop.quit();
}

void SyncRun::interrupted(int count, int signal)
{
    // The sync is complete (or was cancelled and has ended): only the eject can still be stopped.
    if (m_syncFinished) {
        cancelWaitingEject();
        return;
    }
    if (count == 1) {
        m_cancelledBy = signal;
        m_syncer.cancel();
        m_display.pluginStatus()->setStringValue(QStringLiteral("Stopping..."));
        return;
    }
    // Between two events nothing is half written; the plug-in still running is not waited for.
    m_display.finish();
    m_console.print(QStringLiteral("Stopped without waiting for the sync to end."));
    std::fflush(nullptr);
    std::_Exit(cancelledExit(m_cancelledBy));
}

void SyncRun::cancelWaitingEject()
{
    // An eject under way is never cut short; the signal then changes nothing.
    if (!m_waitingForEject || !m_syncer.cancelEject())
        return;
    m_waitingForEject = false;
    if (!m_summaryPrinted) {
        // Said after the summary, which ended() is about to print.
        m_ejectCancelled = true;
        return;
    }
    m_console.print(QStringLiteral("Eject cancelled; \"%1\" is still mounted.").arg(m_syncer.iPod()->name()));
    m_loop.quit();
}

void SyncRun::printErrors() const
{
    QStringList errors;
    for (const QString &entry : m_syncer.logManager()->entries(LogManager::EntryKind::Error)) {
        for (const QString &line : entry.split(QLatin1Char('\r'))) {
            if (!line.trimmed().isEmpty())
                errors.append(QStringLiteral("  ") + line.trimmed());
        }
    }
    if (errors.isEmpty())
        return;
    m_console.print(QStringLiteral("Errors:"));
    for (const QString &error : std::as_const(errors))
        m_console.print(error);
}

void SyncRun::printSummary() const
{
    const QStringList run = m_syncer.pluginsRun();
    const QString plugins = counted(run.size(), QStringLiteral("plug-in run"), QStringLiteral("plug-ins run")) +
                            (run.isEmpty() ? QString() : QStringLiteral(" (%1)").arg(run.join(QStringLiteral(", "))));
    m_console.print(
        QStringLiteral("Sync to \"%1\" %2 %3 seconds: %4, %5, %6 on the iPod.")
            .arg(m_syncer.iPod()->name(),
                 m_cancelledBy != 0 ? QStringLiteral("cancelled after") : QStringLiteral("complete in"))
            .arg(m_syncer.lastSyncSeconds(), 0, 'f', 2)
            .arg(plugins,
                 counted(m_syncer.logManager()->errorCount(), QStringLiteral("error"), QStringLiteral("errors")),
                 counted(m_syncer.iPod()->numberOfNotes(), QStringLiteral("note"), QStringLiteral("notes"))));
}
