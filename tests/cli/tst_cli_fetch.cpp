#include "CliRun.h"
#include "TemporaryHome.h"
#include "TestHttpServer.h"

#include "core/Paths.h"
#include "core/PropertyList.h"
#include "core/UserDefaults.h"

#include <QTcpServer>
#include <QTemporaryFile>
#include <QtTest>

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

extern char **environ;

namespace {

// One run of `tivaro` with its peak memory as the kernel counted it. wait4() gives one child's own
// resource use; QProcess, which reaps its children itself, cannot.
struct MeasuredRun {
    int exitCode = -1;
    QString err;
    qint64 peakKilobytes = -1;
};

MeasuredRun runMeasured(const QStringList &arguments)
{
    MeasuredRun run;
    QTemporaryFile err;
    if (!err.open())
        return run;
    std::vector<QByteArray> words{qEnvironmentVariable("TIVARO_CLI").toLocal8Bit()};
    for (const QString &argument : arguments)
        words.push_back(argument.toLocal8Bit());
    std::vector<char *> argv;
    for (QByteArray &word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, err.handle(), 2);
    pid_t pid = 0;
    const int spawned = posix_spawn(&pid, argv.front(), &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0)
        return run;
    int status = 0;
    rusage usage{};
    if (::wait4(pid, &status, 0, &usage) != pid)
        return run;
    run.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    run.peakKilobytes = usage.ru_maxrss;
    err.seek(0);
    run.err = QString::fromUtf8(err.readAll());
    return run;
}

// A port where nothing listens: taken from the system, then given back.
quint16 deadPort()
{
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    return probe.serverPort();
}

} // namespace

// `tivaro fetch` run as a user runs it, against a real local server.
class CliFetchTest : public QObject
{
    Q_OBJECT

    TestHttpServer m_server;
    std::unique_ptr<TemporaryHome> m_home;
    QTemporaryDir m_folder;
    // A file of the user's that no redirect may print.
    QString m_secret;

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY2(QFileInfo::exists(qEnvironmentVariable("TIVARO_CLI")), "TIVARO_CLI names the tivaro program");
        QVERIFY(m_server.isListening());
        m_server.serve("/hello", "hello world");
        m_secret = m_folder.filePath("secret.txt");
        QFile secret(m_secret);
        QVERIFY(secret.open(QIODevice::WriteOnly) && secret.write("the user's own file") > 0);
    }
    void init()
    {
        m_home.reset();
        m_home = std::make_unique<TemporaryHome>();
    }
    void cleanupTestCase() { m_home.reset(); }

    void fetch_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("out");
        QTest::addColumn<QString>("err");
        const QString hello = m_server.url("/hello").toString();
        const QString guarded = m_server.url("/auth/ann/secret/hello").toString();
        const QString port = QString::number(m_server.port());
        QTest::newRow("body") << QStringList{hello} << 0 << "hello world"
                              << "";
        QTest::newRow("redirected") << QStringList{m_server.url("/redirect/2/hello").toString()} << 0 << "hello world"
                                    << "";
        QTest::newRow("feed: URL") << QStringList{QString(hello).replace("http:", "feed:")} << 0 << "hello world"
                                   << "";
        QTest::newRow("right credential")
            << QStringList{guarded, "--user", "ann", "--password", "secret"} << 0 << "hello world"
            << "";
        QTest::newRow("wrong credential") << QStringList{guarded, "--user", "ann", "--password", "guess"} << 1 << ""
                                          << "tivaro: Download failed: the server refused the user name and password\n";
        QTest::newRow("credential asked by another host")
            << QStringList{m_server.redirectTo(m_server.url("/auth/ann/secret/hello", "localhost")).toString(),
                           "--user", "ann", "--password", "secret"}
            << 1 << ""
            << "tivaro: Download failed: localhost:" + port +
                   " asks for a password, which is only sent to 127.0.0.1:" + port + "\n";
        QTest::newRow("error status") << QStringList{m_server.url("/status/404").toString()} << 1 << ""
                                      << "tivaro: Download failed: HTTP 404\n";
        QTest::newRow("reset") << QStringList{m_server.url("/reset").toString()} << 1 << ""
                               << "tivaro: Download failed: the server closed the connection without answering\n";
        QTest::newRow("refused") << QStringList{QStringLiteral("http://127.0.0.1:%1/").arg(deadPort())} << 1 << ""
                                 << "tivaro: Download failed: connection refused\n";
        QTest::newRow("no such host") << QStringList{"http://no-such-host.invalid/"} << 1 << ""
                                      << "tivaro: Download failed: host \"no-such-host.invalid\" not found\n";
        QTest::newRow("redirect loop") << QStringList{m_server.url("/loop").toString()} << 1 << ""
                                       << "tivaro: Download failed: redirect loop: more than 20 redirects\n";
        QTest::newRow("redirect to a file")
            << QStringList{m_server.redirectTo(QUrl::fromLocalFile(m_secret)).toString()} << 1 << ""
            << "tivaro: Download failed: redirect to \"" + QUrl::fromLocalFile(m_secret).toString() +
                   "\" refused: only http and https are followed\n";
        QTest::newRow("cut short") << QStringList{m_server.url("/short/1000").toString()} << 1 << ""
                                   << "tivaro: Download failed: cut short: 1000 bytes of 2000 bytes arrived\n";
        QTest::newRow("broken chunks") << QStringList{m_server.url("/brokenchunks/1000").toString()} << 1 << ""
                                       << "tivaro: Download failed: cut short: the connection broke after 1000 "
                                          "bytes\n";
        QTest::newRow("stall") << QStringList{m_server.url("/stall/0").toString(), "--timeout", "1"} << 1 << ""
                               << "tivaro: Download timed out: no data for 1 second\n";
        QTest::newRow("no URL") << QStringList() << 2 << ""
                                << "tivaro: fetch takes one URL\n";
        QTest::newRow("relative URL") << QStringList{"feed.xml"} << 2 << ""
                                      << "tivaro: cannot download \"feed.xml\": not an http, https, feed or file "
                                         "URL\n";
        QTest::newRow("other scheme") << QStringList{"gopher://127.0.0.1/feed"} << 2 << ""
                                      << "tivaro: cannot download \"gopher://127.0.0.1/feed\": not an http, https, "
                                         "feed or file URL\n";
        QTest::newRow("bad time-out") << QStringList{hello, "--timeout", "soon"} << 2 << ""
                                      << "tivaro: --timeout takes a positive number of seconds, not \"soon\"\n";
        QTest::newRow("user alone") << QStringList{hello, "--user", "ann"} << 2 << ""
                                    << "tivaro: --user and --password go together\n";
    }
    void fetch()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, exitCode);
        QFETCH(QString, out);
        QFETCH(QString, err);
        const CliRun run = CliRun::run(QStringList{"fetch"} + arguments);
        QCOMPARE(run.err, err);
        QCOMPARE(run.out, out);
        QCOMPARE(run.exitCode, exitCode);
    }

    void writesBytesAsTheyCame()
    {
        const CliRun run = CliRun::run({"fetch", m_server.url("/bytes/300000").toString()});
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(run.out.toLatin1(), TestHttpServer::patternBytes(300000));
    }

    // The preference applies without --timeout, and --timeout is never written to it.
    void timeoutPreference()
    {
        m_home->writeApplicationPreferences({{"DownloadTimeout", 1}});
        const QString stall = m_server.url("/stall/0").toString();
        QCOMPARE(CliRun::run({"fetch", stall}).err, "tivaro: Download timed out: no data for 1 second\n");
        QCOMPARE(CliRun::run({"fetch", stall, "--timeout", "1.5"}).exitCode, 1);
        const QString file = Paths::preferencesFileForDomain(UserDefaults::applicationDomain());
        QCOMPARE(PropertyList::readFile(file).value_or(QVariant()).toMap(), QVariantMap({{"DownloadTimeout", 1}}));
    }

    void preferences_data()
    {
        QTest::addColumn<QVariantMap>("preferences");
        QTest::addColumn<QString>("path");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("err");
        // Once, 0 failed every download at once.
        QTest::newRow("no time-out") << QVariantMap{{"DownloadTimeout", 0}} << "/hello" << 0 << "";
        QTest::newRow("deadline") << QVariantMap{{"DownloadDeadline", 1}} << "/endless/100" << 1
                                  << "tivaro: Download timed out: not finished after 1 second, the DownloadDeadline "
                                     "limit\n";
        QTest::newRow("maximum") << QVariantMap{{"DownloadMaximumBytes", 100000}} << "/generate/100001/unsized" << 1
                                 << "tivaro: Download failed: the answer is larger than 100000 bytes, the "
                                    "DownloadMaximumBytes limit\n";
        QTest::newRow("within the maximum")
            << QVariantMap{{"DownloadMaximumBytes", 100000}} << "/generate/100000/unsized" << 0 << "";
    }
    void preferences()
    {
        QFETCH(QVariantMap, preferences);
        QFETCH(QString, path);
        QFETCH(int, exitCode);
        QFETCH(QString, err);
        m_home->writeApplicationPreferences(preferences);
        const CliRun run = CliRun::run({"fetch", m_server.url(path).toString()});
        QCOMPARE(run.err, err);
        QCOMPARE(run.exitCode, exitCode);
    }

    // A gigabyte answer, made by the server as it is read, never takes more memory than the
    // maximum size allows, whichever face of the downloader reads it.
    void largeAnswersKeepMemoryBounded_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("err");
        const QString limit = "the answer is larger than 32 MB, the DownloadMaximumBytes limit\n";
        const QString sized = m_server.url("/generate/1073741824").toString();
        const QString unsized = m_server.url("/generate/1073741824/unsized").toString();
        QTest::newRow("fetch, announced") << QStringList{"fetch", sized} << "tivaro: Download failed: " + limit;
        QTest::newRow("fetch, unannounced") << QStringList{"fetch", unsized} << "tivaro: Download failed: " + limit;
        QTest::newRow("html2text") << QStringList{"html2text", unsized}
                                   << "tivaro: cannot download " + unsized + ": " + limit;
        QTest::newRow("feed parse") << QStringList{"feed", "parse", unsized}
                                    << "tivaro: cannot download " + unsized + ": RSSDownloadFailed: " + limit;
    }
    void largeAnswersKeepMemoryBounded()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, err);
        const MeasuredRun run = runMeasured(arguments);
        QCOMPARE(run.err, err);
        QCOMPARE(run.exitCode, 1);
        // The program itself (some 30 MB) and the 32 MB of body, twice over while its buffer grows;
        // the whole answer would be 1024 MB and more.
        qint64 boundKilobytes = 128 * 1024;
#if defined(__SANITIZE_ADDRESS__)
        // AddressSanitizer's shadow memory and its quarantine of freed blocks (up to 256 MB) on top.
        boundKilobytes = 512 * 1024;
#endif
        QVERIFY2(run.peakKilobytes > 0 && run.peakKilobytes < boundKilobytes,
                 qPrintable(QStringLiteral("peak %1 KB").arg(run.peakKilobytes)));
    }

    // The help says how long a transfer may go without data, as it is.
    void helpTellsTheTimeOuts()
    {
        const CliRun run = CliRun::run({"fetch", "--help"});
        QCOMPARE(run.exitCode, 0);
        QVERIFY2(run.out.simplified().contains("no data arrives for 15 seconds, or sooner for a \"DownloadTimeout\" "
                                               "preference below 15 (20 when absent)"),
                 qPrintable(run.out));
    }
};

QTEST_MAIN(CliFetchTest)
#include "tst_cli_fetch.moc"
