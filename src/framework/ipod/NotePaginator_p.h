#pragma once

#include "tivaro_export.h"

#include <QByteArray>
#include <QString>

#include <functional>

// One page of a note as the paginator hands it out.
struct TIVARO_AUTOTEST_EXPORT NotePage {
    int index = 0;            // 0 for the note's own file, k for "<name> p<k+1>"
    QByteArray bytes;         // the whole file: header, title, words, and the Next link if any
    qsizetype textOffset = 0; // where the page's words start in the note's UTF-8 text; -1 for none
    qsizetype textLength = 0; // bytes of text on the page: its words with the single spaces between them
};

// Cuts a note's UTF-8 text into pages of at most `limit` bytes at space bytes, with the header and
// title every page begins with and the Next link that chains a page to the one after it.
//
// A word is taken while the page plus the word plus one byte fits; a word that does not fit closes
// the page with a link, words being taken back until the link fits; a word longer than a page ends the
// note. Because a page's words joined by single spaces are a stretch of the text itself, each page is
// found with one backward search for a space instead of word by word, and copied in one piece into a
// buffer reused for every page. Pure: writing the pages is the sink's job.
class TIVARO_AUTOTEST_EXPORT NotePaginator
{
public:
    // Returns false to stop pagination (a page could not be written).
    using PageSink = std::function<bool(const NotePage &page)>;

    static constexpr int kPageLimit = 4096;
    static constexpr int kUnicodePageLimit = 2048;

    NotePaginator(int limit, const QString &noteName);

    // Runs the pages through `sink` in order. True when every page was accepted.
    bool paginate(const QByteArray &utf8Text, const PageSink &sink);
    // Where the last note ended early, before a word that no page can hold; -1 when it ended with
    // its text. The rest of the text is left out, as notes always have been; callers may say so.
    qsizetype droppedFrom() const { return m_droppedFrom; }

    // The names the pages, their files, titles and links use.
    static QString pagesOverflowDirectory();
    static QString pageNameAtIndex(int index, const QString &initialName);
    static QString fileNameForPage(int index, const QString &initialName);
    static QString titleForPage(int index, const QString &initialName);
    // Placement 0: first page (its link reaches into the overflow folder), 1: a middle page,
    // anything above 1: the last page (no link).
    static QString linkForPageAtIndex(int index, int placement, const QString &noteName);
    static QByteArray header();
    // The UTF-8 file name of a page, from the note name's UTF-8 bytes; what the writer uses per page.
    static QByteArray fileNameBytesForPage(int index, const QByteArray &nameUtf8);

private:
    bool emitPage(int index, qsizetype textOffset, qsizetype textLength, const PageSink &sink);

    // The page-name part of a title or link, " p<k+1>" after the name for pages after the first.
    void appendPageName(QByteArray &bytes, int index) const;
    // The Next link's bytes; *units is its length in UTF-16 units, as the page limit counts it.
    QByteArray linkBytes(int index, int placement, qsizetype *units) const;

    int m_limit;
    QString m_noteName;
    QByteArray m_nameUtf8;
    QByteArray m_buffer;
    qsizetype m_droppedFrom = -1;
};
