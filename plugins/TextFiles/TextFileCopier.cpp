#include "TextFileCopier.h"

#include "TextFileFinder.h"

#include "core/StringEncoding.h"
#include "ipod/TVRiPod.h"
#include "sync/LogManager.h"
#include "sync/TVRSyncInfo.h"
#include "sync/TVRSyncUtils.h"

#include <QFile>
#include <QFileInfo>
#include <QTimer>

namespace {

QString textFiles(qsizetype count)
{
    return count == 1 ? QStringLiteral("1 text file") : QStringLiteral("%1 text files").arg(count);
}

} // namespace

TextFileCopier::TextFileCopier(TVRSyncInfo *syncInfo, QObject *reporter, const QString &owner)
    : m_iPod(syncInfo->iPod())
    , m_log(syncInfo->logManager())
    , m_reporter(reporter)
    , m_owner(owner)
{}

void TextFileCopier::start(const QString &folder, const QStringList &files)
{
    m_folder = folder;
    m_files = files;
    scheduleNext();
}

void TextFileCopier::fail(const QString &error)
{
    m_log->appendError(error);
    m_stopped = true;
    scheduleNext();
}

QString TextFileCopier::noteNameFor(const QString &relativePath)
{
    const QFileInfo file(relativePath);
    return TextFileFinder::hasTextExtension(relativePath) ? file.completeBaseName() : file.fileName();
}

QString TextFileCopier::localPathFor(const QString &relativePath)
{
    const QString folder = QFileInfo(relativePath).path();
    return folder == QLatin1String(".") ? QString() : folder;
}

void TextFileCopier::scheduleNext()
{
    // Completion is never reported from inside sync(): the driver starts the next plug-in on it.
    QTimer::singleShot(0, this, &TextFileCopier::copyNext);
}

void TextFileCopier::copyNext()
{
    if (m_finished)
        return;
    if (m_stopped || m_cancelled || m_next >= m_files.size()) {
        finish();
        return;
    }
    // Without this check, files would go into the empty mount point an unplugged iPod leaves.
    if (iPodIsGone()) {
        stopBecauseTheiPodIsGone();
        finish();
        return;
    }
    copyFile(m_files.at(m_next++));
    scheduleNext();
}

std::optional<QString> TextFileCopier::readText(const QString &relativePath)
{
    QFile file(m_folder + QLatin1Char('/') + relativePath);
    if (!file.open(QIODevice::ReadOnly)) {
        m_log->appendError(QStringLiteral("Cannot read %1: %2").arg(relativePath, file.errorString()));
        return std::nullopt;
    }
    const std::optional<QString> text = StringEncoding::decodePlainText(file.readAll());
    if (!text)
        m_log->appendError(QStringLiteral("Cannot copy %1: it holds NUL bytes, so it is no text.").arg(relativePath));
    return text;
}

void TextFileCopier::copyFile(const QString &relativePath)
{
    const QString name = noteNameFor(relativePath);
    TVRSyncUtils::provideSyncFeedback(name);
    const std::optional<QString> text = readText(relativePath);
    // Each note is recorded with the file it comes from, so that it can go when the file does.
    m_iPod->setOutputOwner(m_owner);
    m_iPod->setOutputGroup(relativePath);
    const bool written = text && m_iPod->writeNoteToiPod(*text, name, localPathFor(relativePath));
    m_iPod->setOutputGroup(QString());
    if (!written)
        m_failed.insert(relativePath);
    if (written) {
        ++m_copied;
    } else if (text && iPodIsGone()) {
        // One error for the lost iPod, not one for every file left.
        stopBecauseTheiPodIsGone();
        return;
    } else if (text) {
        m_log->appendError(QStringLiteral("Cannot copy %1: %2").arg(relativePath, m_iPod->errorString()));
    }
    TVRSyncUtils::incrementSyncProgress();
}

void TextFileCopier::stopBecauseTheiPodIsGone()
{
    m_log->appendError(QStringLiteral("The iPod at %1 is gone; no more text files were copied.").arg(m_iPod->path()));
    m_stopped = true;
}

bool TextFileCopier::iPodIsGone() const
{
    return !QFileInfo(m_iPod->path() + QStringLiteral("/iPod_Control")).isDir();
}

void TextFileCopier::removeOldNotes()
{
    QList<QByteArray> old;
    const QHash<QByteArray, IPodManifest::Entry> files = m_iPod->ownFiles();
    for (auto it = files.cbegin(); it != files.cend(); ++it) {
        if (it->owner == m_owner && !m_iPod->writtenFiles().contains(it.key()) && !m_failed.contains(it->group))
            old.append(it.key());
    }
    const RemovalReport report = m_iPod->removeOwnFiles(old);
    if (!report.removed.isEmpty())
        m_log->appendLog(QStringLiteral("Removed %1 of text files that are no longer there.")
                             .arg(report.removed.size() == 1
                                      ? QStringLiteral("1 note page")
                                      : QStringLiteral("%1 note pages").arg(report.removed.size())));
    for (const auto &[path, why] : report.kept)
        m_log->appendLog(QStringLiteral("Kept %1: %2.").arg(QFile::decodeName(path), why));
}

void TextFileCopier::finish()
{
    m_finished = true;
    // Only a copy that went through to the end knows which notes are no longer wanted.
    if (!m_cancelled && !m_stopped && !m_owner.isEmpty())
        removeOldNotes();
    if (!m_files.isEmpty() || !m_stopped) {
        const QString summary = m_copied == m_files.size()
                                    ? QStringLiteral("Copied %1.").arg(textFiles(m_copied))
                                    : QStringLiteral("Copied %1 of %2.").arg(m_copied).arg(textFiles(m_files.size()));
        m_log->appendLog(m_cancelled ? QStringLiteral("Cancelled. ") + summary : summary);
    }
    TVRSyncUtils::reportSyncComplete(m_reporter);
}
