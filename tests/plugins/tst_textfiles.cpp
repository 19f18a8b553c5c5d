#include "FatVolume.h"
#include "IPodFixture.h"
#include "TemporaryHome.h"

#include "core/ObserverRegistration.h"
#include "ipod/TVRiPod.h"
#include "plugins/PluginManager.h"
#include "plugins/TVRPlugin.h"
#include "plugins/TVRPrefs.h"
#include "sync/LogManager.h"
#include "sync/TVRSyncInfo.h"
#include "sync/TVRSyncPrefs.h"
#include "sync/TVRSyncUtils.h"

#include <QDir>
#include <QDirIterator>
#include <QtTest>

#include <unistd.h>

// The bundled "Text Files" plug-in as the sync driver runs it: the real bundle from the build tree,
// its folder preference in a temporary home, notes written onto a fixture iPod or a FAT32 volume.
class TextFilesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void copiesEveryTextFileAsANote();
    void endsWithAnErrorWithoutAFolder_data();
    void endsWithAnErrorWithoutAFolder();
    void logsFilesThatCannotBeReadAndGoesOn();
    void cancelStopsBetweenFiles();
    void stopsOnceWhenTheiPodIsGone();
    void writesOntoAFatVolume();
    void aFullVolumeEndsWithErrorsAndKeepsEarlierNotes();
    void notesOfGoneFilesGoAndTheUsersStay();
    void aCancelledCopyRemovesNothing();

private:
    // Runs prepareSync and sync on `iPodPath` and waits for the completion; returns the count prepared.
    qint32 runSync(const QString &iPodPath, const std::function<void(int progress)> &onProgress = {});
    void setFolder(const QVariant &folder);
    void writeSource(const QString &relativePath, const QByteArray &contents);
    QString note(const QString &iPodPath, const QString &localPath, const QString &name) const;
    QString logText() const { return m_log->logAttributedString().string(); }

    TemporaryHome m_home;
    std::shared_ptr<TVRPlugin> m_plugin;
    std::unique_ptr<QTemporaryDir> m_folder;
    QString m_source;
    QString m_iPod;
    std::shared_ptr<LogManager> m_log;
    int m_completions = 0;
    QVariant m_completionSender;
    QStringList m_feedback;
    int m_progress = 0;
};

void TextFilesTest::initTestCase()
{
    QVERIFY(m_home.isValid());
    PluginManager manager(QStringLiteral(TIVARO_BUILD_PREFIX));
    m_plugin = manager.plugins().value(QStringLiteral("Text Files"));
    QVERIFY2(m_plugin, "the build tree holds the Text Files bundle");
    QVERIFY(PluginManager::defaultPlugins().value_or(QStringList()).contains(QStringLiteral("Text Files")));
    QVERIFY(!m_plugin->requiresInternetConnection());
    QVERIFY(!m_plugin->hasSettings());
}

void TextFilesTest::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    m_source = m_folder->path() + QStringLiteral("/Texts");
    QVERIFY(QDir().mkpath(m_source));
    m_iPod = IPodFixture::createWithFamily(m_folder->path() + QStringLiteral("/Nano"), 7, QStringLiteral("N1"));
    setFolder(m_source);
    m_log = std::make_shared<LogManager>();
    m_completions = 0;
    m_completionSender.clear();
    m_feedback.clear();
    m_progress = 0;
}

void TextFilesTest::cleanup()
{
    // Readable again, so that the temporary folder can be removed.
    QFile::setPermissions(m_source + QStringLiteral("/locked.txt"), QFile::ReadOwner | QFile::WriteOwner);
}

void TextFilesTest::setFolder(const QVariant &folder)
{
    const std::unique_ptr<TVRPrefs> prefs = TVRPrefs::prefsWithBundle(m_plugin->bundle().get());
    QVERIFY(prefs);
    if (folder.isValid())
        prefs->setObject(folder, QStringLiteral("folder"));
    else
        prefs->removeObjectForKey(QStringLiteral("folder"));
    QVERIFY(prefs->synchronize());
}

void TextFilesTest::writeSource(const QString &relativePath, const QByteArray &contents)
{
    IPodFixture::writeFile(m_source, relativePath, contents);
}

QString TextFilesTest::note(const QString &iPodPath, const QString &localPath, const QString &name) const
{
    QString path = iPodPath + QStringLiteral("/Notes/");
    if (!localPath.isEmpty())
        path += localPath + QLatin1Char('/');
    const QByteArray bytes = IPodFixture::readFile(path + name + QStringLiteral(".txt"));
    const QByteArray title = "</title>";
    const qsizetype start = bytes.indexOf(title);
    return start < 0 ? QString() : QString::fromUtf8(bytes.mid(start + title.size()));
}

qint32 TextFilesTest::runSync(const QString &iPodPath, const std::function<void(int)> &onProgress)
{
    ObserverRegistration complete(TVRSyncUtils::completeNotification, [this](const Notification &notification) {
        ++m_completions;
        m_completionSender = notification.object;
    });
    ObserverRegistration feedback(TVRSyncUtils::provideFeedbackNotification, [this](const Notification &notification) {
        m_feedback.append(notification.userInfo.value(QStringLiteral("feedback")).toString());
    });
    ObserverRegistration progress(TVRSyncUtils::incrementProgressNotification, [&](const Notification &) {
        ++m_progress;
        if (onProgress)
            onProgress(m_progress);
    });
    bool needsInternet = true;
    const qint32 prepared = m_plugin->prepareSync(&needsInternet, nullptr);
    if (needsInternet)
        qWarning("prepareSync left needsInternet set");
    TVRSyncInfo info(TVRiPod::withPath(iPodPath), std::make_shared<TVRSyncPrefs>(), m_log, false);
    m_plugin->sync(&info);
    [&] { QTRY_COMPARE_WITH_TIMEOUT(m_completions, 1, 30000); }();
    // As the sync does after each plug-in.
    info.iPod()->saveOwnFilesRecord();
    // Nothing more arrives after the completion.
    QTest::qWait(50);
    return needsInternet ? -1 : prepared;
}

void TextFilesTest::copiesEveryTextFileAsANote()
{
    writeSource(QStringLiteral("Top.txt"), "Hello w\xc3\xb6rld");
    writeSource(QStringLiteral("a/b/c.TXT"), "Deep inside");
    writeSource(QStringLiteral("a/README"), "No extension, still text");
    writeSource(QStringLiteral("Plans.md"), "# Plans");
    writeSource(QStringLiteral("latin.text"), "caf\xe9");
    writeSource(QStringLiteral("picture.png"), QByteArray("\x89PNG\r\n\x1a\n\0\0\0\rIHDR", 16));
    writeSource(QStringLiteral(".hidden.txt"), "hidden");
    writeSource(QStringLiteral(".git/notes.txt"), "hidden folder");

    QCOMPARE(runSync(m_iPod), 5);
    QCOMPARE(m_completions, 1);
    QCOMPARE(m_completionSender.value<QObject *>(), m_plugin.get());
    QCOMPARE(m_progress, 5);
    QCOMPARE(m_feedback, (QStringList{"Plans", "Top", "README", "c", "latin"}));
    QCOMPARE(note(m_iPod, QString(), "Top"), QStringLiteral("Hello wörld"));
    QCOMPARE(note(m_iPod, "a/b", "c"), QStringLiteral("Deep inside"));
    QCOMPARE(note(m_iPod, "a", "README"), QStringLiteral("No extension, still text"));
    QCOMPARE(note(m_iPod, QString(), "Plans"), QStringLiteral("# Plans"));
    QCOMPARE(note(m_iPod, QString(), "latin"), QStringLiteral("café"));
    QVERIFY(!QFileInfo::exists(m_iPod + "/Notes/picture.png.txt"));
    QVERIFY(!QFileInfo::exists(m_iPod + "/Notes/.hidden.txt"));
    QVERIFY(!QFileInfo::exists(m_iPod + "/Notes/.git"));
    QCOMPARE(m_log->errorCount(), 0);
    QVERIFY2(logText().contains("Copied 5 text files."), qPrintable(logText()));
}

void TextFilesTest::endsWithAnErrorWithoutAFolder_data()
{
    QTest::addColumn<QVariant>("folder");
    QTest::addColumn<QString>("error");
    QTest::newRow("no preference") << QVariant() << "No folder of text files is chosen";
    QTest::newRow("missing folder") << QVariant(QStringLiteral("/nonexistent/texts")) << "does not exist";
    QTest::newRow("relative path") << QVariant(QStringLiteral("texts")) << "is not a full path";
}

void TextFilesTest::endsWithAnErrorWithoutAFolder()
{
    QFETCH(QVariant, folder);
    QFETCH(QString, error);
    writeSource(QStringLiteral("unused.txt"), "never copied");
    setFolder(folder);
    QCOMPARE(runSync(m_iPod), 0);
    QCOMPARE(m_completions, 1);
    QCOMPARE(m_log->errorCount(), 1);
    QVERIFY2(logText().contains(error), qPrintable(logText()));
    QVERIFY(!QFileInfo::exists(m_iPod + "/Notes/unused.txt"));
}

void TextFilesTest::logsFilesThatCannotBeReadAndGoesOn()
{
    writeSource(QStringLiteral("a.txt"), "first");
    writeSource(QStringLiteral("binary.txt"), QByteArray("bin\0ary", 7));
    writeSource(QStringLiteral("locked.txt"), "secret");
    writeSource(QStringLiteral("z.txt"), "last");
    QVERIFY(QFile::setPermissions(m_source + "/locked.txt", QFileDevice::Permissions()));
    // The superuser reads any file: only the file with a NUL byte then stays unreadable.
    const int unreadable = ::geteuid() == 0 ? 1 : 2;

    QCOMPARE(runSync(m_iPod), 4);
    QCOMPARE(m_log->errorCount(), unreadable);
    QVERIFY2(logText().contains("binary.txt: it holds NUL bytes"), qPrintable(logText()));
    QVERIFY(unreadable == 1 || logText().contains("Cannot read locked.txt"));
    QCOMPARE(note(m_iPod, QString(), "a"), QStringLiteral("first"));
    QCOMPARE(note(m_iPod, QString(), "z"), QStringLiteral("last"));
    QCOMPARE(m_progress, 4);
    QVERIFY2(logText().contains(QStringLiteral("Copied %1 of 4 text files.").arg(4 - unreadable)),
             qPrintable(logText()));
}

void TextFilesTest::cancelStopsBetweenFiles()
{
    for (const char *name : {"1.txt", "2.txt", "3.txt", "4.txt", "5.txt"})
        writeSource(QLatin1String(name), QByteArray("note ") + name);
    runSync(m_iPod, [this](int progress) {
        if (progress == 2)
            m_plugin->cancelSync();
    });
    QCOMPARE(m_completions, 1);
    QCOMPARE(m_progress, 2);
    QCOMPARE(QDir(m_iPod + "/Notes").entryList(QDir::Files).size(), 2);
    QVERIFY2(logText().contains("Cancelled. Copied 2 of 5 text files."), qPrintable(logText()));
}

void TextFilesTest::stopsOnceWhenTheiPodIsGone()
{
    for (const char *name : {"1.txt", "2.txt", "3.txt", "4.txt"})
        writeSource(QLatin1String(name), "text");
    runSync(m_iPod, [this](int progress) {
        if (progress == 1)
            QDir(m_iPod).removeRecursively();
    });
    QCOMPARE(m_completions, 1);
    QCOMPARE(m_log->errorCount(), 1);
    QVERIFY2(logText().contains("is gone"), qPrintable(logText()));
    // Nothing was written into the place the iPod was.
    QVERIFY(!QFileInfo::exists(m_iPod));
}

void TextFilesTest::writesOntoAFatVolume()
{
    FatVolume volume(QStringLiteral("TEXTPOD"));
    if (!volume.isMounted())
        QSKIP(qPrintable(volume.skipReason()));
    IPodFixture::createWithFamily(volume.mountPoint(), 5, QStringLiteral("FAT2"));
    writeSource(QStringLiteral("Trip/Day: one.txt"), "Left at dawn.");
    QString longText;
    for (int i = 0; i < 3000; ++i)
        longText += QStringLiteral("word%1 ").arg(i);
    writeSource(QStringLiteral("Trip/Long.txt"), longText.toUtf8());

    QCOMPARE(runSync(volume.mountPoint()), 2);
    QCOMPARE(m_log->errorCount(), 0);
    QCOMPARE(note(volume.mountPoint(), "Trip", "Day- one"), QStringLiteral("Left at dawn."));
    QVERIFY(QFileInfo::exists(volume.mountPoint() + "/Notes/Trip/_pages/Long p2.txt"));
}

void TextFilesTest::aFullVolumeEndsWithErrorsAndKeepsEarlierNotes()
{
    FatVolume volume(QStringLiteral("SMALLPOD"), 1);
    if (!volume.isMounted())
        QSKIP(qPrintable(volume.skipReason()));
    IPodFixture::createWithFamily(volume.mountPoint(), 5, QStringLiteral("FAT3"));
    writeSource(QStringLiteral("a.txt"), "Written before the volume filled up.");
    // About 300 pages: more than the whole volume holds.
    QByteArray words;
    for (int i = 0; i < 250000; ++i)
        words += "word ";
    writeSource(QStringLiteral("b.txt"), words);
    writeSource(QStringLiteral("c.txt"), "After the volume filled up.");

    QCOMPARE(runSync(volume.mountPoint()), 3);
    QCOMPARE(m_completions, 1);
    QVERIFY(m_log->errorCount() >= 1);
    QVERIFY2(logText().contains("Cannot copy b.txt: Cannot write"), qPrintable(logText()));
    QVERIFY2(logText().contains("of 3 text files."), qPrintable(logText()));
    QCOMPARE(note(volume.mountPoint(), QString(), "a"), QStringLiteral("Written before the volume filled up."));
}

namespace {

QByteArray pagesOfText(int words)
{
    QByteArray text;
    for (int i = 0; i < words; ++i)
        text += "word ";
    return text;
}

QStringList notesBelow(const QString &iPodPath)
{
    QStringList files;
    QDirIterator walk(iPodPath + QStringLiteral("/Notes"), QDir::Files, QDirIterator::Subdirectories);
    while (walk.hasNext())
        files.append(QDir(iPodPath + QStringLiteral("/Notes")).relativeFilePath(walk.next()));
    files.sort();
    return files;
}

} // namespace

void TextFilesTest::notesOfGoneFilesGoAndTheUsersStay()
{
    writeSource(QStringLiteral("Long.txt"), pagesOfText(5000)); // 7 pages
    writeSource(QStringLiteral("Gone.txt"), "removed from the folder later");
    writeSource(QStringLiteral("Trips/Old name.txt"), "renamed later");
    writeSource(QStringLiteral("Breaks.txt"), "cannot be read next time");
    QCOMPARE(runSync(m_iPod), 4);
    QCOMPARE(notesBelow(m_iPod).filter(QStringLiteral("Long p")).size(), 6);
    // The user's own notes, one of them beside Tivaro's pages.
    IPodFixture::writeFile(m_iPod, QStringLiteral("Notes/Mine.txt"), "my own");
    IPodFixture::writeFile(m_iPod, QStringLiteral("Notes/_pages/Long p9.txt"), "my own page");

    writeSource(QStringLiteral("Long.txt"), "now one page");
    QVERIFY(QFile::remove(m_source + QStringLiteral("/Gone.txt")));
    QVERIFY(
        QFile::rename(m_source + QStringLiteral("/Trips/Old name.txt"), m_source + QStringLiteral("/Trips/New.txt")));
    writeSource(QStringLiteral("Breaks.txt"), QByteArray("now\0binary", 10));
    m_completions = 0;
    QCOMPARE(runSync(m_iPod), 3);

    QCOMPARE(notesBelow(m_iPod),
             (QStringList{"Breaks.txt", "Long.txt", "Mine.txt", "Trips/New.txt", "_pages/Long p9.txt"}));
    QCOMPARE(note(m_iPod, QString(), QStringLiteral("Breaks")), QStringLiteral("cannot be read next time"));
    QVERIFY2(logText().contains(QStringLiteral("Removed 2 note pages of text files that are no longer there.")),
             qPrintable(logText()));
}

void TextFilesTest::aCancelledCopyRemovesNothing()
{
    for (const char *name : {"1.txt", "2.txt", "3.txt"})
        writeSource(QLatin1String(name), QByteArray("note ") + name);
    QCOMPARE(runSync(m_iPod), 3);
    QVERIFY(QFile::remove(m_source + QStringLiteral("/3.txt")));
    m_completions = 0;
    m_progress = 0;
    runSync(m_iPod, [this](int progress) {
        if (progress == 1)
            m_plugin->cancelSync();
    });
    QCOMPARE(notesBelow(m_iPod), (QStringList{"1.txt", "2.txt", "3.txt"}));
}

QTEST_MAIN(TextFilesTest)
#include "tst_textfiles.moc"
