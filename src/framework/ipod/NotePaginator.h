#pragma once

#include <QByteArray>
#include <QString>

#include <functional>

// One page of a note as the paginator hands it out.
struct NotePage {
    int index = 0;           // 0 for the note's own file, k for "<name> p<k+1>"
    QByteArray bytes;        // the whole file: header, title, words, and the Next link if any
    qsizetype firstWord = 0; // index of the first word on the page
    qsizetype wordCount = 0; // number of words on the page
};

// Cuts a note's UTF-8 text into pages of at most `limit` bytes at space bytes, with the header and
// title every page begins with and the Next link that chains a page to the one after it. The text
// is split once and one buffer is reused for every page. Pure: writing the pages is the sink's job.
class NotePaginator
{
public:
    // Returns false to stop pagination (a page could not be written).
    using PageSink = std::function<bool(const NotePage &page)>;

    static constexpr int kPageLimit = 4096;
    static constexpr int kUnicodePageLimit = 2048;

    NotePaginator(int limit, const QString &noteName);

    // Runs the pages through `sink` in order. True when every page was accepted.
    bool paginate(const QByteArray &utf8Text, const PageSink &sink);

    // The names the pages, their files, titles and links use.
    static QString pagesOverflowDirectory();
    static QString pageNameAtIndex(int index, const QString &initialName);
    static QString fileNameForPage(int index, const QString &initialName);
    static QString titleForPage(int index, const QString &initialName);
    // Placement 0: first page (its link reaches into the overflow folder), 1: a middle page,
    // anything above 1: the last page (no link).
    static QString linkForPageAtIndex(int index, int placement, const QString &noteName);
    static QByteArray header();

private:
    struct Word {
        qsizetype offset;
        qsizetype length;
    };

    void splitWords(const QByteArray &text);

    int m_limit;
    QString m_noteName;
    std::vector<Word> m_words;
    QByteArray m_buffer;
};
