#include "CliRun.h"
#include "FatVolume.h"
#include "IPodFixture.h"
#include "PluginTree.h"
#include "TemporaryHome.h"

#include "ipod/TVRiPod.h"
#include "sync/IPodSyncLock_p.h"
#include "sync/SyncLogFile.h"

#include <QDirIterator>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QtTest>

#include <csignal>

// `tivaro sync` as a user runs it: from a script, at a terminal, stopped with Ctrl-C, and twice at once.
class CliSyncTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void textFilesOntoAnIPod_data();
    void textFilesOntoAnIPod();
    void printsOneLinePerChangeWithoutATerminal();
    void redrawsInPlaceOnATerminal();
    void exitStatus_data();
    void exitStatus();
    void nothingToRun_data();
    void nothingToRun();
    void ejectAfterSync_data();
    void ejectAfterSync();
    void ctrlCStopsAfterThePlugin();
    void secondCtrlCStopsAtOnce();
    void secondSyncToTheSameIPodIsRefused();
    void terminationStopsLikeCtrlC_data();
    void terminationStopsLikeCtrlC();
    void signalsIgnoredAtStart_data();
    void signalsIgnoredAtStart();
    void signalWhileEjecting_data();
    void signalWhileEjecting();

private:
    void setPrefs(const QString &plugin, const QVariantMap &values) const;
    // A copy of the program installed in the plug-in tree's prefix: it finds the test's plug-ins and
    // none of those the build tree bundles, so "every plug-in" means Alpha and Beta.
    QString installedProgram() const;
    // Starts `tivaro sync` and waits until it says `line`; `ignored`, when given, is a signal the
    // program starts ignoring, as `nohup` leaves SIGHUP.
    void startSync(QProcess &process, const QStringList &arguments, const QString &line, int ignored = 0);

    std::optional<TemporaryHome> m_home;
    std::optional<PluginTree> m_tree;
    QString m_iPod;
};

void CliSyncTest::init()
{
    m_home.emplace();
    m_tree.emplace();
    for (const char *bundle : {"Alpha.tvr", "Beta.tvr"})
        QVERIFY(!PluginTree::install(bundle, m_tree->userFolder()).isEmpty());
    m_iPod = IPodFixture::createWithFamily(m_home->path() + "/Pocket", 6, "SER1");
}

void CliSyncTest::cleanup()
{
    m_tree.reset();
    m_home.reset();
}

void CliSyncTest::setPrefs(const QString &plugin, const QVariantMap &values) const
{
    m_home->writePluginPreferences("org.tivaro.test." + plugin.toLower(), values);
}

QString CliSyncTest::installedProgram() const
{
    const QString program = m_tree->prefix() + "/bin/tivaro";
    if (!QFileInfo::exists(program) &&
        !(QDir().mkpath(m_tree->prefix() + "/bin") && QFile::copy(qEnvironmentVariable("TIVARO_CLI"), program) &&
          QFile::setPermissions(program, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner)))
        return {};
    return program;
}

void CliSyncTest::startSync(QProcess &process, const QStringList &arguments, const QString &line, int ignored)
{
    // As an interactive shell starts it, whatever this test inherited (nohup ignores SIGHUP).
    process.setChildProcessModifier([ignored] {
        for (const int signal : {SIGINT, SIGTERM, SIGHUP})
            ::signal(signal, signal == ignored ? SIG_IGN : SIG_DFL);
    });
    process.start(qEnvironmentVariable("TIVARO_CLI"), QStringList{"sync"} + arguments);
    QVERIFY(process.waitForStarted());
    QByteArray seen;
    QVERIFY(QTest::qWaitFor(
        [&] {
            process.waitForReadyRead(50);
            seen += process.readAllStandardOutput();
            return seen.contains(line.toUtf8());
        },
        20000));
}

void CliSyncTest::textFilesOntoAnIPod_data()
{
    QTest::addColumn<bool>("fat32");
    QTest::newRow("folder") << false;
    QTest::newRow("FAT32 volume") << true;
}

// The bundled plug-in, through the real program, the way the README tells a user to set it up.
void CliSyncTest::textFilesOntoAnIPod()
{
    QFETCH(bool, fat32);
    std::optional<FatVolume> volume;
    QString iPod = m_iPod;
    if (fat32) {
        volume.emplace("IPOD");
        if (!volume->isMounted())
            QSKIP(qPrintable(volume->skipReason()));
        iPod = IPodFixture::createWithFamily(volume->mountPoint(), 6, "SER9");
    }
    const QString texts = m_home->path() + "/texts";
    IPodFixture::writeFile(texts, "Shopping.txt", "Milk\nBread\n");
    IPodFixture::writeFile(texts, "Travel/Packing list.md", "Passport: yes\n");
    QCOMPARE(CliRun::run({"prefs", "Text Files", "write", "folder", texts}).exitCode, 0);

    const CliRun run = CliRun::run({"sync", "--ipod", iPod, "--quick", "Text Files"});
    QCOMPARE(run.exitCode, 0);
    QVERIFY2(run.out.contains("1 plug-in run (Text Files), 0 errors, 2 notes on the iPod."), qPrintable(run.out));
    QVERIFY(IPodFixture::readFile(iPod + "/Notes/Shopping.txt").contains("Milk"));
    QVERIFY(IPodFixture::readFile(iPod + "/Notes/Travel/Packing list.txt").contains("Passport: yes"));
}

void CliSyncTest::printsOneLinePerChangeWithoutATerminal()
{
    setPrefs("Alpha", {{"steps", 2}, {"writeNotes", true}});
    const CliRun run = CliRun::run({"sync", "--ipod", m_iPod, "--plugins", "Alpha,Beta"});
    QCOMPARE(run.exitCode, 0);
    const QStringList lines = run.out.split('\n', Qt::SkipEmptyParts);
    const QStringList expectedStart{"Preparing...", "  [0/4]", "Syncing", "Syncing Alpha", "  Step 1", "  [1/4]",
                                    "  Step 2",     "  [2/4]", "  [3/4]", "Syncing Beta",  "  [4/4]"};
    QCOMPARE(lines.mid(0, expectedStart.size()), expectedStart);
    QVERIFY2(QRegularExpression("^Sync to \"Pocket\" complete in \\d+\\.\\d\\d seconds: 2 plug-ins run \\(Alpha, "
                                "Beta\\), 0 errors, 2 notes on the iPod\\.$")
                 .match(lines.last())
                 .hasMatch(),
             qPrintable(lines.last()));
    QVERIFY(QFileInfo::exists(m_iPod + "/Notes/Alpha/Step 2.txt"));
    QCOMPARE(SyncLogFile::readEntries()->size(), 1);
}

void CliSyncTest::redrawsInPlaceOnATerminal()
{
    if (QStandardPaths::findExecutable("script").isEmpty())
        QSKIP("script(1) is needed to give the program a terminal");
    setPrefs("Alpha", {{"steps", 3}, {"stepDelayMs", 60}});
    const QString command =
        QString("'%1' sync --ipod '%2' --quick Alpha").arg(qEnvironmentVariable("TIVARO_CLI"), m_iPod);
    const CliRun run = CliRun::run({"-qec", command, "/dev/null"}, {}, QStandardPaths::findExecutable("script"));
    QCOMPARE(run.exitCode, 0);
    // Three lines drawn, then climbed back over and drawn again.
    QVERIFY(run.out.contains("\x1b[2A\r\x1b[2KSyncing Alpha"));
    QVERIFY(run.out.contains("[" + QString(50, '#') + "] 4/4 100%"));
    QVERIFY(run.out.contains("Sync to \"Pocket\" complete in"));
}

void CliSyncTest::exitStatus_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QVariantMap>("alpha");
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("said");
    QTest::newRow("errors logged") << QStringList{"--quick", "Alpha"}
                                   << QVariantMap{{"urls", QStringList{"notascheme:/x"}}} << 1
                                   << "Errors:\n  Download failed: notascheme:/x\n";
    QTest::newRow("eject of a folder") << QStringList{"--quick", "Beta", "--eject"} << QVariantMap() << 1
                                       << "could not eject \"Pocket\"";
    QTest::newRow("one unknown plug-in of two") << QStringList{"--plugins", "Nobody,Beta"} << QVariantMap() << 0
                                                << "the plug-in \"Nobody\" is not installed (see `tivaro plugins`)";
    QTest::newRow("unknown type") << QStringList{"--type", "weekly"} << QVariantMap() << 2
                                  << "--type is normal, connect or eject";
    QTest::newRow("two choices") << QStringList{"--quick", "Alpha", "--plugins", "Beta"} << QVariantMap() << 2
                                 << "give one of --type, --plugins and --quick";
    QTest::newRow("not an iPod") << QStringList{"--ipod", "/nonexistent"} << QVariantMap() << 1 << "/nonexistent";
    QTest::newRow("eject and no eject") << QStringList{"--eject", "--no-eject"} << QVariantMap() << 2
                                        << "give one of --eject and --no-eject";
    QTest::newRow("eject type, no eject")
        << QStringList{"--type", "eject", "--no-eject"} << QVariantMap() << 2 << "--type eject always ejects";
}

void CliSyncTest::exitStatus()
{
    QFETCH(QStringList, arguments);
    QFETCH(QVariantMap, alpha);
    QFETCH(int, status);
    QFETCH(QString, said);
    setPrefs("Alpha", alpha);
    if (!arguments.contains("--ipod"))
        arguments += QStringList{"--ipod", m_iPod};
    const CliRun run = CliRun::run(QStringList{"sync"} + arguments);
    QCOMPARE(run.exitCode, status);
    QVERIFY2((run.out + run.err).contains(said), qPrintable(run.out + run.err));
}

void CliSyncTest::nothingToRun_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QVariantMap>("preferences");
    QTest::addColumn<QString>("error");
    const QVariantMap onlyNews{{"syncOnlySelected", true},
                               {"tools", QVariantList{QVariantMap{{"tool", "News"}, {"sync", true}}}}};
    QTest::newRow("stored choice") << QStringList() << QVariantMap{{"prefsNormalSync", onlyNews}}
                                   << "the chosen plug-in \"News\" is not installed (installed: Alpha, Beta).";
    QTest::newRow("stored choice, connect")
        << QStringList{"--type", "connect"} << QVariantMap{{"prefsiPodConnect", onlyNews}}
        << "the chosen plug-in \"News\" is not installed (installed: Alpha, Beta).";
    QTest::newRow("--plugins") << QStringList{"--plugins", "Nobody,Gone"} << QVariantMap()
                               << "the chosen plug-ins \"Nobody\", \"Gone\" are not installed (installed: Alpha, "
                                  "Beta).";
    QTest::newRow("--quick") << QStringList{"--quick", "Nobody"} << QVariantMap()
                             << "the chosen plug-in \"Nobody\" is not installed (installed: Alpha, Beta).";
}

// A sync that runs no plug-in at all is no clean sync: the log and the terminal say why, and the
// exit status is 1.
void CliSyncTest::nothingToRun()
{
    QFETCH(QStringList, arguments);
    QFETCH(QVariantMap, preferences);
    QFETCH(QString, error);
    m_home->writeApplicationPreferences(preferences);
    const CliRun run = CliRun::run(QStringList{"sync", "--ipod", m_iPod} + arguments, {}, installedProgram());
    QCOMPARE(run.exitCode, 1);
    QVERIFY2(run.out.contains("Errors:\n  Nothing was synced: " + error + "\n"), qPrintable(run.out + run.err));
    QVERIFY(run.out.contains("complete in"));
    QVERIFY(run.out.contains("0 plug-ins run, 1 error"));
    // Each missing name is said once, by the sync itself.
    QVERIFY2(!run.err.contains("is not installed"), qPrintable(run.err));

    const CliRun log = CliRun::run({"log", "--json", "--last", "1"});
    QCOMPARE(log.exitCode, 0);
    const QJsonObject entry = QJsonDocument::fromJson(log.out.toUtf8()).array().first().toObject();
    QCOMPARE(entry.value("errorCount").toInt(), 1);
    QVERIFY(entry.value("text").toString().contains("Nothing was synced: " + error));
}

void CliSyncTest::ejectAfterSync_data()
{
    QTest::addColumn<QStringList>("preference");
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<bool>("ejected");
    const QStringList keep{"prefsNormalSync", "-dict", "syncAll", "YES", "ejectAfterSync", "NO"};
    QTest::newRow("NO written with -dict") << keep << QStringList() << false;
    QTest::newRow("--eject wins over NO") << keep << QStringList{"--eject"} << true;
    QTest::newRow("connect: --no-eject wins over YES")
        << QStringList{"prefsiPodConnect", "-dict", "syncAll", "YES", "ejectAfterSync", "YES"}
        << QStringList{"--type", "connect", "--no-eject"} << false;
}

// The preference's "ejectAfterSync" as `tivaro defaults write -dict` stores it, and the command line
// winning over it, onto a FAT32 volume that really is ejected or stays.
void CliSyncTest::ejectAfterSync()
{
    QFETCH(QStringList, preference);
    QFETCH(QStringList, options);
    QFETCH(bool, ejected);
    FatVolume volume("IPOD");
    if (!volume.isMounted())
        QSKIP(qPrintable(volume.skipReason()));
    const QString iPod = IPodFixture::createWithFamily(volume.mountPoint(), 6, "SER9");
    QCOMPARE(CliRun::run(QStringList{"defaults", "write"} + preference).exitCode, 0);

    const CliRun run = CliRun::run(QStringList{"sync", "--ipod", iPod} + options, {}, installedProgram());
    QVERIFY2(run.exitCode == 0, qPrintable(run.out + run.err));
    QVERIFY(run.out.contains("2 plug-ins run (Alpha, Beta)"));
    QCOMPARE(run.out.contains("Ejected \"IPOD\"; it may be unplugged."), ejected);
    QCOMPARE(run.out.contains("Ejecting"), ejected);
    QCOMPARE(volume.isListedInMountTable(), !ejected);
}

void CliSyncTest::ctrlCStopsAfterThePlugin()
{
    setPrefs("Alpha", {{"neverComplete", true}});
    QProcess process;
    startSync(process, {"--ipod", m_iPod, "--plugins", "Alpha,Beta"}, "Syncing Alpha");
    ::kill(pid_t(process.processId()), SIGINT);
    QVERIFY(process.waitForFinished(20000));
    QCOMPARE(process.exitCode(), 130);
    const QString out = QString::fromUtf8(process.readAllStandardOutput());
    QVERIFY2(out.contains("Stopping...\n"), qPrintable(out));
    QVERIFY(out.contains("  User cancelled sync."));
    QVERIFY(out.contains("cancelled after"));
    QVERIFY(out.contains("1 plug-in run (Alpha)"));
    QCOMPARE(SyncLogFile::readEntries()->size(), 1);
}

void CliSyncTest::secondCtrlCStopsAtOnce()
{
    setPrefs("Alpha", {{"neverComplete", true}, {"ignoreCancel", true}});
    QProcess process;
    startSync(process, {"--ipod", m_iPod, "--quick", "Alpha"}, "Syncing Alpha");
    ::kill(pid_t(process.processId()), SIGINT);
    QVERIFY(QTest::qWaitFor([&] { return process.waitForReadyRead(50) || process.bytesAvailable() > 0; }, 5000));
    QVERIFY(!process.waitForFinished(300));
    ::kill(pid_t(process.processId()), SIGINT);
    QVERIFY(process.waitForFinished(10000));
    QCOMPARE(process.exitCode(), 130);
    QVERIFY(QString::fromUtf8(process.readAllStandardOutput()).contains("Stopped without waiting"));
    // The lock of the dead sync does not block the next one.
    setPrefs("Alpha", {});
    QCOMPARE(CliRun::run({"sync", "--ipod", m_iPod, "--quick", "Alpha"}).exitCode, 0);
}

void CliSyncTest::secondSyncToTheSameIPodIsRefused()
{
    setPrefs("Alpha", {{"neverComplete", true}});
    QProcess first;
    startSync(first, {"--ipod", m_iPod, "--quick", "Alpha"}, "Syncing Alpha");
    const CliRun second = CliRun::run({"sync", "--ipod", m_iPod, "--quick", "Beta"});
    QCOMPARE(second.exitCode, 1);
    QVERIFY2(second.err.contains(QString("Another sync to \"Pocket\" is running (process %1)").arg(first.processId())),
             qPrintable(second.err));
    ::kill(pid_t(first.processId()), SIGINT);
    QVERIFY(first.waitForFinished(20000));
    QCOMPARE(first.exitCode(), 130);
}

void CliSyncTest::terminationStopsLikeCtrlC_data()
{
    QTest::addColumn<int>("signal");
    QTest::addColumn<int>("status");
    QTest::newRow("SIGTERM") << int(SIGTERM) << 143;
    QTest::newRow("SIGHUP") << int(SIGHUP) << 129;
}

// `kill` and a closed terminal stop a sync as Ctrl-C does: after the file being written, with the
// log saved, and with the status a shell gives for that signal.
void CliSyncTest::terminationStopsLikeCtrlC()
{
    QFETCH(int, signal);
    QFETCH(int, status);
    // Enough files of several pages each that the copying is still going on when the signal comes.
    constexpr int kFiles = 1000;
    QByteArray words;
    for (int i = 0; i < 1200; ++i)
        words += "word" + QByteArray::number(i) + ' ';
    const QString texts = m_home->path() + "/texts";
    for (int i = 0; i < kFiles; ++i)
        IPodFixture::writeFile(texts, QString("File %1.txt").arg(i, 4, 10, QChar('0')),
                               "Start\n" + words + "\nEND-" + QByteArray::number(i));
    QCOMPARE(CliRun::run({"prefs", "Text Files", "write", "folder", texts}).exitCode, 0);

    QProcess process;
    startSync(process, {"--ipod", m_iPod, "--quick", "Text Files"}, "Syncing Text Files");
    ::kill(pid_t(process.processId()), signal);
    QVERIFY(process.waitForFinished(20000));
    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    QCOMPARE(process.exitCode(), status);
    const QString out = QString::fromUtf8(process.readAllStandardOutput());
    QVERIFY2(out.contains("  User cancelled sync."), qPrintable(out));
    QVERIFY(out.contains("cancelled after"));

    const CliRun log = CliRun::run({"log", "--json", "--last", "1"});
    QCOMPARE(log.exitCode, 0);
    const QJsonArray entries = QJsonDocument::fromJson(log.out.toUtf8()).array();
    QCOMPARE(entries.size(), 1);
    QVERIFY(entries.first().toObject().value("text").toString().contains("User cancelled sync."));

    // Every page on the iPod is whole: the header first, and last the link to the next page or the
    // end of its file's text. The copying stopped early.
    static const QRegularExpression textEnd("END-\\d+$");
    int pages = 0;
    QDirIterator it(m_iPod + "/Notes", {"*.txt"}, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QByteArray page = IPodFixture::readFile(it.next());
        ++pages;
        QVERIFY2(page.startsWith("<?xml encoding=\"UTF-8\"?><title>"), qPrintable(it.filePath()));
        QVERIFY2(page.endsWith("\">Next</a>") || textEnd.match(QString::fromUtf8(page)).hasMatch(),
                 qPrintable(it.filePath()));
    }
    QVERIFY(pages > 0);
    QVERIFY2(QDir(m_iPod + "/Notes").entryList({"File *.txt"}, QDir::Files).size() < kFiles, qPrintable(out));
}

void CliSyncTest::signalsIgnoredAtStart_data()
{
    QTest::addColumn<int>("signal");
    QTest::addColumn<int>("status");
    // `nohup tivaro sync` outlives its terminal.
    QTest::newRow("SIGHUP under nohup") << int(SIGHUP) << 0;
    // A launcher that ignores Ctrl-C itself, as `tivaro demo` does, leaves the sync to stop on it.
    QTest::newRow("SIGINT ignored by the launcher") << int(SIGINT) << 130;
}

void CliSyncTest::signalsIgnoredAtStart()
{
    QFETCH(int, signal);
    QFETCH(int, status);
    setPrefs("Alpha", {{"steps", 15}, {"stepDelayMs", 30}});
    QProcess process;
    startSync(process, {"--ipod", m_iPod, "--quick", "Alpha"}, "Syncing Alpha", signal);
    ::kill(pid_t(process.processId()), signal);
    QVERIFY(process.waitForFinished(20000));
    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    QCOMPARE(process.exitCode(), status);
    const QString out = QString::fromUtf8(process.readAllStandardOutput());
    QVERIFY2(out.contains(status == 0 ? "complete in" : "cancelled after"), qPrintable(out));
}

void CliSyncTest::signalWhileEjecting_data()
{
    QTest::addColumn<int>("signal");
    QTest::newRow("no signal: ejected") << 0;
    QTest::newRow("Ctrl-C cancels the eject") << int(SIGINT);
    QTest::newRow("SIGTERM cancels the eject") << int(SIGTERM);
}

// The sync is complete and "Ejecting..." shows: the iPod stays locked until the eject is tried, and
// a signal now cancels the eject that has not begun, not the sync.
void CliSyncTest::signalWhileEjecting()
{
    QFETCH(int, signal);
    FatVolume volume("IPOD");
    if (!volume.isMounted())
        QSKIP(qPrintable(volume.skipReason()));
    const QString iPod = IPodFixture::createWithFamily(volume.mountPoint(), 6, "SER9");
    QProcess process;
    startSync(process, {"--ipod", iPod, "--quick", "Beta", "--eject"}, "Ejecting \"IPOD\"...");

    // This test is another process: it cannot take the iPod meanwhile.
    IPodSyncLock lock(*TVRiPod::withPath(iPod));
    QVERIFY(!lock.tryLock());
    QVERIFY2(lock.errorString().contains(QString("(process %1)").arg(process.processId())),
             qPrintable(lock.errorString()));

    if (signal != 0)
        ::kill(pid_t(process.processId()), signal);
    QVERIFY(process.waitForFinished(20000));
    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    const QString out = QString::fromUtf8(process.readAllStandardOutput());
    QVERIFY2(process.exitCode() == 0, qPrintable(out + process.readAllStandardError()));
    QCOMPARE(out.contains("Eject cancelled; \"IPOD\" is still mounted."), signal != 0);
    QCOMPARE(out.contains("Ejected \"IPOD\"; it may be unplugged."), signal == 0);
    QCOMPARE(volume.isListedInMountTable(), signal != 0);
    QVERIFY2(lock.tryLock(), qPrintable(lock.errorString()));
}

QTEST_MAIN(CliSyncTest)

#include "tst_cli_sync.moc"
