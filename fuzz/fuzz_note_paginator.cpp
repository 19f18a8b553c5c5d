// The note paginator, with its promises checked page by page.
//
// Input: one control byte (bit 0: the 2048-byte limit of UTF-16 notes instead of 4096; bit 1: a long
// note name), the name's length (one byte, at most 100, or two bytes for long names), the name, then
// the note's text. With a short name every promise is checked; a long name may leave no room for any
// text, so then pagination only has to return.
#include "ipod/NotePaginator.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace {

void check(bool condition)
{
    if (!condition)
        __builtin_trap();
}

// Where each word begins; words are the pieces between single spaces, empty ones included.
std::vector<qsizetype> wordStarts(const QByteArray &text)
{
    std::vector<qsizetype> starts{0};
    for (qsizetype space = text.indexOf(' '); space >= 0; space = text.indexOf(' ', space + 1))
        starts.push_back(space + 1);
    return starts;
}

// Header and title, as every page that keeps its words begins.
QByteArray pageStart(int index, const QString &name)
{
    return NotePaginator::header() + NotePaginator::titleForPage(index, name).toUtf8();
}

void checkPages(const std::vector<NotePage> &pages, const QByteArray &text, const QString &name, int limit)
{
    const std::vector<qsizetype> starts = wordStarts(text);
    const qsizetype wordTotal = qsizetype(starts.size());
    const auto wordEnd = [&](qsizetype w) { return w + 1 < wordTotal ? starts[size_t(w + 1)] - 1 : text.size(); };
    check(!pages.empty());
    qsizetype next = 0;
    for (size_t k = 0; k < pages.size(); ++k) {
        const NotePage &page = pages[k];
        const bool last = k + 1 == pages.size();
        const int index = int(k);
        // Words in order, from word 0, neither skipped nor repeated.
        check(page.index == index);
        check(page.firstWord == next);
        check(page.wordCount >= 0 && next + page.wordCount <= wordTotal);
        next += page.wordCount;

        if (page.bytes.isEmpty()) {
            // Only the page that ends the note early is written empty.
            check(page.wordCount == 0 && last);
            continue;
        }
        // The first page links into the overflow folder; the others link beside themselves or, when
        // taken for the last page, not at all.
        const QString link = NotePaginator::linkForPageAtIndex(index, index == 0 ? 0 : 1, name);
        const QByteArray linkBytes = link.toUtf8();
        const QByteArray start = pageStart(index, name);
        QByteArray tail;
        if (page.bytes.startsWith(start)) {
            // The page's words joined by single spaces are the stretch of text they came from.
            const qsizetype bodyStart = page.wordCount ? starts[size_t(page.firstWord)] : 0;
            const qsizetype bodyEnd = page.wordCount ? wordEnd(page.firstWord + page.wordCount - 1) : 0;
            const QByteArrayView body(text.constData() + bodyStart, bodyEnd - bodyStart);
            check(QByteArrayView(page.bytes).sliced(start.size()).startsWith(body));
            tail = page.bytes.mid(start.size() + body.size());
        } else {
            // Taking back a page's only word cuts its buffer at the last space of header and title.
            check(page.wordCount == 0 && !last);
            const QByteArray cut = start.left(start.lastIndexOf(' '));
            check(page.bytes.startsWith(cut));
            tail = page.bytes.mid(cut.size());
        }
        check(tail == linkBytes || tail.isEmpty());
        check(!last || tail.isEmpty());
        // The link is measured in UTF-16 units, so its non-ASCII characters may go over the limit.
        const qsizetype slack = tail.isEmpty() ? 0 : linkBytes.size() - link.size();
        check(page.bytes.size() <= limit + slack);
    }

    if (next == wordTotal)
        return;
    // The note stops early only before a word longer than a page, or before a word that could not be
    // placed on two pages in a row, which the last page, written empty, records.
    const qsizetype stopLength = wordEnd(next) - starts[size_t(next)];
    if (stopLength > limit)
        return;
    check(pages.size() >= 3);
    const NotePage &empty = pages.back();
    const NotePage &tried = pages[pages.size() - 2];
    check(empty.bytes.isEmpty() && tried.wordCount == 0 && tried.firstWord == next);
    const int triedIndex = int(pages.size() - 2);
    const qsizetype room =
        limit - pageStart(triedIndex, name).size() - NotePaginator::linkForPageAtIndex(triedIndex, 1, name).size();
    check(stopLength > room);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 2)
        return 0;
    const bool unicodeLimit = data[0] & 1;
    const bool longName = data[0] & 2;
    const int limit = unicodeLimit ? NotePaginator::kUnicodePageLimit : NotePaginator::kPageLimit;
    // Long names take two length bytes, short ones one, read modulo 101.
    const size_t nameAt = longName ? 3 : 2;
    if (size < nameAt)
        return 0;
    size_t nameLength = longName ? size_t(data[1]) << 8 | data[2] : size_t(data[1] % 101);
    size_t position = nameAt;
    nameLength = std::min(nameLength, size - position);
    const QString name = QString::fromUtf8(reinterpret_cast<const char *>(data + position), qsizetype(nameLength));
    position += nameLength;
    const QByteArray text(reinterpret_cast<const char *>(data + position), qsizetype(size - position));

    NotePaginator paginator(limit, name);
    std::vector<NotePage> pages;
    const bool done = paginator.paginate(text, [&pages](const NotePage &page) {
        pages.push_back(page);
        return true;
    });
    if (longName)
        return 0;
    // With a name this short there is always room for the links.
    check(done);
    checkPages(pages, text, name, limit);
    return 0;
}
