// The download queue against curl: TVRDownloadManager fetching 500 small (2 KB) and 20 large (2 MB)
// bodies from a local HTTP server four at a time, and `curl --parallel --parallel-max 4` fetching the
// same URL list, in the same run from the same server. The server answers on a thread of its own
// from memory, so both sides wait on the same thing. The sides take turns going first; medians of
// the wall times are printed with their ratio (target: within 1.2x of curl).
#include "BenchSupport.h"
#include "TestHttpServer.h"

#include "net/TVRDownloadItem.h"
#include "net/TVRDownloadManager.h"
#include "net/TVRDownloadManagerDelegate.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <cstdio>
#include <vector>

using BenchSupport::die;
using BenchSupport::median;

namespace {

constexpr int kSmallFiles = 500;
constexpr qint64 kSmallSize = 2048;
constexpr int kLargeFiles = 20;
constexpr qint64 kLargeSize = 2 * 1024 * 1024;
constexpr int kParallel = 4;
constexpr int kRounds = 5;

// Counts the finished items and their bytes; quits the loop after the last.
class Collector : public TVRDownloadManagerDelegate
{
public:
    explicit Collector(int expected)
        : m_expected(expected)
    {}
    void downloadStarted(TVRDownloadItem *) override {}
    void downloadFinished(TVRDownloadItem *item) override
    {
        if (item->downloader())
            bytes += item->downloader()->data().size();
        if (++finished == m_expected)
            loop.quit();
    }
    QEventLoop loop;
    int finished = 0;
    qint64 bytes = 0;

private:
    int m_expected;
};

// Large files spread through the list, as a feed's images are among its articles.
QList<QUrl> urlList(const TestHttpServer &server)
{
    QList<QUrl> urls;
    int large = 0;
    for (int i = 0; i < kSmallFiles; ++i) {
        urls.append(server.url(QStringLiteral("/bytes/%1?n=%2").arg(kSmallSize).arg(i)));
        if (i % (kSmallFiles / kLargeFiles) == 0 && large < kLargeFiles)
            urls.append(server.url(QStringLiteral("/bytes/%1?n=%2").arg(kLargeSize).arg(large++)));
    }
    return urls;
}

qint64 expectedBytes()
{
    return kSmallFiles * kSmallSize + kLargeFiles * kLargeSize;
}

double runOurs(const QList<QUrl> &urls)
{
    Collector collector(int(urls.size()));
    TVRDownloadManager manager(&collector);
    manager.setMaxDownloads(kParallel);
    auto items = std::make_shared<TVRDownloadManager::ItemList>();
    for (const QUrl &url : urls)
        items->append(TVRDownloadItem::withURL(url));
    QElapsedTimer clock;
    clock.start();
    manager.setDownloadItems(items);
    manager.startDownload();
    collector.loop.exec();
    const double elapsed = double(clock.nsecsElapsed()) / 1e6;
    if (collector.bytes != expectedBytes())
        die(QStringLiteral("TVRDownloadManager received %1 bytes, not %2").arg(collector.bytes).arg(expectedBytes()));
    return elapsed;
}

QString writeCurlConfig(const QList<QUrl> &urls, const QTemporaryDir &folder)
{
    const QString path = folder.filePath(QStringLiteral("urls.curl"));
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        die(QStringLiteral("cannot write %1").arg(path));
    for (const QUrl &url : urls)
        file.write("url = \"" + url.toEncoded() + "\"\noutput = \"/dev/null\"\n");
    return path;
}

double runCurl(const QString &curl, const QString &config, int count)
{
    QProcess process;
    QElapsedTimer clock;
    clock.start();
    process.start(curl, {QStringLiteral("--parallel"), QStringLiteral("--parallel-max"), QString::number(kParallel),
                         QStringLiteral("--silent"), QStringLiteral("--show-error"), QStringLiteral("--fail"),
                         QStringLiteral("--write-out"), QStringLiteral("%{size_download}\\n"),
                         QStringLiteral("--config"), config});
    if (!process.waitForFinished(120000) || process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0)
        die(QStringLiteral("curl failed: %1").arg(QString::fromLocal8Bit(process.readAllStandardError())));
    const double elapsed = double(clock.nsecsElapsed()) / 1e6;
    const QList<QByteArray> sizes = process.readAllStandardOutput().trimmed().split('\n');
    qint64 bytes = 0;
    for (const QByteArray &size : sizes)
        bytes += size.toLongLong();
    if (sizes.size() != count || bytes != expectedBytes())
        die(QStringLiteral("curl received %1 bytes in %2 files").arg(bytes).arg(sizes.size()));
    return elapsed;
}

} // namespace

int main(int argc, char **argv)
{
    QTemporaryDir home;
    BenchSupport::useTemporaryHome(home);
    QCoreApplication app(argc, argv);

    const QString curl = QStandardPaths::findExecutable(QStringLiteral("curl"));
    if (curl.isEmpty())
        die(QStringLiteral("curl is not installed (scripts/bootstrap installs it)"));
    TestHttpServer server;
    if (!server.isListening())
        die(QStringLiteral("the local HTTP server cannot listen"));
    const QList<QUrl> urls = urlList(server);
    const QString config = writeCurlConfig(urls, home);

    // A warm-up of each, unmeasured: the first run pays for loading libraries and the pattern.
    runOurs(urls);
    runCurl(curl, config, int(urls.size()));

    std::vector<double> ours;
    std::vector<double> theirs;
    for (int round = 0; round < kRounds; ++round) {
        if (round % 2 == 0) {
            ours.push_back(runOurs(urls));
            theirs.push_back(runCurl(curl, config, int(urls.size())));
        } else {
            theirs.push_back(runCurl(curl, config, int(urls.size())));
            ours.push_back(runOurs(urls));
        }
    }
    const double oursMs = median(ours);
    const double curlMs = median(theirs);
    std::printf("%d files of %lld bytes and %d of %lld bytes, %d at a time, median of %d rounds\n", kSmallFiles,
                static_cast<long long>(kSmallSize), kLargeFiles, static_cast<long long>(kLargeSize), kParallel,
                kRounds);
    std::printf("%-22s %10.1f ms\n", "TVRDownloadManager", oursMs);
    std::printf("%-22s %10.1f ms\n", "curl --parallel", curlMs);
    std::printf("%-22s %10.2fx (target: 1.20x or less)\n", "ratio", oursMs / curlMs);
    return 0;
}
