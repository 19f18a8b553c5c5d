// KDE Syndication's side of bench_feed_parse. Reads each file into memory once, then times REPS
// parses of the bytes, each followed by reading the title, link, description and content of every
// item (Syndication reads its DOM lazily, so the reading is part of the work). The clock runs inside
// this process, so its start-up is not counted.
//
//   feedpeer_syndication REPS FILE...
//
// Prints one line per file: "<file>\t<median ms>\t<items>\t<characters read>".
#include <Syndication/DocumentSource>
#include <Syndication/Feed>
#include <Syndication/Global>
#include <Syndication/Item>

#include <QByteArray>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QUrl>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace {

[[noreturn]] void die(const char *message, const QString &detail)
{
    std::fprintf(stderr, "feedpeer_syndication: %s %s\n", message, qPrintable(detail));
    std::exit(1);
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    const size_t middle = values.size() / 2;
    return values.size() % 2 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

struct Pass {
    qsizetype items = 0;
    qsizetype characters = 0;
};

Pass parseAndRead(const QByteArray &bytes, const QString &url)
{
    Pass pass;
    const Syndication::FeedPtr feed = Syndication::parse(Syndication::DocumentSource(bytes, url));
    if (!feed)
        return pass;
    const QList<Syndication::ItemPtr> items = feed->items();
    pass.items = items.size();
    for (const Syndication::ItemPtr &item : items)
        pass.characters +=
            item->title().size() + item->link().size() + item->description().size() + item->content().size();
    return pass;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    bool valid = false;
    const int reps = arguments.size() > 2 ? arguments.at(1).toInt(&valid) : 0;
    if (!valid || reps < 1) {
        std::fprintf(stderr, "usage: feedpeer_syndication REPS FILE...\n");
        return 2;
    }
    for (const QString &path : arguments.mid(2)) {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            die("cannot read", path);
        const QByteArray bytes = file.readAll();
        const QString url = QUrl::fromLocalFile(path).toString();
        std::vector<double> times;
        Pass pass;
        for (int i = 0; i < reps; ++i) {
            QElapsedTimer timer;
            timer.start();
            pass = parseAndRead(bytes, url);
            times.push_back(double(timer.nsecsElapsed()) / 1e6);
        }
        std::printf("%s\t%.3f\t%lld\t%lld\n", qPrintable(path), median(times), static_cast<long long>(pass.items),
                    static_cast<long long>(pass.characters));
        std::fflush(stdout);
    }
    return 0;
}
