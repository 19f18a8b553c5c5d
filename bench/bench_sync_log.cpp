// One sync-log append as SyncLog.plist grows, against the floor of its work. SyncLogFile::append
// takes the lock, reads and parses the whole property-list array, adds the entry and writes the
// whole array back atomically and durably; the floor writes the same archived bytes to the end of a
// plain file opened with O_APPEND, once without and once with fdatasync (the durable floor).
//
// Every entry is a realistic log of its own: a heading, five tool headings, about sixty lines,
// a few warnings and errors. For each size the file is set up with one entry fewer (outside the
// timed part, and synced to disk), then the append that brings it to that size is timed; the file
// is put back between runs. The three sides take turns going first. Medians are printed.
#include "BenchSupport.h"
#include "core/FileWriter_p.h"
#include "core/PropertyList.h"
#include "sync/LogManager.h"
#include "sync/SyncLogFile.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QTemporaryDir>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <iterator>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

using BenchSupport::die;
using BenchSupport::fileSystemOf;
using BenchSupport::median;
using BenchSupport::milliseconds;

namespace {

// ---- Realistic logs ----

template<size_t N> QString pick(QRandomGenerator &random, const QString (&choices)[N])
{
    return choices[random.bounded(quint32(N))];
}

std::shared_ptr<LogManager> makeLog(int index)
{
    static const QString notes[] = {QStringLiteral("Reisenotizen"),  QStringLiteral("Einkaufsliste"),
                                    QStringLiteral("Meeting 14:00"), QStringLiteral("Recettes de grand-mère"),
                                    QStringLiteral("Books to read"), QStringLiteral("Gym plan"),
                                    QStringLiteral("日本語のメモ"),  QStringLiteral("Passwords (not really)")};
    static const QString feeds[] = {QStringLiteral("Heise online"), QStringLiteral("BBC News - World"),
                                    QStringLiteral("Le Monde"),     QStringLiteral("Ars Technica"),
                                    QStringLiteral("The Verge"),    QStringLiteral("Tagesschau"),
                                    QStringLiteral("Hacker News"),  QStringLiteral("El País")};
    static const QString people[] = {QStringLiteral("Jürgen Müller"), QStringLiteral("Anna Schmidt"),
                                     QStringLiteral("Zoë Martin"),    QStringLiteral("Søren Kierkegaard"),
                                     QStringLiteral("李小龙"),        QStringLiteral("María José García"),
                                     QStringLiteral("Tom O'Brien"),   QStringLiteral("Ngozi Okafor")};
    static const QString calendars[] = {QStringLiteral("Work"), QStringLiteral("Family"), QStringLiteral("Birthdays"),
                                        QStringLiteral("Football")};
    static const QString cities[] = {QStringLiteral("Köln"), QStringLiteral("Zürich"), QStringLiteral("São Paulo"),
                                     QStringLiteral("Paris"), QStringLiteral("Tokyo")};
    static const QString skies[] = {QStringLiteral("sunny"), QStringLiteral("cloudy"), QStringLiteral("light rain"),
                                    QStringLiteral("snow showers"), QStringLiteral("thunderstorms")};

    QRandomGenerator random(quint32(index) * 7919u + 17u);
    auto log = LogManager::sharedManager();
    log->setStartingDate(QDateTime(QDate(2024, 1, 1), QTime(8, 0), Qt::UTC).addSecs(qint64(index) * 86400 / 3));
    log->appendBigHeading(QStringLiteral("Synchronising “Anna’s iPod” (%1)")
                              .arg(log->startingDate().toString(QStringLiteral("yyyy-MM-dd HH:mm"))));
    const int lines = 55 + int(random.bounded(11u));
    const int warnings = 2 + int(random.bounded(3u));
    const int errors = int(random.bounded(3u));
    int written = 0;
    for (int tool = 0; tool < 5; ++tool) {
        const int toolLines = tool == 4 ? lines - written : lines / 5;
        switch (tool) {
        case 0:
            log->appendToolHeading(QStringLiteral("Notes"));
            for (int i = 0; i < toolLines; ++i)
                log->appendLog(QStringLiteral("Copied the note “%1 %2” (%3 pages, %4 KB)")
                                   .arg(pick(random, notes))
                                   .arg(random.bounded(100u))
                                   .arg(1 + random.bounded(4u))
                                   .arg(1 + random.bounded(16u)));
            break;
        case 1:
            log->appendToolHeading(QStringLiteral("News Feeds"));
            for (int i = 0; i < toolLines; ++i)
                log->appendLog(QStringLiteral("Fetched “%1”: %2 new articles, %3 kept from before, %4 removed")
                                   .arg(pick(random, feeds))
                                   .arg(random.bounded(30u))
                                   .arg(random.bounded(60u))
                                   .arg(random.bounded(10u)));
            break;
        case 2:
            log->appendToolHeading(QStringLiteral("Contacts"));
            for (int i = 0; i < toolLines; ++i)
                log->appendLog(QStringLiteral("Updated the contact “%1” (%2 phone numbers, %3 addresses)")
                                   .arg(pick(random, people))
                                   .arg(1 + random.bounded(3u))
                                   .arg(random.bounded(3u)));
            break;
        case 3:
            log->appendToolHeading(QStringLiteral("Calendars"));
            for (int i = 0; i < toolLines; ++i)
                log->appendLog(QStringLiteral("Copied %1 events of the calendar “%2” for the next %3 days")
                                   .arg(random.bounded(200u))
                                   .arg(pick(random, calendars))
                                   .arg(7 * (1 + random.bounded(8u))));
            break;
        default:
            log->appendToolHeading(QStringLiteral("Weather"));
            for (int i = 0; i < toolLines; ++i)
                log->appendLog(QStringLiteral("Forecast for %1, day %2: %3 °C to %4 °C, %5")
                                   .arg(pick(random, cities))
                                   .arg(i + 1)
                                   .arg(int(random.bounded(15u)) - 5)
                                   .arg(5 + random.bounded(20u))
                                   .arg(pick(random, skies)));
            break;
        }
        written += toolLines;
        // The warnings and errors land in the middle tools, as they would.
        if (tool == 1) {
            for (int i = 0; i < warnings; ++i)
                log->appendWarning(QStringLiteral("The feed “%1” answered 404 Not Found; its old articles are kept")
                                       .arg(pick(random, feeds)));
        }
        if (tool == 2) {
            for (int i = 0; i < errors; ++i)
                log->appendError(QStringLiteral("Could not write the contact “%1”: No space left on device")
                                     .arg(pick(random, people)));
        }
    }
    log->appendLog(QStringLiteral("Sync finished after %1 s with %2 errors").arg(random.bounded(300u)).arg(errors));
    return log;
}

// ---- Files ----

void writeDurably(const QString &path, const QByteArray &bytes)
{
    QString reason;
    if (!FileWriter::writeAtomically(path, bytes, FileWriter::Durable, &reason))
        die(QStringLiteral("cannot write %1: %2").arg(path, reason));
}

// The plain file the floor appends to, cut back to `size` bytes and on disk.
void resetFloorFile(const QByteArray &path, qint64 size)
{
    const int fd = ::open(path.constData(), O_WRONLY | O_CLOEXEC);
    if (fd < 0 || ::ftruncate(fd, size) != 0 || ::fsync(fd) != 0)
        die(QStringLiteral("cannot cut back %1").arg(QFile::decodeName(path)));
    ::close(fd);
}

void floorAppend(const QByteArray &path, const QByteArray &bytes, bool durable)
{
    const int fd = ::open(path.constData(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
    if (fd < 0)
        die(QStringLiteral("cannot open %1").arg(QFile::decodeName(path)));
    const char *cursor = bytes.constData();
    qsizetype left = bytes.size();
    while (left > 0) {
        const ssize_t written = ::write(fd, cursor, size_t(left));
        if (written <= 0)
            die(QStringLiteral("cannot append to %1").arg(QFile::decodeName(path)));
        cursor += written;
        left -= written;
    }
    if (durable && ::fdatasync(fd) != 0)
        die(QStringLiteral("cannot sync %1").arg(QFile::decodeName(path)));
    if (::close(fd) != 0)
        die(QStringLiteral("cannot close %1").arg(QFile::decodeName(path)));
}

template<class Work> double timed(Work &&work)
{
    const auto start = std::chrono::steady_clock::now();
    work();
    return milliseconds(std::chrono::steady_clock::now() - start);
}

struct Row {
    int entries = 0;
    qint64 fileBytes = 0;
    double ours = 0;
    double floor = 0;
    double durableFloor = 0;
};

} // namespace

int main(int argc, char **argv)
{
    // The sync log lives in the application-support folder; keep every XDG folder inside a
    // temporary home before anything asks where they are.
    QTemporaryDir home;
    BenchSupport::useTemporaryHome(home);
    QCoreApplication app(argc, argv);

    const QString logPath = SyncLogFile::path();
    if (!QDir().mkpath(QFileInfo(logPath).absolutePath()))
        die(QStringLiteral("cannot make the folder of %1").arg(logPath));
    const QByteArray floorPath = QFile::encodeName(home.filePath(QStringLiteral("floor.log")));
    std::printf("SyncLog.plist in %s (%s)\n", qPrintable(QFileInfo(logPath).absolutePath()),
                qPrintable(fileSystemOf(QFileInfo(logPath).absolutePath())));

    // ---- archive() alone, and the entries for the file ----
    constexpr int kEntries = 1000;
    std::vector<QByteArray> archives;
    std::vector<double> archiveMs;
    archives.reserve(kEntries);
    qint64 archiveBytes = 0;
    for (int i = 0; i < kEntries; ++i) {
        const std::shared_ptr<LogManager> log = makeLog(i);
        QByteArray bytes;
        archiveMs.push_back(timed([&] { bytes = log->archive(); }));
        archiveBytes += bytes.size();
        archives.push_back(bytes);
    }
    {
        const Result<std::shared_ptr<LogManager>> read = LogManager::fromArchive(archives.front());
        if (!read)
            die(QStringLiteral("an archived log does not read back"));
        const std::shared_ptr<LogManager> &sample = *read;
        std::printf("a log: %lld characters of text, %lld styled runs; archive() makes %.1f KB on average\n",
                    static_cast<long long>(sample->logAttributedString().length()),
                    static_cast<long long>(makeLog(0)->logAttributedString().runs().size()),
                    double(archiveBytes) / kEntries / 1024);
    }
    std::printf("LogManager::archive() alone: %.3f ms (median of %d logs)\n", median(archiveMs), kEntries);

    // ---- Appends as the file grows ----
    const int sizes[] = {1, 10, 100, 250, 500, 1000};
    constexpr int kRuns = 11;
    std::printf("\nthe append that brings the file to N entries (median of %d, the file put back between runs)\n",
                kRuns);
    std::printf("floor = write(2) of the same archived bytes to a plain O_APPEND file; durable floor adds fdatasync\n");
    std::printf("\n%7s %10s | %10s %10s %8s | %13s %8s | %12s\n", "entries", "file (KB)", "ours (ms)", "floor (ms)",
                "ratio", "durable (ms)", "ratio", "ms per entry since the row above");

    std::vector<Row> rows;
    for (const int entries : sizes) {
        // The file as entries - 1 appends would have left it.
        QVariantList before;
        qint64 floorSize = 0;
        for (int i = 0; i < entries - 1; ++i) {
            before.append(archives[size_t(i)]);
            floorSize += archives[size_t(i)].size();
        }
        std::optional<QByteArray> beforeBytes;
        if (entries > 1) {
            beforeBytes = PropertyList::toXml(before);
            if (!beforeBytes)
                die(QStringLiteral("cannot serialise %1 entries").arg(entries - 1));
        }
        QByteArray floorBytes;
        for (int i = 0; i < entries - 1; ++i)
            floorBytes += archives[size_t(i)];
        writeDurably(QFile::decodeName(floorPath), floorBytes);

        const QByteArray &entry = archives[size_t(entries - 1)];
        const auto restore = [&] {
            if (beforeBytes)
                writeDurably(logPath, *beforeBytes);
            else
                QFile::remove(logPath);
        };

        std::vector<double> ours;
        std::vector<double> floor;
        std::vector<double> durableFloor;
        for (int run = 0; run < kRuns; ++run) {
            for (int side = 0; side < 3; ++side) {
                switch ((run + side) % 3) {
                case 0: {
                    restore();
                    QString reason;
                    ours.push_back(timed([&] {
                        if (!SyncLogFile::append(entry, &reason))
                            die(QStringLiteral("append failed: %1").arg(reason));
                    }));
                    break;
                }
                case 1:
                    resetFloorFile(floorPath, floorSize);
                    floor.push_back(timed([&] { floorAppend(floorPath, entry, false); }));
                    break;
                default:
                    resetFloorFile(floorPath, floorSize);
                    durableFloor.push_back(timed([&] { floorAppend(floorPath, entry, true); }));
                    break;
                }
            }
        }

        // The last append must have left the file as `entries` appends would.
        restore();
        if (!SyncLogFile::append(entry))
            die(QStringLiteral("append failed"));
        QString reason;
        const std::optional<QList<QByteArray>> read = SyncLogFile::readEntries(&reason);
        if (!read || read->size() != entries || read->last() != entry || (entries > 1 && read->first() != archives[0]))
            die(QStringLiteral("the file does not hold the %1 entries: %2").arg(entries).arg(reason));

        Row row;
        row.entries = entries;
        row.fileBytes = QFileInfo(logPath).size();
        row.ours = median(ours);
        row.floor = median(floor);
        row.durableFloor = median(durableFloor);
        rows.push_back(row);
        std::printf("%7d %10.1f | %10.3f %10.4f %8.0f | %13.3f %8.2f | ", row.entries, double(row.fileBytes) / 1024,
                    row.ours, row.floor, row.ours / row.floor, row.durableFloor, row.ours / row.durableFloor);
        if (rows.size() > 1) {
            const Row &previous = rows[rows.size() - 2];
            std::printf("%.4f\n", (row.ours - previous.ours) / (row.entries - previous.entries));
        } else {
            std::printf("-\n");
        }
    }

    // Growth: a least-squares line through (entries, ms), and how well it fits.
    double sx = 0;
    double sy = 0;
    double sxx = 0;
    double sxy = 0;
    double syy = 0;
    for (const Row &row : rows) {
        sx += row.entries;
        sy += row.ours;
        sxx += double(row.entries) * row.entries;
        sxy += row.entries * row.ours;
        syy += row.ours * row.ours;
    }
    const double n = double(rows.size());
    const double slope = (n * sxy - sx * sy) / (n * sxx - sx * sx);
    const double intercept = (sy - slope * sx) / n;
    const double r = (n * sxy - sx * sy) / std::sqrt((n * sxx - sx * sx) * (n * syy - sy * sy));
    const Row &last = rows.back();
    std::printf("\ngrowth: ours ~ %.3f ms + %.4f ms per entry already in the file (least squares, r^2 = %.4f)\n",
                intercept, slope, r * r);
    std::printf("        %.2f ms per MB of file at %d entries; the floor stays flat (%.4f ms at 1, %.4f ms at %d)\n",
                last.ours / (double(last.fileBytes) / (1024 * 1024)), last.entries, rows.front().floor, last.floor,
                last.entries);

    // Where the time of the largest append goes: its parts, each timed alone.
    const std::optional<QVariant> parsed = PropertyList::readFile(logPath);
    QFile current(logPath);
    if (!parsed || !current.open(QIODevice::ReadOnly))
        die(QStringLiteral("cannot read %1 back").arg(logPath));
    const QByteArray fileBytes = current.readAll();
    current.close();
    const QString scratch = home.filePath(QStringLiteral("scratch.plist"));
    std::vector<double> parse;
    std::vector<double> serialise;
    std::vector<double> write;
    std::optional<QByteArray> xml;
    for (int run = 0; run < 5; ++run) {
        parse.push_back(timed([&] {
            if (!PropertyList::fromData(fileBytes))
                die(QStringLiteral("cannot parse the sync log"));
        }));
        serialise.push_back(timed([&] { xml = PropertyList::toXml(*parsed); }));
        if (!xml)
            die(QStringLiteral("cannot serialise the sync log"));
        write.push_back(timed([&] { writeDurably(scratch, *xml); }));
    }
    std::printf("\nthe parts at %d entries (%.1f MB), median of 5: parse %.2f ms, serialise %.2f ms, "
                "durable atomic write %.2f ms\n",
                last.entries, double(last.fileBytes) / (1024 * 1024), median(parse), median(serialise), median(write));
    return 0;
}
