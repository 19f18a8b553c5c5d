#include "CliRun.h"
#include "TemporaryHome.h"
#include "TestHttpServer.h"

#include "core/Paths.h"
#include "core/PropertyList.h"
#include "core/UserDefaults.h"

#include <QtTest>

// `tivaro fetch` run as a user runs it, against a real local server.
class CliFetchTest : public QObject
{
    Q_OBJECT

    TestHttpServer m_server;
    std::unique_ptr<TemporaryHome> m_home;

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY2(QFileInfo::exists(qEnvironmentVariable("TIVARO_CLI")), "TIVARO_CLI names the tivaro program");
        QVERIFY(m_server.isListening());
        m_server.serve("/hello", "hello world");
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
        QTest::newRow("body") << QStringList{hello} << 0 << "hello world"
                              << "";
        QTest::newRow("redirected") << QStringList{m_server.url("/redirect/2/hello").toString()} << 0 << "hello world"
                                    << "";
        QTest::newRow("right credential")
            << QStringList{guarded, "--user", "ann", "--password", "secret"} << 0 << "hello world"
            << "";
        QTest::newRow("wrong credential") << QStringList{guarded, "--user", "ann", "--password", "guess"} << 1 << ""
                                          << "tivaro: Download failed: authentication refused (HTTP 401)\n";
        QTest::newRow("error status") << QStringList{m_server.url("/status/404").toString()} << 1 << ""
                                      << "tivaro: Download failed: HTTP 404\n";
        QTest::newRow("reset") << QStringList{m_server.url("/reset").toString()} << 1 << ""
                               << "tivaro: Download failed: connection failed\n";
        QTest::newRow("stall") << QStringList{m_server.url("/stall/0").toString(), "--timeout", "1"} << 1 << ""
                               << "tivaro: Download timed out\n";
        QTest::newRow("no URL") << QStringList() << 2 << ""
                                << "tivaro: fetch takes one URL\n";
        QTest::newRow("relative URL") << QStringList{"feed.xml"} << 2 << ""
                                      << "tivaro: cannot download \"feed.xml\": not an absolute URL of a known "
                                         "scheme\n";
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
        QCOMPARE(CliRun::run({"fetch", stall}).err, "tivaro: Download timed out\n");
        QCOMPARE(CliRun::run({"fetch", stall, "--timeout", "1.5"}).exitCode, 1);
        const QString file = Paths::preferencesFileForDomain(UserDefaults::applicationDomain());
        QCOMPARE(PropertyList::readFile(file).value_or(QVariant()).toMap(), QVariantMap({{"DownloadTimeout", 1}}));
    }
};

QTEST_MAIN(CliFetchTest)
#include "tst_cli_fetch.moc"
