// The note writer against the floor of its work: TVRiPod::writeNoteToiPod (pagination and one
// atomic file a page) next to plain open/write/close of the very same bytes into the same files.
// Both write into a tmpfs folder when there is one, so the figures measure our code, not a disk.
//
// Each size is written many times, alternating which side goes first; the files are removed between
// runs, outside the timed part, so every run creates fresh files. Medians are printed.
#include "BenchSupport.h"
#include "ipod/NotePaginator_p.h"
#include "ipod/TVRiPod.h"
#include "text/NSStringXtra.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QTemporaryDir>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <iterator>
#include <memory>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

using BenchSupport::die;
using BenchSupport::fileSystemOf;
using BenchSupport::median;
using BenchSupport::milliseconds;

namespace {

struct PageFile {
    QByteArray path; // encoded for the file system
    QByteArray bytes;
};

// Prose with words of varying length, some multibyte UTF-8 (accents, CJK, emoji), punctuation,
// line breaks and paragraphs, cut to `bytes` bytes of UTF-8 at a word end.
QString makeText(qsizetype bytes, quint32 seed)
{
    static const char *const common[] = {
        "the",
        "a",
        "of",
        "and",
        "to",
        "in",
        "is",
        "it",
        "that",
        "for",
        "on",
        "with",
        "as",
        "was",
        "at",
        "by",
        "note",
        "iPod",
        "music",
        "calendar",
        "contacts",
        "meeting",
        "tomorrow",
        "remember",
        "battery",
        "playlist",
        "synchronisation",
        "headphones",
        "weekend",
        "library",
        "shopping",
        "train",
        "station",
        "birthday",
        "appointment",
        "documentation",
        "characteristically",
        "internationalisation",
        "window",
        "garden",
    };
    static const char *const accented[] = {
        "café", "naïve", "Köln", "déjà", "Straße", "über", "São", "Ωmega", "año", "fiancée", "Zürich", "Ærø",
    };
    static const char *const wide[] = {"日本語", "東京", "ノート", "音楽", "한국어", "🎵", "📅", "→", "€", "—"};

    QRandomGenerator random(seed);
    QString text;
    qsizetype size = 0;
    int wordInSentence = 0;
    int sentenceInParagraph = 0;
    while (size < bytes) {
        const quint32 roll = random.bounded(100u);
        QString word;
        if (roll < 82)
            word = QString::fromUtf8(common[random.bounded(quint32(std::size(common)))]);
        else if (roll < 92)
            word = QString::fromUtf8(accented[random.bounded(quint32(std::size(accented)))]);
        else if (roll < 96)
            word = QString::fromUtf8(wide[random.bounded(quint32(std::size(wide)))]);
        else
            word = QString::number(random.bounded(10000u));
        if (wordInSentence == 0 && !word.isEmpty())
            word[0] = word[0].toUpper();
        ++wordInSentence;

        QString after = QStringLiteral(" ");
        if (wordInSentence > 4 && random.bounded(100u) < 12) {
            wordInSentence = 0;
            ++sentenceInParagraph;
            if (sentenceInParagraph > 3 && random.bounded(100u) < 30) {
                sentenceInParagraph = 0;
                after = QStringLiteral(".\n\n");
            } else {
                after = random.bounded(100u) < 20 ? QStringLiteral(".\n") : QStringLiteral(". ");
            }
        } else if (random.bounded(100u) < 6) {
            after = QStringLiteral(", ");
        }
        const QString piece = word + after;
        const qsizetype pieceBytes = piece.toUtf8().size();
        if (size + pieceBytes > bytes) {
            // Fill the rest with ASCII so that every size is exact.
            text += QString(bytes - size, QLatin1Char('z'));
            break;
        }
        text += piece;
        size += pieceBytes;
    }
    return text;
}

// Empties the note folders, keeping the folders themselves so both sides start from the same state.
void removePages(const QStringList &folders)
{
    for (const QString &folder : folders) {
        QDir dir(folder);
        const QStringList names = dir.entryList(QDir::Files | QDir::Hidden | QDir::System);
        for (const QString &name : names) {
            if (!dir.remove(name))
                die(QStringLiteral("cannot remove %1").arg(dir.filePath(name)));
        }
    }
}

void writeFloor(const std::vector<PageFile> &files)
{
    for (const PageFile &file : files) {
        const int fd = ::open(file.path.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
        if (fd < 0)
            die(QStringLiteral("open %1 failed").arg(QFile::decodeName(file.path)));
        const char *cursor = file.bytes.constData();
        qsizetype left = file.bytes.size();
        while (left > 0) {
            const ssize_t written = ::write(fd, cursor, size_t(left));
            if (written <= 0)
                die(QStringLiteral("write %1 failed").arg(QFile::decodeName(file.path)));
            cursor += written;
            left -= written;
        }
        if (::close(fd) != 0)
            die(QStringLiteral("close %1 failed").arg(QFile::decodeName(file.path)));
    }
}

// What is in the note folders, to hold ours against the floor's list.
std::vector<PageFile> filesIn(const QStringList &folders)
{
    std::vector<PageFile> found;
    for (const QString &folder : folders) {
        const QFileInfoList entries = QDir(folder).entryInfoList(QDir::Files | QDir::Hidden | QDir::System);
        for (const QFileInfo &entry : entries) {
            QFile file(entry.filePath());
            if (!file.open(QIODevice::ReadOnly))
                die(QStringLiteral("cannot read %1").arg(entry.filePath()));
            found.push_back(PageFile{QFile::encodeName(entry.filePath()), file.readAll()});
        }
    }
    std::sort(found.begin(), found.end(), [](const PageFile &a, const PageFile &b) { return a.path < b.path; });
    return found;
}

struct Case {
    const char *label;
    qsizetype bytes;
    int runs;
    bool hasTarget;
};

} // namespace

int main(int argc, char **argv)
{
    // Preferences are read at every note; keep them away from the user's own.
    QTemporaryDir home;
    BenchSupport::useTemporaryHome(home);
    QCoreApplication app(argc, argv);

    std::unique_ptr<QTemporaryDir> volume;
    if (QFileInfo(QStringLiteral("/dev/shm")).isDir())
        volume = std::make_unique<QTemporaryDir>(QStringLiteral("/dev/shm/tivaro-bench-XXXXXX"));
    if (!volume || !volume->isValid()) {
        std::printf("/dev/shm is not available; falling back to QTemporaryDir\n");
        volume = std::make_unique<QTemporaryDir>();
    }
    if (!volume->isValid())
        die(QStringLiteral("cannot make a temporary folder"));
    const QString root = volume->path();
    std::printf("writing into %s (%s)\n", qPrintable(root), qPrintable(fileSystemOf(root)));

    // A shuffle-like iPod (no SysInfo) still takes notes.
    if (!QDir().mkpath(root + QStringLiteral("/iPod_Control/Device")))
        die(QStringLiteral("cannot build the iPod folders"));
    const TVRiPodPtr ipod = TVRiPod::withPath(root);
    const QString notes = ipod->realTivaroFolder();
    const QString overflow = notes + QLatin1Char('/') + NotePaginator::pagesOverflowDirectory();
    if (!QDir().mkpath(overflow))
        die(QStringLiteral("cannot build %1").arg(overflow));
    const QStringList folders{notes, overflow};

    const Case cases[] = {
        {"1 KB", 1024, 201, false},
        {"64 KB", 64 * 1024, 101, true},
        {"4 MB", 4 * 1024 * 1024, 21, true},
    };
    constexpr double kTarget = 1.25;

    std::printf("\n%-6s %9s %6s %5s %11s %11s %11s  %s\n", "size", "bytes", "pages", "runs", "ours (ms)", "floor (ms)",
                "ours/floor", "target ours/floor <= 1.25");
    for (const Case &c : cases) {
        const QString name = QStringLiteral("Reisenotizen %1").arg(QString::fromLatin1(c.label));
        if (NSStringXtra::correctFilename(name) != name)
            die(QStringLiteral("the note name %1 would be changed on the iPod").arg(name));
        const QString text = makeText(c.bytes, quint32(c.bytes));
        const QByteArray utf8 = text.toUtf8();

        // The floor writes what the paginator makes, under the names the writer gives the pages.
        std::vector<PageFile> floorFiles;
        NotePaginator paginator(NotePaginator::kPageLimit, name);
        const bool paginated = paginator.paginate(utf8, [&](const NotePage &page) {
            const QString folder = page.index == 0 ? notes : overflow;
            const QString path = folder + QLatin1Char('/') + NotePaginator::fileNameForPage(page.index, name);
            floorFiles.push_back(PageFile{QFile::encodeName(path), page.bytes});
            return true;
        });
        if (!paginated)
            die(QStringLiteral("%1: the note cannot be paginated").arg(name));

        // Once untimed, to be sure both sides leave the very same files behind.
        removePages(folders);
        if (!ipod->writeNoteToiPod(text, name, QString()))
            die(QStringLiteral("writeNoteToiPod failed: %1").arg(ipod->errorString()));
        const std::vector<PageFile> oursWrote = filesIn(folders);
        removePages(folders);
        writeFloor(floorFiles);
        const std::vector<PageFile> floorWrote = filesIn(folders);
        removePages(folders);
        const bool same =
            oursWrote.size() == floorWrote.size() &&
            std::equal(oursWrote.begin(), oursWrote.end(), floorWrote.begin(),
                       [](const PageFile &a, const PageFile &b) { return a.path == b.path && a.bytes == b.bytes; });
        if (!same || int(floorFiles.size()) != ipod->lastNotePageCount())
            die(QStringLiteral("%1: the writer and the floor do not write the same files").arg(name));

        std::vector<double> ours;
        std::vector<double> floor;
        for (int run = 0; run < c.runs; ++run) {
            for (int side = 0; side < 2; ++side) {
                const bool oursNow = (run + side) % 2 == 0;
                const auto start = std::chrono::steady_clock::now();
                if (oursNow) {
                    if (!ipod->writeNoteToiPod(text, name, QString()))
                        die(QStringLiteral("writeNoteToiPod failed: %1").arg(ipod->errorString()));
                } else {
                    writeFloor(floorFiles);
                }
                const auto elapsed = std::chrono::steady_clock::now() - start;
                (oursNow ? ours : floor).push_back(milliseconds(elapsed));
                removePages(folders);
            }
        }

        const double oursMs = median(ours);
        const double floorMs = median(floor);
        const double ratio = oursMs / floorMs;
        const char *verdict = !c.hasTarget ? "(no target)" : ratio <= kTarget ? "meets it" : "MISSES it";
        std::printf("%-6s %9lld %6zu %5d %11.3f %11.3f %11.2f  %s\n", c.label, static_cast<long long>(utf8.size()),
                    floorFiles.size(), c.runs, oursMs, floorMs, ratio, verdict);
    }
    return 0;
}
