// iTunesDB reading: TDBiPod over databases of 2,000 and 20,000 tracks written by libgpod, against
// libgpod's own itdb_parse of the same trees and against the floor of reading the file into memory.
//
// peers/ipoddb_gen writes the trees into a temporary folder (not timed). Our side reads
// iPod_Control/iTunes/iTunesDB with QFile and hands the bytes to a fresh TDBiPod's processiTunesDB, so
// it does the floor's work plus the parse; the floor is that QFile::readAll alone. libgpod runs in
// peers/ipoddb_peer, a process of its own so that it never enters ours, which times itdb_parse (the
// whole device, as an application opens it) and itdb_parse_file (the iTunesDB alone) in-process; both
// read the file themselves. Every side reads once to warm the page cache before timing, and freeing
// the result is timed on neither side.
//
// Peak memory: each reader parses once in a fresh child process that then prints its VmHWM; a child
// that only starts gives the baseline, so the reader's own growth shows. Ours is this executable
// re-run with --peak-ours.
//
// Targets, on both sizes: libgpod's itdb_parse at least 3x slower than ours; ours within 3x of the
// floor. itdb_parse_file is shown beside it, as it skips the device files ours never reads. A missed
// target is reported, not a failure; a reader that misses tracks, or cannot run, is.
//
//   bench_itunesdb_parse
//   bench_itunesdb_parse --peak-ours MOUNTDIR | --baseline      (the child modes)
#include "BenchSupport.h"

#include "ipoddb/TDBiPod_p.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <vector>

using BenchSupport::die;
using BenchSupport::median;
using BenchSupport::milliseconds;

namespace {

// The README's shapes of a small and a large library, playlists included.
struct Library {
    int tracks;
    int playlists;
    int seed;
    // Runs per side; the small file reads in well under a millisecond, where noise needs more samples.
    int runs;
};
constexpr Library kLibraries[] = {{2000, 15, 2, 21}, {20000, 40, 3, 11}};

constexpr double kLibgpodTarget = 3.0;
constexpr double kFloorTarget = 3.0;

// Writing 20,000 tracks with libgpod takes seconds; a child silent for this long is hung.
constexpr int kChildTimeoutMs = 10 * 60 * 1000;

const QString kDatabase = QStringLiteral("iPod_Control/iTunes/iTunesDB");

// The reader logs where it stops walking a file; a line per parse would bury the table, so the lines are
// counted and the first is shown.
QtMessageHandler previousHandler = nullptr;
int readerWarnings = 0;
QString firstReaderWarning;

void countReaderWarnings(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    if (type == QtWarningMsg && context.category && std::strcmp(context.category, "tivaro.ipoddb") == 0) {
        if (readerWarnings++ == 0)
            firstReaderWarning = message;
        return;
    }
    previousHandler(type, context, message);
}

// The peak resident set of this process in kB, from /proc; -1 when it cannot be read.
long peakKilobytes()
{
    std::FILE *status = std::fopen("/proc/self/status", "r");
    if (!status)
        return -1;
    char line[256];
    long kilobytes = -1;
    while (std::fgets(line, sizeof line, status)) {
        if (std::strncmp(line, "VmHWM:", 6) == 0) {
            kilobytes = std::strtol(line + 6, nullptr, 10);
            break;
        }
    }
    std::fclose(status);
    return kilobytes;
}

// The child modes print "peak\t<kB>\t<tracks>", as the peer does.
int printPeak(qsizetype tracks)
{
    std::printf("peak\t%ld\t%lld\n", peakKilobytes(), static_cast<long long>(tracks));
    return 0;
}

// Our reader as an application uses it: the database loads on the first tracks().
int peakOurs(const QString &mount)
{
    TDBiPod ipod(mount);
    const std::optional<QList<TDBTrackPtr>> tracks = ipod.tracks();
    return printPeak(tracks ? tracks->size() : -1);
}

QByteArray readDatabase(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        die(QStringLiteral("cannot read %1: %2").arg(path, file.errorString()));
    return file.readAll();
}

// A figure (milliseconds or kB) and the tracks the reader found meanwhile.
struct Figure {
    double value = 0;
    qsizetype tracks = -1;
};

double floorRun(const QString &path, qint64 expectedBytes)
{
    const auto start = std::chrono::steady_clock::now();
    const QByteArray bytes = readDatabase(path);
    const double ms = milliseconds(std::chrono::steady_clock::now() - start);
    if (bytes.size() != expectedBytes)
        die(QStringLiteral("read %1 bytes of %2, expected %3").arg(bytes.size()).arg(path).arg(expectedBytes));
    return ms;
}

Figure oursRun(const QString &mount, const QString &path)
{
    Figure timing;
    const auto start = std::chrono::steady_clock::now();
    const QByteArray bytes = readDatabase(path);
    auto ipod = std::make_unique<TDBiPod>(mount);
    ipod->processiTunesDB(bytes);
    const std::optional<QList<TDBTrackPtr>> tracks = ipod->tracks();
    timing.value = milliseconds(std::chrono::steady_clock::now() - start);
    timing.tracks = tracks ? tracks->size() : -1;
    // The reader and its tracks are freed here, after the clock stopped, as libgpod's itdb_free is.
    return timing;
}

// Median over `runs` after one untimed warm-up run.
template<typename Run> double medianOf(int runs, Run run)
{
    run();
    std::vector<double> times;
    for (int i = 0; i < runs; ++i)
        times.push_back(run());
    return median(times);
}

// Runs a child to completion and returns its standard output; dies when it cannot run or fails.
QByteArray runChild(const QString &what, const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::SeparateChannels);
    process.start(program, arguments);
    if (!process.waitForStarted())
        die(QStringLiteral("cannot start %1 (%2)").arg(program, process.errorString()));
    if (!process.waitForFinished(kChildTimeoutMs)) {
        process.kill();
        process.waitForFinished();
        die(QStringLiteral("%1 did not finish within %2 minutes").arg(what).arg(kChildTimeoutMs / 60000));
    }
    if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0)
        die(QStringLiteral("%1 failed (exit %2): %3")
                .arg(what)
                .arg(process.exitCode())
                .arg(QString::fromLocal8Bit(process.readAllStandardError()).trimmed()));
    return process.readAllStandardOutput();
}

// The "<name>\t<number>\t<tracks>" line a child printed for `name`.
Figure childLine(const QString &what, const QByteArray &output, const QByteArray &name)
{
    for (const QByteArray &line : output.split('\n')) {
        const QList<QByteArray> fields = line.split('\t');
        if (fields.size() != 3 || fields.at(0) != name)
            continue;
        bool numberValid = false, tracksValid = false;
        const Figure figure{fields.at(1).toDouble(&numberValid), fields.at(2).toLongLong(&tracksValid)};
        if (!numberValid || !tracksValid || figure.value < 0)
            die(QStringLiteral("%1 printed a line that is not \"%2, number, tracks\": %3")
                    .arg(what, QString::fromLatin1(name), QString::fromLocal8Bit(line)));
        return figure;
    }
    die(QStringLiteral("%1 printed no \"%2\" line: %3")
            .arg(what, QString::fromLatin1(name), QString::fromLocal8Bit(output).trimmed()));
}

// Peak memory of one child, in kB, with its track count checked.
double childPeak(const QString &what, const QString &program, const QStringList &arguments, qsizetype expected)
{
    const Figure peak = childLine(what, runChild(what, program, arguments), "peak");
    if (peak.tracks != expected)
        die(QStringLiteral("%1 found %2 tracks, expected %3").arg(what).arg(peak.tracks).arg(expected));
    return peak.value;
}

void checkTracks(const QString &what, qsizetype found, qsizetype expected)
{
    if (found != expected)
        die(QStringLiteral("%1 found %2 tracks, expected %3").arg(what).arg(found).arg(expected));
}

QString loadAverage()
{
    QFile file(QStringLiteral("/proc/loadavg"));
    if (!file.open(QIODevice::ReadOnly))
        return QStringLiteral("unknown");
    return QString::fromLatin1(file.readAll()).section(QLatin1Char(' '), 0, 2);
}

const char *verdict(bool met)
{
    return met ? "met" : "MISSED";
}

struct Peaks {
    double baseline = 0;
    double reader = 0;
};

void printRow(const char *name, double ms, double floorMs, const std::optional<Peaks> &peaks)
{
    std::printf("  %-30s %10.2f %9.2f", name, ms, ms / floorMs);
    if (peaks)
        std::printf(" %11.1f %+12.1f", peaks->reader / 1024, (peaks->reader - peaks->baseline) / 1024);
    std::printf("\n");
}

} // namespace

int main(int argc, char **argv)
{
    // The child modes come before QCoreApplication, so that their baseline is the process as started.
    if (argc == 2 && std::strcmp(argv[1], "--baseline") == 0)
        return printPeak(0);
    if (argc == 3 && std::strcmp(argv[1], "--peak-ours") == 0)
        return peakOurs(QFile::decodeName(argv[2]));

    QCoreApplication application(argc, argv);
    if (argc != 1)
        die(QStringLiteral("usage: bench_itunesdb_parse [--peak-ours MOUNTDIR | --baseline]"));

    const QString binaries = QCoreApplication::applicationDirPath();
    const QString generator = binaries + QStringLiteral("/ipoddb_gen");
    const QString peer = binaries + QStringLiteral("/ipoddb_peer");
    // The databases are libgpod's writing: without it there is nothing to read, on either side.
    if (!QFile::exists(generator) || !QFile::exists(peer)) {
        std::printf("libgpod: ipoddb_gen and ipoddb_peer were not built (libgpod-dev, libgdk-pixbuf-2.0-dev "
                    "missing when configuring); skipped, our side included, as libgpod writes the input\n");
        return 0;
    }

    QTemporaryDir folder;
    if (!folder.isValid())
        die(QStringLiteral("cannot make a temporary folder"));
    std::printf("iPod trees written by libgpod in %s (%s); load average before the run: %s\n",
                qPrintable(QDir::tempPath()), qPrintable(BenchSupport::fileSystemOf(folder.path())),
                qPrintable(loadAverage()));
    std::printf("medians after one warm-up run; peak RSS (VmHWM) of a fresh process parsing once, and its growth "
                "over one that only starts\n");
    std::fflush(stdout);

    // Both readers inherit it; unset, every local-time conversion of glibc looks at /etc/localtime again.
    const QString timeZone = qEnvironmentVariableIsSet("TZ")
                                 ? QStringLiteral("TZ=\"%1\"").arg(qEnvironmentVariable("TZ"))
                                 : QStringLiteral("TZ not set");
    std::printf("%s for both readers\n", qPrintable(timeZone));
    previousHandler = qInstallMessageHandler(countReaderWarnings);

    const QString self = QCoreApplication::applicationFilePath();
    const double oursBaseline = childPeak(QStringLiteral("our baseline"), self, {QStringLiteral("--baseline")}, 0);
    const double libgpodBaseline =
        childPeak(QStringLiteral("libgpod's baseline"), peer, {QStringLiteral("--baseline")}, 0);

    QStringList missed;
    for (const Library &library : kLibraries) {
        const QString mount = folder.filePath(QStringLiteral("ipod-%1").arg(library.tracks));
        runChild(QStringLiteral("ipoddb_gen"), generator,
                 {mount, QString::number(library.tracks), QString::number(library.playlists),
                  QString::number(library.seed)});
        const QString path = QDir(mount).filePath(kDatabase);
        const qint64 bytes = QFileInfo(path).size();
        if (bytes <= 0)
            die(QStringLiteral("ipoddb_gen wrote no %1").arg(path));

        const double floorMs = medianOf(library.runs, [&] { return floorRun(path, bytes); });
        readerWarnings = 0;
        const double oursMs = medianOf(library.runs, [&] {
            const Figure timing = oursRun(mount, path);
            checkTracks(QStringLiteral("TDBiPod"), timing.tracks, library.tracks);
            return timing.value;
        });

        const QByteArray peerOutput = runChild(QStringLiteral("ipoddb_peer"), peer,
                                               {QStringLiteral("--time"), QString::number(library.runs), mount});
        const Figure parse = childLine(QStringLiteral("ipoddb_peer"), peerOutput, "itdb_parse");
        const Figure parseFile = childLine(QStringLiteral("ipoddb_peer"), peerOutput, "itdb_parse_file");
        checkTracks(QStringLiteral("itdb_parse"), parse.tracks, library.tracks);
        checkTracks(QStringLiteral("itdb_parse_file"), parseFile.tracks, library.tracks);

        const Peaks oursPeak{oursBaseline, childPeak(QStringLiteral("TDBiPod's peak"), self,
                                                     {QStringLiteral("--peak-ours"), mount}, library.tracks)};
        const Peaks libgpodPeak{libgpodBaseline, childPeak(QStringLiteral("itdb_parse's peak"), peer,
                                                           {QStringLiteral("--peak"), mount}, library.tracks)};

        std::printf("\n%d tracks, %d playlists: iTunesDB of %.1f MB, %d runs per side\n", library.tracks,
                    library.playlists, double(bytes) / 1e6, library.runs);
        std::printf("  %-30s %10s %9s %11s %12s\n", "reader", "median ms", "x floor", "peak MiB", "growth MiB");
        printRow("read into memory (floor)", floorMs, floorMs, std::nullopt);
        printRow("TDBiPod (read + parse)", oursMs, floorMs, oursPeak);
        printRow("libgpod itdb_parse", parse.value, floorMs, libgpodPeak);
        printRow("libgpod itdb_parse_file", parseFile.value, floorMs, std::nullopt);

        const double libgpodRatio = parse.value / oursMs;
        const double floorRatio = oursMs / floorMs;
        std::printf("  itdb_parse / ours %6.2f (target >= %.0f): %s;  itdb_parse_file / ours %6.2f\n", libgpodRatio,
                    kLibgpodTarget, verdict(libgpodRatio >= kLibgpodTarget), parseFile.value / oursMs);
        std::printf("  ours / floor      %6.2f (target <= %.0f): %s\n", floorRatio, kFloorTarget,
                    verdict(floorRatio <= kFloorTarget));
        if (readerWarnings > 0)
            std::printf("  note: TDBiPod logged %d warnings in %d parses, the first: %s\n", readerWarnings,
                        library.runs + 1, qPrintable(firstReaderWarning));
        std::fflush(stdout);
        if (libgpodRatio < kLibgpodTarget)
            missed << QStringLiteral("%1 tracks: libgpod / ours").arg(library.tracks);
        if (floorRatio > kFloorTarget)
            missed << QStringLiteral("%1 tracks: ours / floor").arg(library.tracks);
    }

    std::printf("\n");
    if (missed.isEmpty())
        std::printf("every target met\n");
    for (const QString &target : missed)
        std::printf("MISSED: %s\n", qPrintable(target));
    return 0;
}
