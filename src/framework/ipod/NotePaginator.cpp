#include "NotePaginator.h"

#include "ipodnotes.h"

#include <cstring>

NotePaginator::NotePaginator(int limit, const QString &noteName)
    : m_limit(limit)
    , m_noteName(noteName)
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

void NotePaginator::splitWords(const QByteArray &text)
{
    m_words.clear();
    const char *begin = text.constData();
    const char *end = begin + text.size();
    const char *start = begin;
    for (;;) {
        const void *space = std::memchr(start, ' ', size_t(end - start));
        const char *stop = space ? static_cast<const char *>(space) : end;
        m_words.push_back(Word{start - begin, stop - start});
        if (!space)
            break;
        start = stop + 1;
    }
}

// The loop follows the page-filling rules step by step: a word is taken while buffer + word + 1 fits;
// a word that does not fit closes the page with a link, taking back the page's last word until the
// link fits; a word longer than a page ends the note.
bool NotePaginator::paginate(const QByteArray &utf8Text, const PageSink &sink)
{
    splitWords(utf8Text);
    qsizetype n = qsizetype(m_words.size());
    qsizetype i = 0;
    int page = 0;
    bool firstOnPage = true;
    bool retry = false;
    qsizetype pageStart = 0;
    qsizetype previousPageStart = -1;
    m_buffer.clear();

    while (i < n) {
        bool writePage = false;
        const Word word = m_words[size_t(i)];
        // A page after the second that starts where its predecessor started took no word: that
        // word can never be placed, and the rules would write linked empty pages forever.
        const bool stuck = m_buffer.isEmpty() && !retry && page >= 2 && i == previousPageStart;
        if (word.length > m_limit || stuck) {
            n = i;
            writePage = true;
        } else if (!retry) {
            if (m_buffer.isEmpty()) {
                m_buffer.append(header());
                ipodnotes::appendString(m_buffer, titleForPage(page, m_noteName));
                firstOnPage = true;
                pageStart = i;
            }
            if (m_buffer.size() + word.length + 1 <= m_limit) {
                if (!firstOnPage)
                    m_buffer.append(' ');
                m_buffer.append(utf8Text.constData() + word.offset, word.length);
                firstOnPage = false;
                ++i;
                if (i < n) {
                    retry = false;
                    continue;
                }
                writePage = true;
            }
        }

        if (!writePage) {
            const int placement = page == 0 ? 0 : (i == n - 1 ? 2 : 1);
            const QString link = linkForPageAtIndex(page, placement, m_noteName);
            if (m_buffer.size() + link.size() <= m_limit) {
                ipodnotes::appendString(m_buffer, link);
                --i;
                writePage = true;
            } else if (i <= pageStart) {
                // The page holds no word of its own any more and the link still does not fit: only
                // a note name of thousands of characters does that. Taking back more would reach
                // into the previous page.
                return false;
            } else {
                ipodnotes::deleteCharactersFromEndToCharacter(m_buffer, ' ');
                --i;
                retry = true;
                continue;
            }
        }

        const qsizetype wordsOnPage = std::max<qsizetype>(0, std::min(i + 1, n) - pageStart);
        const NotePage out{page, m_buffer, pageStart, m_buffer.isEmpty() ? 0 : wordsOnPage};
        if (!sink(out))
            return false;
        previousPageStart = pageStart;
        ++page;
        m_buffer.clear();
        ++i;
        retry = false;
        pageStart = i;
    }
    return true;
}
