#include "IPodFixture.h"
#include "TemporaryHome.h"

#include "ipod/NotePaginator_p.h"
#include "ipod/TVRiPod.h"
#include "ipod/ipodnotes_p.h"

#include <QDir>
#include <QFile>
#include <QtTest>

namespace {

const QByteArray kHeader = "<?xml encoding=\"UTF-8\"?>";

QByteArray titleOf(const QString &pageName)
{
    return "<title>" + pageName.toUtf8() + "</title>";
}

// The header and title every page begins with.
QByteArray startOf(const QString &pageName)
{
    return kHeader + titleOf(pageName);
}

QByteArray linkTo(const QString &target)
{
    return "\n\n<a href=\"" + target.toUtf8() + "\">Next</a>";
}

// Runs the paginator alone and keeps every page.
QList<NotePage> paginate(const QByteArray &text, const QString &name, int limit = NotePaginator::kPageLimit)
{
    QList<NotePage> pages;
    NotePaginator paginator(limit, name);
    paginator.paginate(text, [&pages](const NotePage &page) {
        pages.append(page);
        return true;
    });
    return pages;
}

QByteArray words(int count, int length, char letter = 'w')
{
    QByteArrayList list;
    for (int i = 0; i < count; ++i)
        list.append(QByteArray(length, letter));
    return list.join(' ');
}

} // namespace

class NoteWriterTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void pageNames_data();
    void pageNames();
    void links();

    void separatedByCharacter_data();
    void separatedByCharacter();
    void deleteToCharacter_data();
    void deleteToCharacter();
    void appendWithEncoding();

    void emptyTextWritesHeaderAndTitle();
    void pageMayReachExactlyTheLimit();
    void singleWordStaysBelowTheLimit();
    void overLongWordEndsTheNote();
    void overLongWordAfterAPageWritesThatPage();
    void unicodeEncodingHalvesTheLimit();
    void wordsSurviveAcrossPages_data();
    void wordsSurviveAcrossPages();
    void lastWordGoesToAnUnlinkedPage();
    void singleWordPageCutsIntoTitle();
    void unplaceableWordEndsTheNote();

    void writesFilesWithCorrectedNames();
    void writesBelowLocalPath();
    void staysInsideTheNotesFolder();
    void honoursTheTivaroFolderPreference();
    void failsWhenNotesIsAFile();
    void failsForOverLongName();
    void writeStringRefusesLossyEncoding();

private:
    TemporaryHome m_home;
    QTemporaryDir m_volumes;
    TVRiPodPtr m_iPod;
};

void NoteWriterTest::initTestCase()
{
    QVERIFY(m_home.isValid());
}

void NoteWriterTest::init()
{
    const QString root = m_volumes.path() + QStringLiteral("/") + QString::fromLatin1(QTest::currentTestFunction());
    QDir(root).removeRecursively();
    m_home.writeApplicationPreferences({});
    m_iPod = TVRiPod::withPath(IPodFixture::createWithFamily(root, 6, QStringLiteral("SERIAL1")));
}

void NoteWriterTest::pageNames_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<QString>("pageName");
    QTest::newRow("first page is the note") << 0 << QStringLiteral("News");
    QTest::newRow("second page") << 1 << QStringLiteral("News p2");
    QTest::newRow("tenth page") << 9 << QStringLiteral("News p10");
}

void NoteWriterTest::pageNames()
{
    QFETCH(int, index);
    QFETCH(QString, pageName);
    QCOMPARE(TVRiPod::pageNameAtIndex(index, QStringLiteral("News")), pageName);
    QCOMPARE(TVRiPod::fileNameForPage(index, QStringLiteral("News")), pageName + QStringLiteral(".txt"));
    QCOMPARE(TVRiPod::titleForPage(index, QStringLiteral("News")), QStringLiteral("<title>%1</title>").arg(pageName));
}

void NoteWriterTest::links()
{
    QCOMPARE(TVRiPod::linkForPageAtIndex(0, 0, QStringLiteral("N")),
             QString::fromUtf8(linkTo(QStringLiteral("_pages/N p2.txt"))));
    QCOMPARE(TVRiPod::linkForPageAtIndex(1, 1, QStringLiteral("N")),
             QString::fromUtf8(linkTo(QStringLiteral("N p3.txt"))));
    QCOMPARE(TVRiPod::linkForPageAtIndex(4, 2, QStringLiteral("N")), QString());
    // Placement is compared unsigned: a negative one counts as "last".
    QCOMPARE(TVRiPod::linkForPageAtIndex(4, -1, QStringLiteral("N")), QString());
    QCOMPARE(TVRiPod::pagesOverflowDirectory(), QStringLiteral("_pages"));
}

void NoteWriterTest::separatedByCharacter_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QByteArrayList>("pieces");
    QTest::newRow("empty gives one empty piece") << QByteArray() << QByteArrayList{QByteArray()};
    QTest::newRow("no separator") << QByteArray("abc") << QByteArrayList{"abc"};
    QTest::newRow("empty pieces kept") << QByteArray(" a  b ") << QByteArrayList{"", "a", "", "b", ""};
}

void NoteWriterTest::separatedByCharacter()
{
    QFETCH(QByteArray, data);
    QFETCH(QByteArrayList, pieces);
    QCOMPARE(ipodnotes::dataSeparatedByCharacter(data, ' '), pieces);
}

void NoteWriterTest::deleteToCharacter_data()
{
    QTest::addColumn<QByteArray>("before");
    QTest::addColumn<QByteArray>("after");
    QTest::newRow("back to the last space") << QByteArray("one two three") << QByteArray("one two");
    QTest::newRow("trailing space") << QByteArray("one ") << QByteArray("one");
    QTest::newRow("no space empties") << QByteArray("word") << QByteArray();
    QTest::newRow("empty stays empty") << QByteArray() << QByteArray();
}

void NoteWriterTest::deleteToCharacter()
{
    QFETCH(QByteArray, before);
    QFETCH(QByteArray, after);
    ipodnotes::deleteCharactersFromEndToCharacter(before, ' ');
    QCOMPARE(before, after);
    QByteArray untouched("keep me");
    ipodnotes::deleteCharactersInRange(untouched, 0, 4);
    QCOMPARE(untouched, QByteArray("keep me"));
}

void NoteWriterTest::appendWithEncoding()
{
    QByteArray buffer("x");
    QVERIFY(ipodnotes::appendString(buffer, QStringLiteral("é"), StringEncoding::ISOLatin1));
    QCOMPARE(buffer, QByteArray("x\xE9"));
    QVERIFY(!ipodnotes::appendString(buffer, QStringLiteral("€"), StringEncoding::ISOLatin1));
    QCOMPARE(buffer, QByteArray("x\xE9"));
    ipodnotes::appendString(buffer, QStringLiteral("€"));
    QCOMPARE(buffer, QByteArray("x\xE9\xE2\x82\xAC"));
}

void NoteWriterTest::emptyTextWritesHeaderAndTitle()
{
    QVERIFY(m_iPod->writeNoteToiPod(QString(), QStringLiteral("Empty"), QString()));
    QCOMPARE(IPodFixture::readFile(m_iPod->notesFolder() + QStringLiteral("/Empty.txt")),
             startOf(QStringLiteral("Empty")));
    QVERIFY(!QFileInfo::exists(m_iPod->notesFolder() + QStringLiteral("/_pages")));
    QCOMPARE(m_iPod->lastNotePageCount(), 1);
    QCOMPARE(m_iPod->lastNoteDroppedBytes(), qsizetype(0));
}

// A word is taken while buffer + word + 1 <= limit, so a page after a space may be exactly full.
void NoteWriterTest::pageMayReachExactlyTheLimit()
{
    const int fixed = int(kHeader.size() + titleOf(QStringLiteral("N")).size());
    const QByteArray first(10, 'a');
    const QByteArray second(NotePaginator::kPageLimit - fixed - int(first.size()) - 1, 'b');
    const QList<NotePage> pages = paginate(first + ' ' + second, QStringLiteral("N"));
    QCOMPARE(pages.size(), 1);
    QCOMPARE(pages.first().bytes.size(), NotePaginator::kPageLimit);
    QCOMPARE(pages.first().bytes, startOf(QStringLiteral("N")) + first + ' ' + second);
}

void NoteWriterTest::singleWordStaysBelowTheLimit()
{
    const int fixed = int(kHeader.size() + titleOf(QStringLiteral("N")).size());
    const QByteArray fits(NotePaginator::kPageLimit - fixed - 1, 'a');
    QList<NotePage> pages = paginate(fits, QStringLiteral("N"));
    QCOMPARE(pages.size(), 1);
    QCOMPARE(pages.first().bytes.size(), NotePaginator::kPageLimit - 1);
    QCOMPARE(pages.first().textOffset, 0);
    QCOMPARE(pages.first().textLength, fits.size());
}

void NoteWriterTest::overLongWordEndsTheNote()
{
    QVERIFY(m_iPod->writeNoteToiPod(QString(5000, QLatin1Char('x')) + QStringLiteral(" after"), QStringLiteral("Long"),
                                    QString()));
    QCOMPARE(IPodFixture::readFile(m_iPod->notesFolder() + QStringLiteral("/Long.txt")), QByteArray());
    QCOMPARE(m_iPod->lastNotePageCount(), 1);
    QCOMPARE(m_iPod->lastNoteDroppedBytes(), qsizetype(5006));
}

void NoteWriterTest::overLongWordAfterAPageWritesThatPage()
{
    const QList<NotePage> pages = paginate("short words " + QByteArray(4097, 'x') + " never", QStringLiteral("N"));
    QCOMPARE(pages.size(), 1);
    QCOMPARE(pages.first().bytes, startOf(QStringLiteral("N")) + "short words");
    QCOMPARE(pages.first().textLength, qsizetype(11));
}

void NoteWriterTest::unicodeEncodingHalvesTheLimit()
{
    const QString text = QString::fromUtf8(words(1500, 5, 'u')).replace(QLatin1Char('u'), QChar(0x00FC));
    QVERIFY(m_iPod->writeNoteToiPod(text, QStringLiteral("Wide"), QString(), StringEncoding::Unicode));
    QVERIFY(m_iPod->lastNotePageCount() > 1);
    const QStringList files = QDir(m_iPod->notesFolder() + QStringLiteral("/_pages")).entryList(QDir::Files);
    QCOMPARE(files.size(), m_iPod->lastNotePageCount() - 1);
    for (const QString &file : files) {
        const QByteArray page = IPodFixture::readFile(m_iPod->notesFolder() + QStringLiteral("/_pages/") + file);
        QVERIFY(page.size() <= NotePaginator::kUnicodePageLimit);
        QVERIFY2(page.startsWith(kHeader), "pages stay UTF-8 with the UTF-8 header");
        QVERIFY(QString::fromUtf8(page).contains(QChar(0x00FC)));
    }
}

void NoteWriterTest::wordsSurviveAcrossPages_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("many short words") << words(3000, 3);
    QTest::newRow("long words") << words(40, 1000);
    QTest::newRow("double spaces and line ends") << QByteArray("a  b\nc \r d").repeated(900);
    QTest::newRow("multibyte") << QByteArray("\xC3\xA9t\xC3\xA9 \xE6\x97\xA5\xE6\x9C\xAC ").repeated(1200);
}

// Every page is within the limit, chained to the next, and the words of all pages give the text back.
void NoteWriterTest::wordsSurviveAcrossPages()
{
    QFETCH(QByteArray, text);
    const QList<NotePage> pages = paginate(text, QStringLiteral("N"));
    QVERIFY(pages.size() > 1);
    QByteArrayList recovered;
    qsizetype expectedOffset = 0;
    for (const NotePage &page : pages) {
        QVERIFY(page.bytes.size() <= NotePaginator::kPageLimit);
        const QByteArray prefix = startOf(TVRiPod::pageNameAtIndex(page.index, QStringLiteral("N")));
        QVERIFY(page.bytes.startsWith(prefix));
        QByteArray body = page.bytes.mid(prefix.size());
        const bool last = page.index == pages.size() - 1;
        if (!last) {
            const QString next = (page.index == 0 ? QStringLiteral("_pages/") : QString()) +
                                 TVRiPod::fileNameForPage(page.index + 1, QStringLiteral("N"));
            QVERIFY2(body.endsWith(linkTo(next)), page.bytes.right(80).constData());
            body.chop(linkTo(next).size());
        }
        QCOMPARE(page.textOffset, expectedOffset);
        QCOMPARE(body, text.mid(page.textOffset, page.textLength));
        recovered += body;
        expectedOffset = page.textOffset + page.textLength + 1;
    }
    QCOMPARE(recovered.join(' '), text);
}

// The word that does not fit is the note's last: the page before it gets no link and the word
// lands on a page nothing links to. Odd, but that is how chains have always been laid out.
void NoteWriterTest::lastWordGoesToAnUnlinkedPage()
{
    const QByteArray filler(4000, 'a');
    const QByteArray middle(4000, 'b');
    const QByteArray last(60, 'z');
    const QList<NotePage> pages = paginate(filler + ' ' + middle + ' ' + last, QStringLiteral("N"));
    QCOMPARE(pages.size(), 3);
    QCOMPARE(pages.at(0).bytes, startOf(QStringLiteral("N")) + filler + linkTo(QStringLiteral("_pages/N p2.txt")));
    QCOMPARE(pages.at(1).bytes, startOf(QStringLiteral("N p2")) + middle);
    QCOMPARE(pages.at(2).bytes, startOf(QStringLiteral("N p3")) + last);
}

// The link does not fit after a page's only word: taking the word back cuts into the header, and
// the word moves to the next page.
void NoteWriterTest::singleWordPageCutsIntoTitle()
{
    const QByteArray big(4030, 'a');
    const QByteArray last(100, 'b');
    const QList<NotePage> pages = paginate(big + ' ' + last, QStringLiteral("N"));
    QCOMPARE(pages.size(), 3);
    QCOMPARE(pages.at(0).bytes, QByteArray("<?xml") + linkTo(QStringLiteral("_pages/N p2.txt")));
    QCOMPARE(pages.at(0).textOffset, qsizetype(-1));
    QCOMPARE(pages.at(1).textOffset, qsizetype(0));
    QCOMPARE(pages.at(1).bytes, startOf(QStringLiteral("N p2")) + big);
    QCOMPARE(pages.at(2).bytes, startOf(QStringLiteral("N p3")) + last);
}

// Here the same word fits on no page beside a link: the rules alone would chain cut pages forever.
// The note ends with an empty page, as it does before a word longer than a page.
void NoteWriterTest::unplaceableWordEndsTheNote()
{
    const QByteArray big(4030, 'a');
    const QList<NotePage> pages = paginate(big + ' ' + QByteArray(100, 'b') + " c", QStringLiteral("N"));
    QCOMPARE(pages.size(), 3);
    QCOMPARE(pages.at(0).bytes, QByteArray("<?xml") + linkTo(QStringLiteral("_pages/N p2.txt")));
    QCOMPARE(pages.at(1).bytes, kHeader + QByteArray("<title>N") + linkTo(QStringLiteral("N p3.txt")));
    QCOMPARE(pages.at(2).bytes, QByteArray());
    for (const NotePage &page : pages)
        QCOMPARE(page.textOffset, qsizetype(-1));
}

void NoteWriterTest::writesFilesWithCorrectedNames()
{
    QVERIFY(m_iPod->writeNoteToiPod(QString::fromLatin1(words(1500, 5)), QStringLiteral("A/B: C"), QString()));
    const QString notes = m_iPod->notesFolder();
    QVERIFY(QFileInfo::exists(notes + QStringLiteral("/A-B- C.txt")));
    const QByteArray second = IPodFixture::readFile(notes + QStringLiteral("/_pages/A-B- C p2.txt"));
    QVERIFY(second.startsWith(startOf(QStringLiteral("A-B- C p2"))));
    QVERIFY(second.endsWith(linkTo(QStringLiteral("A-B- C p3.txt"))));
    QVERIFY(IPodFixture::readFile(notes + QStringLiteral("/A-B- C.txt"))
                .endsWith(linkTo(QStringLiteral("_pages/A-B- C p2.txt"))));
    QCOMPARE(QDir(notes + QStringLiteral("/_pages")).entryList(QDir::Files).size(), m_iPod->lastNotePageCount() - 1);
    QVERIFY2(QDir(notes).entryList({QStringLiteral(".tvr-*")}, QDir::Hidden | QDir::Files).isEmpty(),
             "no temporary files left");
}

void NoteWriterTest::writesBelowLocalPath()
{
    QVERIFY(
        m_iPod->writeNoteToiPod(QString::fromLatin1(words(2500, 3)), QStringLiteral("N"), QStringLiteral("Sub/Dir")));
    QVERIFY(QFileInfo::exists(m_iPod->notesFolder() + QStringLiteral("/Sub/Dir/N.txt")));
    QVERIFY(QFileInfo::exists(m_iPod->notesFolder() + QStringLiteral("/Sub/Dir/_pages/N p3.txt")));
}

void NoteWriterTest::staysInsideTheNotesFolder()
{
    QVERIFY(!m_iPod->writeNoteToiPod(QStringLiteral("x"), QStringLiteral("N"), QStringLiteral("a/../../escaped")));
    QVERIFY(m_iPod->errorString().contains(QStringLiteral("outside the notes folder")));
    QVERIFY(!QFileInfo::exists(m_iPod->path() + QStringLiteral("/escaped")));
    // A leading slash still means a folder below the notes folder.
    QVERIFY(m_iPod->writeNoteToiPod(QStringLiteral("x"), QStringLiteral("N"), QStringLiteral("/Inbox")));
    QVERIFY(QFileInfo::exists(m_iPod->notesFolder() + QStringLiteral("/Inbox/N.txt")));
}

void NoteWriterTest::honoursTheTivaroFolderPreference()
{
    m_home.writeApplicationPreferences({{QStringLiteral("notesUseTVRFolder"), true}});
    QCOMPARE(m_iPod->realTivaroFolder(), m_iPod->notesFolder() + QStringLiteral("/Velmora"));
    QVERIFY(m_iPod->writeNoteToiPod(QStringLiteral("hello"), QStringLiteral("N"), QString()));
    QVERIFY(QFileInfo::exists(m_iPod->notesFolder() + QStringLiteral("/Velmora/N.txt")));
    m_home.writeApplicationPreferences({{QStringLiteral("notesUseTVRFolder"), false}});
    QCOMPARE(m_iPod->realTivaroFolder(), m_iPod->notesFolder());
}

void NoteWriterTest::failsWhenNotesIsAFile()
{
    IPodFixture::writeFile(m_iPod->path(), QStringLiteral("Notes"), "not a folder");
    QVERIFY(!m_iPod->writeNoteToiPod(QStringLiteral("hello"), QStringLiteral("N"), QString()));
    QVERIFY(m_iPod->errorString().contains(QStringLiteral("Notes/N.txt")));
    QCOMPARE(IPodFixture::readFile(m_iPod->path() + QStringLiteral("/Notes")), QByteArray("not a folder"));
}

void NoteWriterTest::failsForOverLongName()
{
    QVERIFY(!m_iPod->writeNoteToiPod(QStringLiteral("hello"), QString(300, QLatin1Char('n')), QString()));
    QVERIFY(m_iPod->errorString().contains(QStringLiteral("too long")));
    QVERIFY(!QFileInfo::exists(m_iPod->notesFolder()));
}

void NoteWriterTest::writeStringRefusesLossyEncoding()
{
    const QString path = m_iPod->path() + QStringLiteral("/plain.txt");
    QVERIFY(!m_iPod->writeString(QStringLiteral("€"), path, StringEncoding::ASCII));
    QVERIFY(!QFileInfo::exists(path));
    QVERIFY(m_iPod->writeString(QStringLiteral("€"), path, StringEncoding::UTF8));
    QCOMPARE(IPodFixture::readFile(path), QByteArray("\xE2\x82\xAC"));
}

QTEST_GUILESS_MAIN(NoteWriterTest)
#include "tst_notewriter.moc"
