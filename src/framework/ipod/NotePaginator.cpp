#include "NotePaginator_p.h"

#include "ipodnotes_p.h"

#include <algorithm>
#include <cstring>

NotePaginator::NotePaginator(int limit, const QString &noteName)
    : m_limit(limit)
    , m_noteName(noteName)
    , m_nameUtf8(noteName.toUtf8())
{
    m_buffer.reserve(kPageLimit);
}

QString NotePaginator::pagesOverflowDirectory()
{
    return QStringLiteral("_pages");
}

QString NotePaginator::pageNameAtIndex(int index, const QString &initialName)
{
    if (index <= 0)
        return initialName;
    return initialName + QStringLiteral(" p") + QString::number(qint64(index) + 1);
}

QString NotePaginator::fileNameForPage(int index, const QString &initialName)
{
    return pageNameAtIndex(index, initialName) + QStringLiteral(".txt");
}

QString NotePaginator::titleForPage(int index, const QString &initialName)
{
    return QStringLiteral("<title>") + pageNameAtIndex(index, initialName) + QStringLiteral("</title>");
}

QString NotePaginator::linkForPageAtIndex(int index, int placement, const QString &noteName)
{
    if (unsigned(placement) > 1)
        return QString();
    const QString folder = placement == 0 ? pagesOverflowDirectory() + QLatin1Char('/') : QString();
    return QStringLiteral("\n\n<a href=\"") + folder + fileNameForPage(index + 1, noteName) +
           QStringLiteral("\">Next</a>");
}

QByteArray NotePaginator::header()
{
    return QByteArrayLiteral("<?xml encoding=\"UTF-8\"?>");
}

QByteArray NotePaginator::fileNameBytesForPage(int index, const QByteArray &nameUtf8)
{
    QByteArray name = nameUtf8;
    if (index > 0)
        name += " p" + QByteArray::number(qint64(index) + 1);
    return name + ".txt";
}

// Titles and links are built as bytes: per page, string building would cost more than the search.
void NotePaginator::appendPageName(QByteArray &bytes, int index) const
{
    bytes.append(m_nameUtf8);
    if (index > 0)
        bytes.append(" p").append(QByteArray::number(qint64(index) + 1));
}

QByteArray NotePaginator::linkBytes(int index, int placement, qsizetype *units) const
{
    QByteArray link;
    if (unsigned(placement) <= 1) {
        link.append("\n\n<a href=\"");
        static const QByteArray overflowFolder = pagesOverflowDirectory().toLatin1() + '/';
        if (placement == 0)
            link.append(overflowFolder);
        link.append(fileNameBytesForPage(index + 1, m_nameUtf8)).append("\">Next</a>");
    }
    // Only the name can hold anything but ASCII.
    *units = link.isEmpty() ? 0 : link.size() - m_nameUtf8.size() + m_noteName.size();
    return link;
}

namespace {

// The end of the word starting at `start`: the next space, or the end of the text.
qsizetype wordEnd(const char *text, qsizetype size, qsizetype start)
{
    const void *space = std::memchr(text + start, ' ', size_t(size - start));
    return space ? static_cast<const char *>(space) - text : size;
}

// The last space in [from, to), or -1.
qsizetype lastSpace(const char *text, qsizetype from, qsizetype to)
{
    if (to <= from)
        return -1;
    const void *space = ::memrchr(text + from, ' ', size_t(to - from));
    return space ? static_cast<const char *>(space) - text : -1;
}

} // namespace

bool NotePaginator::emitPage(int index, qsizetype textOffset, qsizetype textLength, const PageSink &sink)
{
    const bool accepted = sink(NotePage{index, m_buffer, textOffset, textLength});
    // Emptied, not released: the next page reuses the allocation.
    m_buffer.truncate(0);
    return accepted;
}

bool NotePaginator::paginate(const QByteArray &utf8Text, const PageSink &sink)
{
    const char *text = utf8Text.constData();
    const qsizetype size = utf8Text.size();
    const qsizetype limit = m_limit;
    qsizetype start = 0;          // where this page's first word starts
    qsizetype previousStart = -1; // where the page before it started
    m_buffer.truncate(0);
    m_droppedFrom = -1;

    for (int page = 0;; ++page) {
        const qsizetype firstEnd = wordEnd(text, size, start);
        // A page after the second that starts where its predecessor started took no word: that word
        // can never be placed, and the rules alone would chain empty pages forever. Like a word longer
        // than a page, it ends the note with an empty page.
        const bool stuck = page >= 2 && start == previousStart;
        if (firstEnd - start > limit || stuck) {
            m_droppedFrom = start;
            return emitPage(page, -1, 0, sink);
        }

        m_buffer.append(header()).append("<title>");
        appendPageName(m_buffer, page);
        m_buffer.append("</title>");
        const qsizetype prefix = m_buffer.size();

        // Take words while page + word + 1 fits: the text from `start` to the end of the last word
        // taken, which always ends before a space or at the end of the text.
        qsizetype end = -1;
        if (prefix + (firstEnd - start) + 1 <= limit) {
            const qsizetype room = limit - prefix;
            end = size - start <= room ? size : lastSpace(text, start, start + room + 1);
        }
        if (end == size) {
            m_buffer.append(text + start, end - start);
            return emitPage(page, start, end - start, sink);
        }

        const qsizetype next = end < 0 ? start : end + 1;
        const qsizetype nextEnd = wordEnd(text, size, next);
        // The word that does not fit is longer than any page: the note ends with this page. (When no
        // word was taken, the next word is the first one, already known to be no longer than a page.)
        if (end >= 0 && nextEnd - next > limit) {
            m_droppedFrom = next;
            m_buffer.append(text + start, end - start);
            return emitPage(page, start, end - start, sink);
        }

        const int placement = page == 0 ? 0 : (nextEnd == size ? 2 : 1);
        // The link's length counts characters, the page's bytes.
        qsizetype linkLength = 0;
        const QByteArray link = linkBytes(page, placement, &linkLength);
        qsizetype pageEnd = end;
        qsizetype nextStart = next;
        if (end >= 0 && prefix + (end - start) + linkLength > limit) {
            // Take words back until the link fits.
            pageEnd = lastSpace(text, start, std::min(end, start + limit - prefix - linkLength + 1));
            nextStart = pageEnd < 0 ? start : pageEnd + 1;
        }
        if (pageEnd >= 0) {
            m_buffer.append(text + start, pageEnd - start);
        } else if (end >= 0 || prefix + linkLength > limit) {
            // Taking back the page's only word cuts into the title or header, back to its last space.
            ipodnotes::deleteCharactersFromEndToCharacter(m_buffer, ' ');
            // When even that leaves no room for the link, the note name alone fills a page.
            if (m_buffer.size() + linkLength > limit || end < 0)
                return false;
        }
        m_buffer.append(link);
        if (!emitPage(page, pageEnd < 0 ? -1 : start, pageEnd < 0 ? 0 : pageEnd - start, sink))
            return false;
        previousStart = start;
        start = nextStart;
    }
}
