#include "core/FileWriter_p.h"
#include "core/PathUtils.h"
#include "core/StringEncoding.h"

#include <QDir>
#include <QFile>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <atomic>
#include <csignal>
#include <memory>

#include <sys/resource.h>

using OptionalBytes = std::optional<QByteArray>;
using OptionalText = std::optional<QString>;

namespace {

QByteArray readAll(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QStringList entriesOf(const QString &folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
}

} // namespace

class TestFileFormats : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void pathUtils_data();
    void pathUtils();
    void encoding_data();
    void encoding();
    void unicodeRoundTrip();
    void decodePlainText_data();
    void decodePlainText();

    void writesAndReplaces_data();
    void writesAndReplaces();
    void readersSeeOldOrNewContent();
    void failedWriteLeavesNothingBehind();
};

void TestFileFormats::pathUtils_data()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("component");
    QTest::addColumn<QString>("result");

    const auto row = [](const char *operation, const char *path, const char *component, const char *result) {
        QTest::addRow("%s '%s' '%s'", operation, path, component)
            << QString::fromUtf8(operation) << QString::fromUtf8(path) << QString::fromUtf8(component)
            << QString::fromUtf8(result);
    };
    row("append", "a/", "b", "a/b");
    row("append", "/x/a//", "/b", "/x/a/b");
    row("append", "/", "Notes", "/Notes");
    row("append", "/a/", "", "/a/");
    row("append", "", "b", "b");
    row("last", "/a/b/", "", "b");
    row("last", "///", "", "/");
    row("last", "", "", "");
    row("extension", "archive.tar.gz", "", "archive.tar");
    row("extension", "/a.d/b", "", "/a.d/b");
    row("extension", "/a/.profile", "", "/a/.profile");
    row("extension", ".notes.txt", "", ".notes");
}

void TestFileFormats::pathUtils()
{
    QFETCH(QString, operation);
    QFETCH(QString, path);
    QFETCH(QString, component);
    if (operation == QLatin1String("append"))
        QTEST(PathUtils::appendingPathComponent(path, component), "result");
    else if (operation == QLatin1String("last"))
        QTEST(PathUtils::lastPathComponent(path), "result");
    else
        QTEST(PathUtils::deletingPathExtension(path), "result");
}

void TestFileFormats::encoding_data()
{
    QTest::addColumn<uint>("encoding");
    QTest::addColumn<OptionalText>("text");
    QTest::addColumn<OptionalBytes>("bytes");

    // Text is encoded and bytes decoded, each when present: a row missing one side refuses the other.
    const OptionalText none;
    const OptionalBytes refused;
    const OptionalText loneSurrogate(QString(QChar(0xD800)) + QStringLiteral("x"));
    const uint ascii = StringEncoding::ASCII;
    const uint latin1 = StringEncoding::ISOLatin1;
    const uint utf8 = StringEncoding::UTF8;
    QTest::newRow("ascii") << ascii << OptionalText(QStringLiteral("Hi!")) << OptionalBytes("Hi!");
    QTest::newRow("ascii refuses e-acute") << ascii << OptionalText(QStringLiteral("caf\u00e9")) << refused;
    QTest::newRow("ascii refuses high bytes") << ascii << none << OptionalBytes("caf\xe9");
    QTest::newRow("latin-1") << latin1 << OptionalText(QStringLiteral("caf\u00e9\u00ff"))
                             << OptionalBytes("caf\xe9\xff");
    QTest::newRow("latin-1 refuses euro") << latin1 << OptionalText(QStringLiteral("5 \u20ac")) << refused;
    QTest::newRow("utf-8") << utf8 << OptionalText(QStringLiteral("\u20ac \U0001F3B5"))
                           << OptionalBytes("\xe2\x82\xac \xf0\x9f\x8e\xb5");
    QTest::newRow("utf-8 empty") << utf8 << OptionalText(QString()) << OptionalBytes(QByteArray());
    QTest::newRow("utf-8 refuses a lone surrogate") << utf8 << loneSurrogate << refused;
    QTest::newRow("utf-8 invalid byte") << utf8 << none << OptionalBytes("caf\xe9");
    QTest::newRow("utf-8 cut sequence") << utf8 << none << OptionalBytes("caf\xc3");
    QTest::newRow("utf-8 encoded surrogate") << utf8 << none << OptionalBytes("\xed\xa0\x80");
    QTest::newRow("utf-16 refuses a lone surrogate") << StringEncoding::Unicode << loneSurrogate << refused;
    QTest::newRow("utf-16 bytes with a lone surrogate")
        << StringEncoding::Unicode << none << OptionalBytes(QByteArray("\xff\xfe\x00\xd8x\0", 6));
    QTest::newRow("utf-16 odd length") << StringEncoding::Unicode << none
                                       << OptionalBytes(QByteArray("\xff\xfeh\0i", 5));
    QTest::newRow("unknown encoding") << 99u << OptionalText(QStringLiteral("a")) << refused;
    QTest::newRow("unknown encoding of bytes") << 99u << none << OptionalBytes("a");
}

void TestFileFormats::encoding()
{
    QFETCH(uint, encoding);
    QFETCH(OptionalText, text);
    QFETCH(OptionalBytes, bytes);
    if (text)
        QCOMPARE(StringEncoding::encode(*text, encoding), bytes);
    if (bytes)
        QCOMPARE(StringEncoding::decode(*bytes, encoding), text);
}

void TestFileFormats::unicodeRoundTrip()
{
    const QString text = QStringLiteral("Notes \u00e9\u20ac \U0001F3B5");
    const OptionalBytes bytes = StringEncoding::encode(text, StringEncoding::Unicode);
    QVERIFY(bytes);
    // A byte-order mark in this machine's order leads.
    const char16_t bom = 0xFEFF;
    QCOMPARE(bytes->left(2), QByteArray(reinterpret_cast<const char *>(&bom), 2));
    QCOMPARE(bytes->size(), 2 + text.size() * 2);
    QCOMPARE(StringEncoding::decode(*bytes, StringEncoding::Unicode), OptionalText(text));
    QCOMPARE(StringEncoding::decodePlainText(*bytes), OptionalText(text));
    // Without its mark the text is read in this machine's order; with one, in the order it gives.
    QCOMPARE(StringEncoding::decode(bytes->mid(2), StringEncoding::Unicode), OptionalText(text));
    const OptionalText euro(QStringLiteral("h\u20ac"));
    QCOMPARE(StringEncoding::decode(QByteArray("\xff\xfeh\0\xac\x20", 6), StringEncoding::Unicode), euro);
    QCOMPARE(StringEncoding::decode(QByteArray("\xfe\xff\0h\x20\xac", 6), StringEncoding::Unicode), euro);
}

void TestFileFormats::decodePlainText_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<OptionalText>("text");

    QTest::newRow("utf-8") << QByteArray("J\xc3\xa9r\xc3\xb4me") << OptionalText(QStringLiteral("J\u00e9r\u00f4me"));
    QTest::newRow("utf-8 BOM is dropped") << QByteArray("\xef\xbb\xbfHi") << OptionalText(QStringLiteral("Hi"));
    QTest::newRow("cut utf-8 is latin-1") << QByteArray("caf\xc3") << OptionalText(QStringLiteral("caf\u00c3"));
    QTest::newRow("utf-16 LE with BOM keeps its NULs")
        << QByteArray("\xff\xfeh\0i\0", 6) << OptionalText(QStringLiteral("hi"));
    QTest::newRow("utf-16 BE with BOM") << QByteArray("\xfe\xff\0h\0i", 6) << OptionalText(QStringLiteral("hi"));
    QTest::newRow("NUL byte is no text") << QByteArray("abc\0def", 7) << OptionalText();
    QTest::newRow("utf-16 without BOM is no text") << QByteArray("h\0i\0", 4) << OptionalText();
    QTest::newRow("empty") << QByteArray() << OptionalText(QString());
}

void TestFileFormats::decodePlainText()
{
    QFETCH(QByteArray, bytes);
    QFETCH(OptionalText, text);
    QCOMPARE(StringEncoding::decodePlainText(bytes), text);

    // Files read the same way, and a missing file is no text.
    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("note.txt"));
    QVERIFY(FileWriter::writeAtomically(path, bytes, FileWriter::Cached));
    QCOMPARE(StringEncoding::readPlainTextFile(path), text);
    QVERIFY(!StringEncoding::readPlainTextFile(folder.filePath(QStringLiteral("missing.txt"))));
}

void TestFileFormats::writesAndReplaces_data()
{
    QTest::addColumn<int>("durability");
    QTest::newRow("durable") << int(FileWriter::Durable);
    QTest::newRow("cached") << int(FileWriter::Cached);
}

void TestFileFormats::writesAndReplaces()
{
    QFETCH(int, durability);
    const auto write = [durability](const QString &path, const QByteArray &data) {
        return FileWriter::writeAtomically(path, data, FileWriter::Durability(durability));
    };
    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("Note \u00e9.txt"));
    QVERIFY(write(path, QByteArray(10000, 'a')));
    QCOMPARE(readAll(path), QByteArray(10000, 'a'));
    // Shorter content must not leave the old tail behind.
    QVERIFY(write(path, "new"));
    QCOMPARE(readAll(path), QByteArray("new"));
    const QString empty = folder.filePath(QStringLiteral("empty"));
    QVERIFY(write(empty, QByteArray()));
    QVERIFY(QFileInfo(empty).isFile());
    QCOMPARE(QFileInfo(empty).size(), 0);
    QCOMPARE(entriesOf(folder.path()), (QStringList{QStringLiteral("Note \u00e9.txt"), QStringLiteral("empty")}));

    // A link to the file stays a link; the file it points to is replaced.
    const QString link = folder.filePath(QStringLiteral("link"));
    QVERIFY(QFile::link(path, link));
    QVERIFY(write(link, "through the link"));
    QVERIFY(QFileInfo(link).isSymLink());
    QCOMPARE(readAll(path), QByteArray("through the link"));

    // A private file stays private when it is replaced.
    QVERIFY(QFile::setPermissions(path, QFileDevice::ReadOwner | QFileDevice::WriteOwner));
    QVERIFY(write(path, "private"));
    const QFileDevice::Permissions others =
        QFileDevice::ReadGroup | QFileDevice::WriteGroup | QFileDevice::ReadOther | QFileDevice::WriteOther;
    QCOMPARE(QFile::permissions(path) & others, QFileDevice::Permissions());
    QVERIFY(QFile::permissions(path) & QFileDevice::ReadOwner);
}

void TestFileFormats::readersSeeOldOrNewContent()
{
    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("contact.vcf"));
    const QByteArray first(256 * 1024, 'a');
    const QByteArray second(128 * 1024, 'b');
    QVERIFY(FileWriter::writeAtomically(path, first, FileWriter::Cached));

    // A reader going all the time must only ever find one whole version or the other.
    std::atomic<bool> stop{false};
    std::atomic<int> reads{0};
    std::atomic<int> torn{0};
    std::unique_ptr<QThread> reader(QThread::create([&] {
        while (!stop.load()) {
            const QByteArray seen = readAll(path);
            if (seen != first && seen != second)
                ++torn;
            ++reads;
        }
    }));
    reader->start();
    for (int i = 0; i < 200; ++i)
        QVERIFY(FileWriter::writeAtomically(path, i % 2 ? first : second, FileWriter::Cached));
    stop = true;
    QVERIFY(reader->wait(30000));
    QVERIFY(reads.load() > 0);
    QCOMPARE(torn.load(), 0);
    QCOMPARE(entriesOf(folder.path()), QStringList{QStringLiteral("contact.vcf")});
}

void TestFileFormats::failedWriteLeavesNothingBehind()
{
    QTemporaryDir folder;
    QString error;
    QVERIFY(!FileWriter::writeAtomically(folder.filePath(QStringLiteral("missing/file.txt")), "x", FileWriter::Durable,
                                         &error));
    QVERIFY2(error.contains(QStringLiteral("No such file")), qPrintable(error));
    // A folder in the way is neither replaced nor emptied.
    const QString existing = folder.filePath(QStringLiteral("existing.txt"));
    QVERIFY(FileWriter::writeAtomically(existing, QByteArray("old content"), FileWriter::Durable));
    QVERIFY(QDir(folder.path()).mkdir(QStringLiteral("Notes")));
    QVERIFY(FileWriter::writeAtomically(folder.filePath(QStringLiteral("Notes/keep.txt")), "", FileWriter::Durable));
    QVERIFY(!FileWriter::writeAtomically(folder.filePath(QStringLiteral("Notes")), "x", FileWriter::Durable, &error));
    QCOMPARE(entriesOf(folder.filePath(QStringLiteral("Notes"))), QStringList{QStringLiteral("keep.txt")});

    QString freshError;
    QString replaceError;
    {
        // A lowered file-size limit makes writes fail part-way, as on a full volume.
        rlimit previous{};
        ::getrlimit(RLIMIT_FSIZE, &previous);
        rlimit limited = previous;
        limited.rlim_cur = 4096;
        const auto handler = std::signal(SIGXFSZ, SIG_IGN);
        const auto restore = qScopeGuard([&] {
            ::setrlimit(RLIMIT_FSIZE, &previous);
            std::signal(SIGXFSZ, handler);
        });
        if (::setrlimit(RLIMIT_FSIZE, &limited) != 0)
            QSKIP("the file-size limit cannot be lowered here");
        const QByteArray big(64 * 1024, 'x');
        QVERIFY(!FileWriter::writeAtomically(folder.filePath(QStringLiteral("fresh.txt")), big, FileWriter::Durable,
                                             &freshError));
        QVERIFY(!FileWriter::writeAtomically(existing, big, FileWriter::Durable, &replaceError));
    }
    QVERIFY(!freshError.isEmpty());
    QVERIFY(!replaceError.isEmpty());
    QCOMPARE(readAll(existing), QByteArray("old content"));
    QCOMPARE(entriesOf(folder.path()), (QStringList{QStringLiteral("Notes"), QStringLiteral("existing.txt")}));
}

QTEST_GUILESS_MAIN(TestFileFormats)
#include "tst_fileformats.moc"
