// The note paginator, with its promises checked page by page.
//
// Input: one control byte (bit 0: the 2048-byte limit of UTF-16 notes instead of 4096; bit 1: a long
// note name), the name's length (one byte, at most 100, or two bytes for long names), the name, then
// the note's text. With a short name every promise is checked; a long name may leave no room for any
// text, so then pagination only has to return.
#include "ipod/NotePaginator_p.h"

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

// The end of the word that starts at `start`: the next space, or the end of the text.
qsizetype wordEnd(const QByteArray &text, qsizetype start)
{
    const qsizetype space = text.indexOf(' ', start);
    return space < 0 ? text.size() : space;
}

// Header and title, as every page that keeps its words begins.
QByteArray pageStart(int index, const QString &name)
{
    return NotePaginator::header() + NotePaginator::titleForPage(index, name).toUtf8();
}

void checkPages(const std::vector<NotePage> &pages, const QByteArray &text, const QString &name, int limit)
{
    check(!pages.empty());
    // Where the next page's words must start; past the end once every word is on a page.
    qsizetype next = 0;
    for (size_t k = 0; k < pages.size(); ++k) {
        const NotePage &page = pages[k];
        const bool last = k + 1 == pages.size();
        const int index = int(k);
        const bool holdsWords = page.textOffset >= 0;
        // Words in order, from the first, neither skipped nor repeated, whole words only.
        check(page.index == index);
        if (holdsWords) {
            check(page.textOffset == next && page.textLength >= 0);
            const qsizetype end = page.textOffset + page.textLength;
            check(end <= text.size() && (end == text.size() || text.at(end) == ' '));
            next = end + 1;
        }

        if (page.bytes.isEmpty()) {
            // Only the page that ends the note early is written empty.
            check(!holdsWords && last);
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
            const QByteArrayView body(text.constData() + (holdsWords ? page.textOffset : 0), page.textLength);
            check(QByteArrayView(page.bytes).sliced(start.size()).startsWith(body));
            tail = page.bytes.mid(start.size() + body.size());
        } else {
            // Taking back a page's only word cuts its buffer at the last space of header and title.
            check(!holdsWords && !last);
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

    if (next > text.size())
        return;
    // The note stops early only before a word longer than a page, or before a word that could not be
    // placed on two pages in a row, which the last page, written empty, records.
    const qsizetype stopLength = wordEnd(text, next) - next;
    if (stopLength > limit)
        return;
    check(pages.size() >= 3);
    const NotePage &empty = pages.back();
    const NotePage &tried = pages[pages.size() - 2];
    check(empty.bytes.isEmpty() && tried.textOffset < 0);
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
