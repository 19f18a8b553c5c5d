#pragma once

#include <QObject>
#include <QSet>
#include <QString>
#include <QStringList>

#include <memory>
#include <optional>

class LogManager;
class TVRSyncInfo;
class TVRiPod;

// One sync of the Text Files plug-in: copies text files onto the iPod as notes, one file per turn of
// the event loop so that a cancel is seen between files, and reports completion exactly once.
//
// A file a/b/c.txt becomes the note "c" in the notes folder "a/b"; the extension is left out when it
// is one that makes a file text (.txt, .text, .md), and kept otherwise ("README", "notes.log").
class TextFileCopier : public QObject
{
    Q_OBJECT

public:
    // `reporter` is the plug-in, the sender of the completion notification; `owner` its name, under which
    // the record of Tivaro's files keeps the notes it writes.
    TextFileCopier(TVRSyncInfo *syncInfo, QObject *reporter, const QString &owner);

    // Copies `files` (relative to `folder`), then reports completion.
    void start(const QString &folder, const QStringList &files);
    // Logs `error` and reports completion, copying nothing.
    void fail(const QString &error);
    // Stops before the next file; completion is still reported.
    void cancel() { m_cancelled = true; }

    // The note name and notes folder a file relative to the text folder becomes.
    static QString noteNameFor(const QString &relativePath);
    static QString localPathFor(const QString &relativePath);

private:
    void copyNext();
    void copyFile(const QString &relativePath);
    // The file's text, or nullopt after logging why it cannot be read.
    std::optional<QString> readText(const QString &relativePath);
    bool iPodIsGone() const;
    void stopBecauseTheiPodIsGone();
    // Removes the notes of files that are gone or renamed, and pages left by files that got shorter;
    // a file that could not be copied this time keeps its note.
    void removeOldNotes();
    void finish();
    void scheduleNext();

    std::shared_ptr<TVRiPod> m_iPod;
    std::shared_ptr<LogManager> m_log;
    QObject *m_reporter;
    QString m_owner;
    QString m_folder;
    QStringList m_files;
    // The files that could not be copied this time, relative to the folder.
    QSet<QString> m_failed;
    qsizetype m_next = 0;
    int m_copied = 0;
    bool m_cancelled = false;
    bool m_stopped = false;
    bool m_finished = false;
};
