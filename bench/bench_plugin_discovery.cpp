// Plug-in discovery against the floor of its work: PluginManager::plugins() (list the three folders,
// read every Info.plist, keep the newest of each name, load every library and make every plug-in)
// next to what any discovery must do: list the same three folders and parse each Info.plist with
// PropertyList, loading nothing.
//
// The trees hold copies of one plug-in bundle, each with a name of its own, spread over the three
// folders (three fifths built in, a fifth in the outer prefix, a fifth in the user's folder); one in
// twenty repeats a built-in name with a newer or an older version, so the version rule runs both ways.
// Every copy is a file of its own, so the dynamic loader maps each one as it would distinct plug-ins.
//
//   cold: the first plugins() of a fresh process (every library opened for the first time). The
//         benchmark runs itself as a child with --cold-once and reads the time the child reports.
//         The page cache is warm unless a row says otherwise.
//   warm: plugins() again and again in one process whose libraries are loaded already.
// For cold there is a second reference, the floor plus dlopen() of each library discovery keeps:
// what the dynamic loader alone costs, so that the rest is what our own code adds.
// Medians are printed; the sides take turns going first.
#include "BenchSupport.h"
#include "core/Paths.h"
#include "core/PropertyList.h"
#include "plugins/PluginManager.h"
#include "plugins/TVRPlugin.h"

#include <QCoreApplication>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QLoggingCategory>
#include <QProcess>
#include <QTemporaryDir>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

using BenchSupport::die;
using BenchSupport::fileSystemOf;
using BenchSupport::median;
using BenchSupport::milliseconds;

namespace {

const QString kPluginsBelowPrefix = QStringLiteral("/lib/tivaro/PlugIns");

// The duplicate names are there on purpose; their warnings would only bury the table.
void silencePluginWarnings()
{
    QLoggingCategory::setFilterRules(QStringLiteral("tivaro.plugins.warning=false"));
}

// ---- The floor: list the three folders, parse each Info.plist, load nothing ----

QString parentFolder(const QString &path)
{
    const qsizetype slash = path.lastIndexOf(QLatin1Char('/'));
    return slash <= 0 ? QStringLiteral("/") : path.left(slash);
}

QStringList entriesOf(const QString &folder)
{
    QStringList names;
    DIR *dir = ::opendir(QFile::encodeName(folder).constData());
    if (!dir)
        return names;
    while (const dirent *entry = ::readdir(dir)) {
        if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0)
            names.append(QFile::decodeName(entry->d_name));
    }
    ::closedir(dir);
    return names;
}

// The distinct plug-in names in the three folders. With `load`, also opens the library of the
// newest bundle of each name, as discovery does, and never closes it.
qsizetype floorDiscovery(const QString &prefix, bool load = false)
{
    QStringList folders{prefix + kPluginsBelowPrefix,
                        parentFolder(parentFolder(parentFolder(prefix))) + kPluginsBelowPrefix};
    const QString support = Paths::applicationSupportFolder();
    for (const QString &entry : entriesOf(support)) {
        if (entry.toLower() == QLatin1String("plugins")) {
            folders.append(support + QLatin1Char('/') + entry);
            break;
        }
    }

    struct Kept {
        qint64 version = 0;
        QString library;
    };
    QHash<QString, Kept> kept;
    for (const QString &folder : std::as_const(folders)) {
        for (const QString &entry : entriesOf(folder)) {
            if (!entry.endsWith(QLatin1String(".tvr")))
                continue;
            const std::optional<QVariant> info =
                PropertyList::readFile(folder + QLatin1Char('/') + entry + QStringLiteral("/Info.plist"));
            if (!info || info->metaType().id() != QMetaType::QVariantMap)
                continue;
            const QVariantMap map = info->toMap();
            const QString name = map.value(QStringLiteral("pluginName")).toString();
            if (name.isEmpty())
                continue;
            const Kept candidate{
                PluginManager::joinedVersionNumber(map.value(QStringLiteral("pluginVersion")).toString()),
                folder + QLatin1Char('/') + entry + QLatin1Char('/') +
                    map.value(QStringLiteral("CFBundleExecutable")).toString()};
            const auto known = kept.find(name);
            if (known == kept.end())
                kept.insert(name, candidate);
            else if (candidate.version > known->version)
                *known = candidate;
        }
    }
    if (load) {
        for (const Kept &plugin : std::as_const(kept)) {
            if (!::dlopen(QFile::encodeName(plugin.library).constData(), RTLD_NOW | RTLD_LOCAL))
                die(QStringLiteral("dlopen %1: %2").arg(plugin.library, QString::fromLocal8Bit(::dlerror())));
        }
    }
    return kept.size();
}

// ---- The trees ----

struct Tree {
    int bundles = 0;
    int duplicates = 0;
    QString prefix;
    QString dataHome; // XDG_DATA_HOME for this tree
    QString root;

    int expectedPlugins() const { return bundles - duplicates; }
};

QVariantMap sourceInfo()
{
    const QString path = QStringLiteral(TIVARO_BENCH_PLUGIN_BUNDLE "/Info.plist");
    const std::optional<QVariant> info = PropertyList::readFile(path);
    if (!info || info->metaType().id() != QMetaType::QVariantMap)
        die(QStringLiteral("cannot read %1; build the bench_plugin target first").arg(path));
    return info->toMap();
}

void installBundle(const QString &folder, int index, const QString &name, const QString &version)
{
    static const QVariantMap source = sourceInfo();
    const QString executable = source.value(QStringLiteral("CFBundleExecutable")).toString();
    const QString bundle = folder + QStringLiteral("/Bench%1.tvr").arg(index, 3, 10, QLatin1Char('0'));
    if (!QDir().mkpath(bundle))
        die(QStringLiteral("cannot make %1").arg(bundle));
    const QString library = QStringLiteral(TIVARO_BENCH_PLUGIN_BUNDLE "/") + executable;
    if (!QFile::copy(library, bundle + QLatin1Char('/') + executable))
        die(QStringLiteral("cannot copy %1 into %2").arg(library, bundle));

    QVariantMap info = source;
    info.insert(QStringLiteral("pluginName"), name);
    info.insert(QStringLiteral("pluginVersion"), version);
    info.insert(QStringLiteral("CFBundleIdentifier"),
                QStringLiteral("org.tivaro.bench.plugin%1").arg(index, 3, 10, QLatin1Char('0')));
    const std::optional<QByteArray> xml = PropertyList::toXml(info);
    QFile file(bundle + QStringLiteral("/Info.plist"));
    if (!xml || !file.open(QIODevice::WriteOnly) || file.write(*xml) != xml->size())
        die(QStringLiteral("cannot write the Info.plist of %1").arg(bundle));
}

// Bundles 0 .. 3/5 n are built in (version 1.2), then a fifth in the outer prefix and the rest in
// the user's folder (version 1.0). The first n/20 outside the built-in folder take the name of a
// built-in plug-in instead, alternately newer (1.10, which replaces it) and older (0.9, left out).
Tree makeTree(const QString &root, int bundles)
{
    Tree tree;
    tree.bundles = bundles;
    tree.duplicates = bundles / 20;
    tree.root = root;
    tree.prefix = root + QStringLiteral("/outer/lib/tivaro/helper");
    tree.dataHome = root + QStringLiteral("/data");
    const QString builtIn = tree.prefix + kPluginsBelowPrefix;
    const QString outer = root + QStringLiteral("/outer") + kPluginsBelowPrefix;
    const QString user = tree.dataHome + QStringLiteral("/Tivaro/PlugIns");
    for (const QString &folder : {builtIn, outer, user}) {
        if (!QDir().mkpath(folder))
            die(QStringLiteral("cannot make %1").arg(folder));
    }

    const int builtInCount = bundles * 3 / 5;
    const int outerCount = bundles / 5;
    const int outerDuplicates = (tree.duplicates + 1) / 2;
    const int userDuplicates = tree.duplicates / 2;
    int duplicate = 0;
    for (int index = 0; index < bundles; ++index) {
        QString name = QStringLiteral("Bench %1").arg(index, 3, 10, QLatin1Char('0'));
        QString version = QStringLiteral("1.0");
        QString folder = user;
        if (index < builtInCount) {
            folder = builtIn;
            version = QStringLiteral("1.2");
        } else if (index < builtInCount + outerCount) {
            folder = outer;
        }
        const int inFolder = folder == outer ? index - builtInCount : index - builtInCount - outerCount;
        const bool duplicates =
            (folder == outer && inFolder < outerDuplicates) || (folder == user && inFolder < userDuplicates);
        if (duplicates) {
            name = QStringLiteral("Bench %1").arg(duplicate, 3, 10, QLatin1Char('0'));
            version = duplicate % 2 == 0 ? QStringLiteral("1.10") : QStringLiteral("0.9");
            ++duplicate;
        }
        installBundle(folder, index, name, version);
    }
    return tree;
}

// ---- Emptying the caches ----

// Drops the pages of every file in the tree from the page cache; the folders' own entries stay.
// The tree was synced once when it was made, so every page is clean and can go.
void evictFiles(const QString &root)
{
    QDirIterator it(root, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QByteArray path = QFile::encodeName(it.next());
        const int fd = ::open(path.constData(), O_RDONLY | O_CLOEXEC);
        if (fd < 0)
            die(QStringLiteral("cannot open %1").arg(QFile::decodeName(path)));
        ::posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED);
        ::close(fd);
    }
}

// Why the caches cannot be dropped here, or an empty string when they can. Only opens the file, so
// that asking empties nothing.
QString cannotDropCaches()
{
    if (::geteuid() != 0)
        return QStringLiteral("not root");
    const int fd = ::open("/proc/sys/vm/drop_caches", O_WRONLY | O_CLOEXEC);
    if (fd < 0)
        return QString::fromLocal8Bit(std::strerror(errno));
    ::close(fd);
    return {};
}

// Page cache, dentries and inodes of the whole machine; needs root. An empty string when done.
QString dropCaches()
{
    ::sync();
    const int fd = ::open("/proc/sys/vm/drop_caches", O_WRONLY | O_CLOEXEC);
    if (fd < 0)
        return QString::fromLocal8Bit(std::strerror(errno));
    const bool written = ::write(fd, "3\n", 2) == 2;
    const int code = errno;
    ::close(fd);
    return written ? QString() : QString::fromLocal8Bit(std::strerror(code));
}

enum class Cache { Warm, FilesEvicted, Dropped };

// ---- Cold: a child process per run ----

int coldOnce(int argc, char **argv)
{
    // --cold-once <ours|floor|load> <prefix> <expected plug-ins> <expected left out>
    if (argc != 6)
        die(QStringLiteral("--cold-once needs: ours|floor|load prefix plug-ins left-out"));
    QCoreApplication app(argc, argv);
    silencePluginWarnings();
    const bool ours = std::strcmp(argv[2], "ours") == 0;
    const QString prefix = QFile::decodeName(argv[3]);
    const int expectedPlugins = std::atoi(argv[4]);
    const int expectedLeftOut = std::atoi(argv[5]);

    qsizetype found = 0;
    qsizetype leftOut = 0;
    const auto start = std::chrono::steady_clock::now();
    std::chrono::steady_clock::duration elapsed{};
    if (ours) {
        PluginManager manager(prefix);
        const PluginManager::PluginMap plugins = manager.plugins();
        elapsed = std::chrono::steady_clock::now() - start;
        found = plugins.size();
        leftOut = manager.rejections().size();
    } else {
        found = floorDiscovery(prefix, std::strcmp(argv[2], "load") == 0);
        elapsed = std::chrono::steady_clock::now() - start;
        leftOut = expectedLeftOut;
    }
    if (found != expectedPlugins || leftOut != expectedLeftOut)
        die(QStringLiteral("%1 found %2 plug-ins and left out %3; expected %4 and %5")
                .arg(QString::fromLatin1(argv[2]))
                .arg(found)
                .arg(leftOut)
                .arg(expectedPlugins)
                .arg(expectedLeftOut));
    std::printf("%.6f\n", milliseconds(elapsed));
    return 0;
}

enum class Side { Ours, Floor, Load };

double runChild(const Tree &tree, Side side, Cache cache)
{
    if (cache == Cache::FilesEvicted)
        evictFiles(tree.root);
    if (cache == Cache::Dropped) {
        const QString problem = dropCaches();
        if (!problem.isEmpty())
            die(QStringLiteral("cannot drop the page cache: %1").arg(problem));
    }
    QProcess child;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("XDG_DATA_HOME"), tree.dataHome);
    child.setProcessEnvironment(environment);
    child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    child.start(QCoreApplication::applicationFilePath(),
                {QStringLiteral("--cold-once"),
                 side == Side::Ours    ? QStringLiteral("ours")
                 : side == Side::Floor ? QStringLiteral("floor")
                                       : QStringLiteral("load"),
                 tree.prefix, QString::number(tree.expectedPlugins()), QString::number(tree.duplicates)});
    if (!child.waitForFinished(60000) || child.exitStatus() != QProcess::NormalExit || child.exitCode() != 0)
        die(QStringLiteral("the --cold-once child failed"));
    bool ok = false;
    const double ms = QString::fromLatin1(child.readAllStandardOutput()).trimmed().toDouble(&ok);
    if (!ok)
        die(QStringLiteral("the --cold-once child printed no time"));
    return ms;
}

struct Figures {
    double ours = 0;
    double floor = 0;
    // The floor plus dlopen() of every kept library; cold only.
    double load = 0;
};

Figures cold(const Tree &tree, int runs, Cache cache)
{
    std::vector<double> times[3];
    for (int run = 0; run < runs; ++run) {
        for (int turn = 0; turn < 3; ++turn) {
            const int side = (run + turn) % 3;
            times[side].push_back(runChild(tree, Side(side), cache));
        }
    }
    return {median(times[int(Side::Ours)]), median(times[int(Side::Floor)]), median(times[int(Side::Load)])};
}

// ---- Warm: in this process ----

Figures warm(const Tree &tree, int runs)
{
    qputenv("XDG_DATA_HOME", QFile::encodeName(tree.dataHome));
    // Once untimed, to load the libraries and to check that both sides find every plug-in.
    {
        PluginManager manager(tree.prefix);
        const qsizetype found = manager.plugins().size();
        if (found != tree.expectedPlugins() || manager.rejections().size() != tree.duplicates)
            die(QStringLiteral("%1 bundles: found %2 plug-ins, left out %3; expected %4 and %5")
                    .arg(tree.bundles)
                    .arg(found)
                    .arg(manager.rejections().size())
                    .arg(tree.expectedPlugins())
                    .arg(tree.duplicates));
        if (floorDiscovery(tree.prefix) != tree.expectedPlugins())
            die(QStringLiteral("%1 bundles: the floor finds another number of plug-ins").arg(tree.bundles));
    }

    std::vector<double> ours;
    std::vector<double> floor;
    for (int run = 0; run < runs; ++run) {
        for (int side = 0; side < 2; ++side) {
            const bool oursNow = (run + side) % 2 == 0;
            if (oursNow) {
                PluginManager manager(tree.prefix);
                const auto start = std::chrono::steady_clock::now();
                PluginManager::PluginMap plugins = manager.plugins();
                ours.push_back(milliseconds(std::chrono::steady_clock::now() - start));
                if (plugins.size() != tree.expectedPlugins())
                    die(QStringLiteral("a warm scan found %1 plug-ins").arg(plugins.size()));
            } else {
                const auto start = std::chrono::steady_clock::now();
                const qsizetype found = floorDiscovery(tree.prefix);
                floor.push_back(milliseconds(std::chrono::steady_clock::now() - start));
                if (found != tree.expectedPlugins())
                    die(QStringLiteral("a floor scan found %1 plug-ins").arg(found));
            }
        }
    }
    return {median(ours), median(floor)};
}

} // namespace

int main(int argc, char **argv)
{
    if (argc > 1 && std::strcmp(argv[1], "--cold-once") == 0)
        return coldOnce(argc, argv);

    // Discovery reads the user's plug-ins folder; keep every XDG folder inside a temporary home
    // before anything asks where they are.
    QTemporaryDir home;
    BenchSupport::useTemporaryHome(home);
    QCoreApplication app(argc, argv);
    silencePluginWarnings();
    // A line at a time, so that a run that is piped somewhere shows its progress.
    std::setvbuf(stdout, nullptr, _IOLBF, 0);

    const int sizes[] = {50, 100, 200};
    std::vector<Tree> trees;
    for (const int size : sizes)
        trees.push_back(makeTree(home.filePath(QStringLiteral("n%1").arg(size)), size));
    // On disk before anything is timed, so that no run pays for another's write-back.
    ::sync();

    std::printf("plug-in trees in %s (%s); copies of %s\n", qPrintable(home.path()),
                qPrintable(fileSystemOf(home.path())),
                qPrintable(QFileInfo(QStringLiteral(TIVARO_BENCH_PLUGIN_BUNDLE)).fileName()));
    std::printf("each tree: 3/5 built in, 1/5 outer prefix, 1/5 user folder; 1 in 20 repeats a name "
                "(newer or older version)\n");

    // Whether the whole page cache can be emptied decides what "cold" can mean here.
    const QString dropProblem = cannotDropCaches();
    const bool canDrop = dropProblem.isEmpty();
    if (canDrop)
        std::printf("/proc/sys/vm/drop_caches is writable: cold is also measured with the page cache dropped\n");
    else
        std::printf("cannot drop the page cache (%s): cold means \"fresh process, warm page cache\"\n",
                    qPrintable(dropProblem));

    constexpr int kColdRuns = 11;
    constexpr int kWarmRuns = 21;
    std::printf("\ncold = first plugins() of a fresh process, page cache warm (median of %d processes a side)\n"
                "+dlopen = the floor and dlopen() of every library discovery keeps, in a fresh process\n"
                "warm = plugins() again in the same process (median of %d)\n",
                kColdRuns, kWarmRuns);
    std::printf("\n%7s %8s %8s | %10s %10s %7s %12s %7s | %10s %10s %7s\n", "bundles", "plug-ins", "left out",
                "cold (ms)", "floor (ms)", "ratio", "+dlopen (ms)", "ratio", "warm (ms)", "floor (ms)", "ratio");

    std::vector<Figures> colds;
    std::vector<Figures> warms;
    for (const Tree &tree : trees) {
        const Figures c = cold(tree, kColdRuns, Cache::Warm);
        const Figures w = warm(tree, kWarmRuns);
        colds.push_back(c);
        warms.push_back(w);
        std::printf("%7d %8d %8d | %10.2f %10.2f %7.2f %12.2f %7.2f | %10.2f %10.2f %7.2f\n", tree.bundles,
                    tree.expectedPlugins(), tree.duplicates, c.ours, c.floor, c.ours / c.floor, c.load, c.ours / c.load,
                    w.ours, w.floor, w.ours / w.floor);
    }

    std::printf("\nper bundle (ms): average at each size, and the marginal cost of each bundle past the first %d\n",
                sizes[0]);
    std::printf("%8s | %10s %10s %10s | %10s %10s\n", "bundles", "cold", "floor", "+dlopen", "warm", "floor");
    for (size_t i = 0; i < trees.size(); ++i) {
        const double n = trees[i].bundles;
        std::printf("%8d | %10.4f %10.4f %10.4f | %10.4f %10.4f\n", trees[i].bundles, colds[i].ours / n,
                    colds[i].floor / n, colds[i].load / n, warms[i].ours / n, warms[i].floor / n);
    }
    const double span = trees.back().bundles - trees.front().bundles;
    std::printf("%8s | %10.4f %10.4f %10.4f | %10.4f %10.4f\n", "marginal",
                (colds.back().ours - colds.front().ours) / span, (colds.back().floor - colds.front().floor) / span,
                (colds.back().load - colds.front().load) / span, (warms.back().ours - warms.front().ours) / span,
                (warms.back().floor - warms.front().floor) / span);

    const Tree &largest = trees.back();
    constexpr int kEmptiedRuns = 5;
    std::printf("\ncold at %d bundles with caches emptied before each process (median of %d a side)\n", largest.bundles,
                kEmptiedRuns);
    std::printf("%-42s %10s %10s %7s %12s %7s\n", "before each process", "ours (ms)", "floor (ms)", "ratio",
                "+dlopen (ms)", "ratio");
    const auto row = [](const char *label, const Figures &p) {
        std::printf("%-42s %10.2f %10.2f %7.2f %12.2f %7.2f\n", label, p.ours, p.floor, p.ours / p.floor, p.load,
                    p.ours / p.load);
    };
    row("nothing (page cache warm)", colds.back());
    row("the tree's files evicted (posix_fadvise)", cold(largest, kEmptiedRuns, Cache::FilesEvicted));
    // The file may open and still refuse the write; find out once before the runs rely on it.
    const QString refused = canDrop ? dropCaches() : dropProblem;
    if (refused.isEmpty())
        row("page cache, dentries, inodes dropped", cold(largest, kEmptiedRuns, Cache::Dropped));
    else
        std::printf("%-42s %10s %10s %7s %12s %7s  (%s)\n", "page cache dropped", "n/a", "n/a", "", "n/a", "",
                    qPrintable(refused));
    return 0;
}
