// Feed parsing: RSS::initWithData over the feeds of a folder (the synthetic rss2-2000.xml,
// atom-2000.xml and rdf-500.xml of the feed corpus), against KDE's Syndication and Python's
// feedparser. Every side parses bytes already in memory and then reads the title, link and
// description (and, for the peers, the content) of every item, so that a peer that parses lazily does
// the same work. Each peer runs in a process of its own (Syndication is Qt 5, feedparser is Python)
// and times its own in-process loop, so start-up is not counted. Our side is measured twice: parsing
// alone, and parsing followed by normalizeRSSItem over every item, as a plug-in does.
//
// Medians per file are printed with the items each side found and the ratios; the targets are
// Syndication/ours > 1 and feedparser/ours >= 20 on every file.
//
//   bench_feed_parse [FOLDER]    (default: $TIVARO_BENCH_FEEDS; skipped when neither is given)
#include "BenchSupport.h"

#include "feeds/RSS.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <map>
#include <optional>
#include <vector>

using BenchSupport::die;
using BenchSupport::median;
using BenchSupport::milliseconds;

namespace {

constexpr int kOurRuns = 11;
constexpr int kSyndicationRuns = 11;
// feedparser takes seconds per file.
constexpr int kFeedparserRuns = 5;
// A peer that has not finished after this long is taken as hung.
constexpr int kPeerTimeoutMs = 30 * 60 * 1000;

constexpr double kSyndicationTarget = 1.0;
constexpr double kFeedparserTarget = 20.0;

struct Measure {
    double ms = 0;
    qsizetype items = -1;
    qsizetype characters = 0;
};

struct Feed {
    QString path;
    QString name;
    QByteArray bytes;
    // From the "-N" that ends the file name, when there is one.
    std::optional<qsizetype> expectedItems;
};

struct Side {
    QString name;
    // By file path; a file the side could not read is missing.
    std::map<QString, Measure> results;
};

qsizetype readItems(const QList<RSS::Item> &items)
{
    static const QString title = QStringLiteral("title");
    static const QString link = QStringLiteral("link");
    static const QString description = QStringLiteral("description");
    qsizetype characters = 0;
    for (const RSS::Item &item : items)
        characters += item.value(title).toString().size() + item.value(link).toString().size() +
                      item.value(description).toString().size();
    return characters;
}

Measure ours(const QByteArray &bytes, bool normalize)
{
    Measure measure;
    const auto start = std::chrono::steady_clock::now();
    std::unique_ptr<RSS> feed = RSS::initWithData(bytes);
    if (feed) {
        if (normalize) {
            for (RSS::Item &item : feed->newsItems())
                RSS::normalizeRSSItem(item);
        }
        measure.characters = readItems(feed->newsItems());
        measure.items = feed->newsItems().size();
    }
    measure.ms = milliseconds(std::chrono::steady_clock::now() - start);
    return measure;
}

Side measureOurs(const QString &name, const std::vector<Feed> &feeds, bool normalize)
{
    Side side{name, {}};
    for (const Feed &feed : feeds) {
        std::vector<double> times;
        Measure last;
        for (int run = 0; run < kOurRuns; ++run) {
            last = ours(feed.bytes, normalize);
            times.push_back(last.ms);
        }
        last.ms = median(times);
        side.results[feed.path] = last;
    }
    return side;
}

// Runs a peer program on every file and reads its "<file>\t<median ms>\t<items>\t<characters>" lines.
// Null (with the reason printed) when the peer cannot run.
std::optional<Side> measurePeer(const QString &name, const QString &program, const QStringList &arguments,
                                const std::vector<Feed> &feeds)
{
    QStringList all = arguments;
    for (const Feed &feed : feeds)
        all << feed.path;
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(program, all);
    if (!process.waitForStarted()) {
        std::printf("%s: cannot start %s (%s); skipped\n", qPrintable(name), qPrintable(program),
                    qPrintable(process.errorString()));
        return std::nullopt;
    }
    if (!process.waitForFinished(kPeerTimeoutMs)) {
        process.kill();
        process.waitForFinished();
        die(QStringLiteral("%1 did not finish within %2 minutes").arg(name).arg(kPeerTimeoutMs / 60000));
    }
    if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0)
        die(QStringLiteral("%1 failed (exit %2)").arg(name).arg(process.exitCode()));
    Side side{name, {}};
    const QStringList lines = QString::fromLocal8Bit(process.readAllStandardOutput()).split(QLatin1Char('\n'));
    for (const QString &line : lines) {
        const QStringList fields = line.split(QLatin1Char('\t'));
        if (fields.size() != 4)
            continue;
        bool msValid = false, itemsValid = false, charactersValid = false;
        Measure measure{fields.at(1).toDouble(&msValid), fields.at(2).toLongLong(&itemsValid),
                        fields.at(3).toLongLong(&charactersValid)};
        if (!msValid || !itemsValid || !charactersValid)
            die(QStringLiteral("%1 printed a line that is not \"file, ms, items, characters\": %2").arg(name, line));
        side.results[fields.at(0)] = measure;
    }
    for (const Feed &feed : feeds) {
        if (!side.results.contains(feed.path))
            die(QStringLiteral("%1 gave no figures for %2").arg(name, feed.path));
    }
    return side;
}

std::optional<Side> syndication(const std::vector<Feed> &feeds)
{
    const QString peer = QCoreApplication::applicationDirPath() + QStringLiteral("/feedpeer_syndication");
    if (!QFile::exists(peer)) {
        std::printf("KDE Syndication: feedpeer_syndication was not built (libkf5syndication-dev missing "
                    "when configuring); skipped\n");
        return std::nullopt;
    }
    return measurePeer(QStringLiteral("KDE Syndication"), peer, {QString::number(kSyndicationRuns)}, feeds);
}

// The first Python that imports feedparser: $TIVARO_BENCH_PYTHON, then python3 on the PATH, then the
// system's own, where Debian's python3-feedparser installs it (the PATH may lead to another Python).
QString pythonWithFeedparser()
{
    QStringList candidates;
    const QString chosen = qEnvironmentVariable("TIVARO_BENCH_PYTHON");
    if (!chosen.isEmpty())
        candidates << chosen;
    candidates << QStandardPaths::findExecutable(QStringLiteral("python3")) << QStringLiteral("/usr/bin/python3");
    for (const QString &python : candidates) {
        if (python.isEmpty() || !QFile::exists(python))
            continue;
        QProcess probe;
        probe.setProcessChannelMode(QProcess::MergedChannels);
        probe.start(python, {QStringLiteral("-c"), QStringLiteral("import feedparser")});
        if (probe.waitForFinished(60000) && probe.exitStatus() == QProcess::NormalExit && probe.exitCode() == 0)
            return python;
    }
    return QString();
}

std::optional<Side> feedparser(const std::vector<Feed> &feeds)
{
    const QString python = pythonWithFeedparser();
    if (python.isEmpty()) {
        std::printf("feedparser: no python3 imports feedparser (python3-feedparser); skipped\n");
        return std::nullopt;
    }
    return measurePeer(QStringLiteral("feedparser"), python,
                       {QStringLiteral(TIVARO_BENCH_FEEDPARSER_SCRIPT), QString::number(kFeedparserRuns)}, feeds);
}

std::vector<Feed> readFeeds(const QString &folder)
{
    static const QRegularExpression count(QStringLiteral("-(\\d+)$"));
    std::vector<Feed> feeds;
    for (const QFileInfo &info : QDir(folder).entryInfoList({QStringLiteral("*.xml")}, QDir::Files, QDir::Name)) {
        QFile file(info.filePath());
        if (!file.open(QIODevice::ReadOnly))
            die(QStringLiteral("cannot read %1").arg(info.filePath()));
        Feed feed{info.absoluteFilePath(), info.fileName(), file.readAll(), std::nullopt};
        const QRegularExpressionMatch match = count.match(info.completeBaseName());
        if (match.hasMatch())
            feed.expectedItems = match.captured(1).toLongLong();
        feeds.push_back(std::move(feed));
    }
    return feeds;
}

QString loadAverage()
{
    QFile file(QStringLiteral("/proc/loadavg"));
    if (!file.open(QIODevice::ReadOnly))
        return QStringLiteral("unknown");
    return QString::fromLatin1(file.readAll()).section(QLatin1Char(' '), 0, 2);
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    // A feed that does not parse is reported in the table; the parser's own log lines would only
    // interleave with it.
    QLoggingCategory::setFilterRules(QStringLiteral("tivaro.*.warning=false"));

    const QString folder = argc > 1 ? QString::fromLocal8Bit(argv[1]) : qEnvironmentVariable("TIVARO_BENCH_FEEDS");
    if (folder.isEmpty()) {
        std::printf("no feed folder: give one as argument or in TIVARO_BENCH_FEEDS (the bench/ folder of the "
                    "feed corpus: rss2-2000.xml, atom-2000.xml, rdf-500.xml); skipped\n");
        return 0;
    }
    if (!QFileInfo(folder).isDir())
        die(QStringLiteral("%1 is not a folder").arg(folder));
    const std::vector<Feed> feeds = readFeeds(folder);
    if (feeds.empty())
        die(QStringLiteral("no *.xml feeds in %1").arg(folder));
    qint64 bytes = 0;
    for (const Feed &feed : feeds)
        bytes += feed.bytes.size();
    std::printf("%zu feeds, %.1f MB, in %s; load average before the run: %s\n", feeds.size(), double(bytes) / 1e6,
                qPrintable(folder), qPrintable(loadAverage()));
    std::printf("runs per file: ours %d, Syndication %d, feedparser %d; medians printed\n\n", kOurRuns,
                kSyndicationRuns, kFeedparserRuns);
    std::fflush(stdout);

    const Side plain = measureOurs(QStringLiteral("RSS::initWithData"), feeds, false);
    const Side normalized = measureOurs(QStringLiteral("  + normalizeRSSItem"), feeds, true);
    const std::optional<Side> kde = syndication(feeds);
    const std::optional<Side> python = feedparser(feeds);

    std::vector<const Side *> sides{&plain, &normalized};
    if (kde)
        sides.push_back(&*kde);
    if (python)
        sides.push_back(&*python);

    bool countsAgree = true;
    std::printf("%-16s %-22s %11s %7s %13s %12s %12s\n", "file", "parser", "median ms", "items", "chars read", "x ours",
                "x ours+norm");
    for (const Feed &feed : feeds) {
        const double base = plain.results.at(feed.path).ms;
        const double baseNormalized = normalized.results.at(feed.path).ms;
        for (const Side *side : sides) {
            const Measure &measure = side->results.at(feed.path);
            std::printf("%-16s %-22s %11.1f %7lld %13lld %12.2f %12.2f\n",
                        side == sides.front() ? qPrintable(feed.name) : "", qPrintable(side->name), measure.ms,
                        static_cast<long long>(measure.items), static_cast<long long>(measure.characters),
                        base > 0 ? measure.ms / base : 0.0, baseNormalized > 0 ? measure.ms / baseNormalized : 0.0);
            const qsizetype expected = feed.expectedItems.value_or(plain.results.at(feed.path).items);
            if (measure.items != expected) {
                std::printf("WARNING: %s found %lld items in %s, expected %lld\n", qPrintable(side->name.trimmed()),
                            static_cast<long long>(measure.items), qPrintable(feed.name),
                            static_cast<long long>(expected));
                countsAgree = false;
            }
        }
    }
    std::printf("\n");

    // A target holds on every file, or it is missed.
    const auto verdict = [&](const std::optional<Side> &peer, const char *what, const char *target,
                             const std::function<bool(double)> &meets) {
        if (!peer) {
            std::printf("%-32s not measured\n", what);
            return;
        }
        for (const Side *ourSide : {&plain, &normalized}) {
            bool met = true;
            double lowest = 0;
            for (size_t i = 0; i < feeds.size(); ++i) {
                const double ratio = peer->results.at(feeds[i].path).ms / ourSide->results.at(feeds[i].path).ms;
                lowest = i == 0 ? ratio : std::min(lowest, ratio);
                met = met && meets(ratio);
            }
            std::printf("%-32s %-20s lowest ratio %7.2f, target %s: %s\n", what, qPrintable(ourSide->name.trimmed()),
                        lowest, target, met ? "met" : "MISSED");
        }
    };
    verdict(kde, "Syndication / ours", "> 1", [](double ratio) { return ratio > kSyndicationTarget; });
    verdict(python, "feedparser / ours", ">= 20", [](double ratio) { return ratio >= kFeedparserTarget; });
    std::printf("(targets apply to RSS::initWithData; the normalized row is shown for what a plug-in pays)\n");
    if (!countsAgree)
        std::printf("WARNING: the parsers do not agree on the number of items; see above\n");
    return 0;
}
