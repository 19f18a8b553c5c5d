// Web pages to text: makeHTMLReadable over a folder of HTML pages, against `w3m -dump` and Debian's
// `html2text`, each peer run once per page as a user runs it. Our side is measured twice: in-process
// (how the framework uses it, reading, decoding and converting each file) and as `tivaro html2text
// FILE` per page (the same process-per-page footing as the peers). Medians of whole passes over the
// folder are printed with the ratios (target: in-process at least 5x faster than both peers).
//
//   bench_html2text [FOLDER]     (default: the pages the tests carry)
#include "BenchSupport.h"

#include "text/HTMLCharset.h"
#include "text/NSStringXtra.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>

#include <cstdio>
#include <functional>
#include <vector>

using BenchSupport::die;
using BenchSupport::median;

namespace {

constexpr int kRounds = 3;

struct Side {
    QString name;
    // Converts one page; returns the number of characters of text it gave.
    std::function<qsizetype(const QString &page)> convert;
    std::vector<double> passes;
    qsizetype characters = 0;
};

qsizetype inProcess(const QString &page)
{
    QFile file(page);
    if (!file.open(QIODevice::ReadOnly))
        die(QStringLiteral("cannot read %1").arg(page));
    return NSStringXtra::makeHTMLReadable(HTMLCharset::decodePage(file.readAll())).size();
}

qsizetype runTool(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.start(program, arguments);
    if (!process.waitForFinished(60000) || process.exitStatus() != QProcess::NormalExit)
        die(QStringLiteral("%1 did not finish").arg(program));
    return QString::fromUtf8(process.readAllStandardOutput()).size();
}

std::function<qsizetype(const QString &)> tool(const QString &program, const QStringList &options)
{
    return [program, options](const QString &page) { return runTool(program, options + QStringList{page}); };
}

double pass(Side &side, const QStringList &pages)
{
    QElapsedTimer timer;
    timer.start();
    qsizetype characters = 0;
    for (const QString &page : pages)
        characters += side.convert(page);
    side.characters = characters;
    return double(timer.nsecsElapsed()) / 1e6;
}

std::vector<Side> sides()
{
    const QString tivaro = QCoreApplication::applicationDirPath() + QStringLiteral("/tivaro");
    std::vector<Side> result{{QStringLiteral("makeHTMLReadable, in-process"), inProcess, {}, 0}};
    if (QFile::exists(tivaro))
        result.push_back(
            {QStringLiteral("tivaro html2text, per page"), tool(tivaro, {QStringLiteral("html2text")}), {}, 0});
    const QString w3m = QStandardPaths::findExecutable(QStringLiteral("w3m"));
    const QString html2text = QStandardPaths::findExecutable(QStringLiteral("html2text"));
    if (!w3m.isEmpty())
        result.push_back({QStringLiteral("w3m -dump"),
                          tool(w3m, {QStringLiteral("-dump"), QStringLiteral("-T"), QStringLiteral("text/html"),
                                     QStringLiteral("-O"), QStringLiteral("UTF-8")}),
                          {},
                          0});
    else
        std::printf("w3m is not installed; skipped\n");
    if (!html2text.isEmpty())
        result.push_back({QStringLiteral("html2text (Debian)"),
                          tool(html2text, {QStringLiteral("-utf8"), QStringLiteral("-nobs")}),
                          {},
                          0});
    else
        std::printf("html2text is not installed; skipped\n");
    return result;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    const QString folder = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QStringLiteral(TIVARO_BENCH_HTML_PAGES);
    QStringList pages;
    qint64 bytes = 0;
    for (const QFileInfo &info : QDir(folder).entryInfoList({QStringLiteral("*.html")}, QDir::Files, QDir::Name)) {
        pages << info.filePath();
        bytes += info.size();
    }
    if (pages.isEmpty())
        die(QStringLiteral("no *.html pages in %1").arg(folder));
    std::printf("%lld pages, %.1f MB, in %s\n", static_cast<long long>(pages.size()), double(bytes) / 1e6,
                qPrintable(folder));

    std::vector<Side> all = sides();
    for (int round = 0; round < kRounds; ++round) {
        // The sides take turns going first.
        for (size_t i = 0; i < all.size(); ++i) {
            Side &side = all[(i + size_t(round)) % all.size()];
            side.passes.push_back(pass(side, pages));
        }
    }
    const double ours = median(all.front().passes);
    std::printf("%-32s %12s %12s %14s\n", "converter", "median ms", "ms/page", "x ours (in-process)");
    for (const Side &side : all) {
        const double ms = median(side.passes);
        std::printf("%-32s %12.1f %12.2f %14.1f   (%lld characters)\n", qPrintable(side.name), ms,
                    ms / double(pages.size()), ours > 0 ? ms / ours : 0.0, static_cast<long long>(side.characters));
    }
    return 0;
}
