#include "ipod/NotePaginator_p.h"
#include "ipod/ipodnotes_p.h"

#include <QRandomGenerator>
#include <QtTest>

namespace {

struct Outcome {
    QList<QByteArray> pages;
    bool complete = true;

    bool operator==(const Outcome &) const = default;
};

// The page-filling rules as they are stated, word by word: a word is taken while page + word + 1
// fits; otherwise the Next link is added, taking words back while it does not fit; a word longer than
// a page ends the note, and so does a word that the page after the second could not start with.
Outcome wordByWord(const QByteArray &text, const QString &name, int limit)
{
    Outcome outcome;
    const QByteArrayList words = text.split(' ');
    qsizetype n = words.size();
    qsizetype i = 0;
    qsizetype pageStart = 0;
    qsizetype previousStart = -1;
    int page = 0;
    bool first = true;
    bool retry = false;
    QByteArray buffer;
    while (i < n) {
        bool write = false;
        const bool stuck = buffer.isEmpty() && !retry && page >= 2 && i == previousStart;
        if (words.at(i).size() > limit || stuck) {
            n = i;
            write = true;
        } else if (!retry) {
            if (buffer.isEmpty()) {
                buffer = NotePaginator::header() + NotePaginator::titleForPage(page, name).toUtf8();
                first = true;
                pageStart = i;
            }
            if (buffer.size() + words.at(i).size() + 1 <= limit) {
                buffer += (first ? QByteArray() : QByteArray(" ")) + words.at(i);
                first = false;
                if (++i < n)
                    continue;
                write = true;
            }
        }
        if (!write) {
            const int placement = page == 0 ? 0 : (i == n - 1 ? 2 : 1);
            const QString link = NotePaginator::linkForPageAtIndex(page, placement, name);
            if (buffer.size() + link.size() <= limit) {
                buffer += link.toUtf8();
                --i;
            } else if (i <= pageStart) {
                outcome.complete = false;
                return outcome;
            } else {
                ipodnotes::deleteCharactersFromEndToCharacter(buffer, ' ');
                --i;
                retry = true;
                continue;
            }
        }
        outcome.pages.append(buffer);
        buffer.clear();
        previousStart = pageStart;
        pageStart = ++i;
        ++page;
        retry = false;
    }
    return outcome;
}

Outcome paginated(const QByteArray &text, const QString &name, int limit)
{
    Outcome outcome;
    NotePaginator paginator(limit, name);
    outcome.complete = paginator.paginate(text, [&outcome](const NotePage &page) {
        outcome.pages.append(page.bytes);
        return true;
    });
    return outcome;
}

} // namespace

// The paginator finds pages by searching backwards for spaces; here it must give exactly the pages
// of the rules applied word by word, on notes built to land on every boundary.
class PaginationModelTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void matchesTheWordByWordRules_data();
    void matchesTheWordByWordRules();
};

void PaginationModelTest::matchesTheWordByWordRules_data()
{
    QTest::addColumn<int>("limit");
    QTest::addColumn<quint32>("seed");
    QTest::newRow("4096") << 4096 << 1u;
    QTest::newRow("2048") << 2048 << 2u;
    // Small pages reach taken-back single words, cut titles, unplaceable words and names that leave
    // no room for any word often.
    QTest::newRow("small pages") << 100 << 3u;
}

void PaginationModelTest::matchesTheWordByWordRules()
{
    QFETCH(int, limit);
    QFETCH(quint32, seed);
    const QStringList names{"N", "News", "A long note name", QStringLiteral("\u00e9t\u00e9 caf\u00e9"),
                            QStringLiteral("\U0001F3B5")};
    QRandomGenerator random(seed);
    int incomplete = 0;
    int multiPage = 0;
    for (int round = 0; round < 4000; ++round) {
        const QString name = names.at(int(random.bounded(quint32(names.size()))));
        QByteArray text;
        const int count = int(random.bounded(14u));
        for (int w = 0; w < count; ++w) {
            const quint32 kind = random.bounded(6u);
            const int length = kind == 0   ? 0
                               : kind == 1 ? int(random.bounded(5u))
                               : kind == 2 ? limit - 60 + int(random.bounded(80u))
                               : kind == 3 ? int(random.bounded(quint32(limit)))
                               : kind == 4 ? limit / 2 + int(random.bounded(60u)) - 30
                                           : int(random.bounded(300u));
            text += (w ? QByteArray(" ") : QByteArray()) + QByteArray(std::max(0, length), char('a' + w));
        }
        const Outcome expected = wordByWord(text, name, limit);
        const Outcome actual = paginated(text, name, limit);
        incomplete += expected.complete ? 0 : 1;
        multiPage += expected.pages.size() > 1 ? 1 : 0;
        if (!(actual == expected)) {
            QByteArrayList lengths;
            for (const QByteArray &word : text.split(' '))
                lengths << QByteArray::number(word.size());
            QFAIL(qPrintable(QStringLiteral("round %1, name \"%2\", word lengths %3: %4 pages, expected %5")
                                 .arg(round)
                                 .arg(name, QString::fromLatin1(lengths.join(',')))
                                 .arg(actual.pages.size())
                                 .arg(expected.pages.size())));
        }
    }
    // The notes must have exercised chains, not only single pages.
    QVERIFY(multiPage > 1000);
    if (limit == 100)
        QVERIFY(incomplete > 0);
}

QTEST_GUILESS_MAIN(PaginationModelTest)
#include "tst_paginationmodel.moc"
