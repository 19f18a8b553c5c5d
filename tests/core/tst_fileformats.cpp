#include "core/FileWriter.h"
#include "core/PathUtils.h"
#include "core/StringEncoding.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <atomic>
#include <csignal>
#include <memory>

#include <sys/resource.h>

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

// Lowers the file-size limit for its lifetime, so that a write fails part-way as on a full volume.
class FileSizeLimit
{
public:
    explicit FileSizeLimit(rlim_t bytes)
    {
        m_previousHandler = std::signal(SIGXFSZ, SIG_IGN);
        ::getrlimit(RLIMIT_FSIZE, &m_previous);
        rlimit limited = m_previous;
        limited.rlim_cur = bytes;
        m_active = ::setrlimit(RLIMIT_FSIZE, &limited) == 0;
    }
    ~FileSizeLimit()
    {
        ::setrlimit(RLIMIT_FSIZE, &m_previous);
        std::signal(SIGXFSZ, m_previousHandler);
    }
    FileSizeLimit(const FileSizeLimit &) = delete;
    FileSizeLimit &operator=(const FileSizeLimit &) = delete;
    bool isActive() const { return m_active; }

private:
    rlimit m_previous{};
    void (*m_previousHandler)(int) = nullptr;
    bool m_active = false;
};

} // namespace

class TestFileFormats : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void appendingPathComponent_data();
    void appendingPathComponent();
    void lastPathComponent_data();
    void lastPathComponent();
    void deletingPathExtension_data();
    void deletingPathExtension();

    void encode_data();
    void encode();
    void decode_data();
    void decode();
    void unicodeRoundTrip();
    void decodePlainText_data();
    void decodePlainText();

    void writesNewFile_data();
    void writesNewFile();
    void replacesExistingFile();
    void readersSeeOldOrNewContent();
    void failedWriteLeavesNothingBehind();
    void refusesMissingFolderAndDirectory();
};

void TestFileFormats::appendingPathComponent_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("component");
    QTest::addColumn<QString>("result");

    QTest::newRow("plain") << QStringLiteral("a") << QStringLiteral("b") << QStringLiteral("a/b");
    QTest::newRow("trailing slash") << QStringLiteral("a/") << QStringLiteral("b") << QStringLiteral("a/b");
    QTest::newRow("several trailing slashes")
        << QStringLiteral("/x/a//") << QStringLiteral("b") << QStringLiteral("/x/a/b");
    QTest::newRow("leading slash of component") << QStringLiteral("a") << QStringLiteral("/b") << QStringLiteral("a/b");
    QTest::newRow("root") << QStringLiteral("/") << QStringLiteral("Notes") << QStringLiteral("/Notes");
    QTest::newRow("empty component") << QStringLiteral("/a/") << QString() << QStringLiteral("/a/");
    QTest::newRow("empty path") << QString() << QStringLiteral("b") << QStringLiteral("b");
    QTest::newRow("component with folders")
        << QStringLiteral("/iPod") << QStringLiteral("Notes/Feeds") << QStringLiteral("/iPod/Notes/Feeds");
}

void TestFileFormats::appendingPathComponent()
{
    QFETCH(QString, path);
    QFETCH(QString, component);
    QTEST(PathUtils::appendingPathComponent(path, component), "result");
}

void TestFileFormats::lastPathComponent_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("result");

    QTest::newRow("file") << QStringLiteral("/a/b/c.txt") << QStringLiteral("c.txt");
    QTest::newRow("trailing slash") << QStringLiteral("/a/b/") << QStringLiteral("b");
    QTest::newRow("root") << QStringLiteral("/") << QStringLiteral("/");
    QTest::newRow("slashes only") << QStringLiteral("///") << QStringLiteral("/");
    QTest::newRow("bare name") << QStringLiteral("name") << QStringLiteral("name");
    QTest::newRow("empty") << QString() << QString();
}

void TestFileFormats::lastPathComponent()
{
    QFETCH(QString, path);
    QTEST(PathUtils::lastPathComponent(path), "result");
}

void TestFileFormats::deletingPathExtension_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("result");

    QTest::newRow("extension") << QStringLiteral("/a/b.txt") << QStringLiteral("/a/b");
    QTest::newRow("only the last") << QStringLiteral("archive.tar.gz") << QStringLiteral("archive.tar");
    QTest::newRow("no extension") << QStringLiteral("/a/b") << QStringLiteral("/a/b");
    QTest::newRow("dot in a folder name") << QStringLiteral("/a.d/b") << QStringLiteral("/a.d/b");
    QTest::newRow("hidden file") << QStringLiteral("/a/.profile") << QStringLiteral("/a/.profile");
    QTest::newRow("hidden file with extension") << QStringLiteral(".notes.txt") << QStringLiteral(".notes");
}

void TestFileFormats::deletingPathExtension()
{
    QFETCH(QString, path);
    QTEST(PathUtils::deletingPathExtension(path), "result");
}

void TestFileFormats::encode_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<uint>("encoding");
    QTest::addColumn<bool>("encodable");
    QTest::addColumn<QByteArray>("bytes");

    const QString loneSurrogate = QString(QChar(0xD800)) + QStringLiteral("x");
    QTest::newRow("ascii") << QStringLiteral("Hi!") << StringEncoding::ASCII << true << QByteArray("Hi!");
    QTest::newRow("ascii refuses e-acute")
        << QStringLiteral("caf\u00e9") << StringEncoding::ASCII << false << QByteArray();
    QTest::newRow("latin-1 e-acute") << QStringLiteral("caf\u00e9") << StringEncoding::ISOLatin1 << true
                                     << QByteArray("caf\xe9");
    QTest::newRow("latin-1 refuses euro")
        << QStringLiteral("5 \u20ac") << StringEncoding::ISOLatin1 << false << QByteArray();
    QTest::newRow("utf-8") << QStringLiteral("\u20ac \U0001F3B5") << StringEncoding::UTF8 << true
                           << QByteArray("\xe2\x82\xac \xf0\x9f\x8e\xb5");
    QTest::newRow("utf-8 refuses a lone surrogate") << loneSurrogate << StringEncoding::UTF8 << false << QByteArray();
    QTest::newRow("unicode refuses a lone surrogate")
        << loneSurrogate << StringEncoding::Unicode << false << QByteArray();
    QTest::newRow("empty text") << QString() << StringEncoding::UTF8 << true << QByteArray();
    QTest::newRow("unknown encoding") << QStringLiteral("a") << 99u << false << QByteArray();
}

void TestFileFormats::encode()
{
    QFETCH(QString, text);
    QFETCH(uint, encoding);
    QFETCH(bool, encodable);
    const std::optional<QByteArray> bytes = StringEncoding::encode(text, encoding);
    QCOMPARE(bytes.has_value(), encodable);
    if (encodable)
        QTEST(*bytes, "bytes");
}

void TestFileFormats::decode_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<uint>("encoding");
    QTest::addColumn<bool>("decodable");
    QTest::addColumn<QString>("text");

    QTest::newRow("utf-8") << QByteArray("caf\xc3\xa9") << StringEncoding::UTF8 << true << QStringLiteral("caf\u00e9");
    QTest::newRow("utf-8 invalid byte") << QByteArray("caf\xe9") << StringEncoding::UTF8 << false << QString();
    QTest::newRow("utf-8 cut sequence") << QByteArray("caf\xc3") << StringEncoding::UTF8 << false << QString();
    QTest::newRow("utf-8 encoded surrogate")
        << QByteArray("\xed\xa0\x80") << StringEncoding::UTF8 << false << QString();
    QTest::newRow("ascii refuses high bytes") << QByteArray("caf\xe9") << StringEncoding::ASCII << false << QString();
    QTest::newRow("latin-1 takes every byte")
        << QByteArray("caf\xe9\xff") << StringEncoding::ISOLatin1 << true << QStringLiteral("caf\u00e9\u00ff");
    QTest::newRow("utf-16 little-endian BOM")
        << QByteArray("\xff\xfeh\0\xac\x20", 6) << StringEncoding::Unicode << true << QStringLiteral("h\u20ac");
    QTest::newRow("utf-16 big-endian BOM")
        << QByteArray("\xfe\xff\0h\x20\xac", 6) << StringEncoding::Unicode << true << QStringLiteral("h\u20ac");
    QTest::newRow("utf-16 odd length") << QByteArray("\xff\xfeh\0i", 5) << StringEncoding::Unicode << false
                                       << QString();
    QTest::newRow("utf-16 lone surrogate")
        << QByteArray("\xff\xfe\x00\xd8x\0", 6) << StringEncoding::Unicode << false << QString();
    QTest::newRow("unknown encoding") << QByteArray("a") << 99u << false << QString();
}

void TestFileFormats::decode()
{
    QFETCH(QByteArray, bytes);
    QFETCH(uint, encoding);
    QFETCH(bool, decodable);
    const std::optional<QString> text = StringEncoding::decode(bytes, encoding);
    // Qt's UTF-16 decoder lets an unpaired surrogate through, and decode() does not check for one.
    QCOMPARE(text.has_value(), decodable);
    if (decodable)
        QTEST(*text, "text");
}

void TestFileFormats::unicodeRoundTrip()
{
    const QString text = QStringLiteral("Notes \u00e9\u20ac \U0001F3B5");
    const std::optional<QByteArray> bytes = StringEncoding::encode(text, StringEncoding::Unicode);
    QVERIFY(bytes);
    // A byte-order mark in this machine's order leads.
    const char16_t bom = 0xFEFF;
    QCOMPARE(bytes->left(2), QByteArray(reinterpret_cast<const char *>(&bom), 2));
    QCOMPARE(bytes->size(), 2 + text.size() * 2);
    QCOMPARE(StringEncoding::decode(*bytes, StringEncoding::Unicode), std::optional<QString>(text));
    QCOMPARE(StringEncoding::decodePlainText(*bytes), std::optional<QString>(text));
    // Without its mark the text is still read in this machine's order.
    QCOMPARE(StringEncoding::decode(bytes->mid(2), StringEncoding::Unicode), std::optional<QString>(text));
}

void TestFileFormats::decodePlainText_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<bool>("isText");
    QTest::addColumn<QString>("text");

    QTest::newRow("utf-8") << QByteArray("J\xc3\xa9r\xc3\xb4me") << true << QStringLiteral("J\u00e9r\u00f4me");
    QTest::newRow("utf-8 BOM is dropped") << QByteArray("\xef\xbb\xbfHi") << true << QStringLiteral("Hi");
    QTest::newRow("invalid utf-8 is latin-1") << QByteArray("caf\xe9") << true << QStringLiteral("caf\u00e9");
    QTest::newRow("cut utf-8 is latin-1") << QByteArray("caf\xc3") << true << QStringLiteral("caf\u00c3");
    QTest::newRow("utf-16 LE with BOM keeps its NULs")
        << QByteArray("\xff\xfeh\0i\0", 6) << true << QStringLiteral("hi");
    QTest::newRow("utf-16 BE with BOM") << QByteArray("\xfe\xff\0h\0i", 6) << true << QStringLiteral("hi");
    QTest::newRow("NUL byte is no text") << QByteArray("abc\0def", 7) << false << QString();
    QTest::newRow("utf-16 without BOM is no text") << QByteArray("h\0i\0", 4) << false << QString();
    QTest::newRow("empty") << QByteArray() << true << QString();
}

void TestFileFormats::decodePlainText()
{
    QFETCH(QByteArray, bytes);
    QFETCH(bool, isText);
    const std::optional<QString> text = StringEncoding::decodePlainText(bytes);
    QCOMPARE(text.has_value(), isText);
    if (isText)
        QTEST(*text, "text");

    // Files read the same way, and a missing file is no text.
    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("note.txt"));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(bytes);
    file.close();
    QCOMPARE(StringEncoding::readPlainTextFile(path), text);
    QVERIFY(!StringEncoding::readPlainTextFile(folder.filePath(QStringLiteral("missing.txt"))));
}

void TestFileFormats::writesNewFile_data()
{
    QTest::addColumn<int>("durability");
    QTest::newRow("durable") << int(FileWriter::Durable);
    QTest::newRow("cached") << int(FileWriter::Cached);
}

void TestFileFormats::writesNewFile()
{
    QFETCH(int, durability);
    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("Note \u00e9.txt"));
    const QByteArray data("first line\nsecond line\n");
    QString error;
    QVERIFY2(FileWriter::writeAtomically(path, data, FileWriter::Durability(durability), &error), qPrintable(error));
    QCOMPARE(readAll(path), data);
    QCOMPARE(entriesOf(folder.path()), QStringList{QStringLiteral("Note \u00e9.txt")});

    // An empty file is a file too.
    const QString empty = folder.filePath(QStringLiteral("empty"));
    QVERIFY(FileWriter::writeAtomically(empty, QByteArray(), FileWriter::Durability(durability)));
    QVERIFY(QFileInfo(empty).isFile());
    QCOMPARE(QFileInfo(empty).size(), 0);
}

void TestFileFormats::replacesExistingFile()
{
    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("prefs.plist"));
    QVERIFY(FileWriter::writeAtomically(path, QByteArray(10000, 'a'), FileWriter::Durable));
    // Shorter content must not leave the old tail behind.
    QVERIFY(FileWriter::writeAtomically(path, QByteArray("new"), FileWriter::Durable));
    QCOMPARE(readAll(path), QByteArray("new"));
    QVERIFY(FileWriter::writeAtomically(path, QByteArray("newer"), FileWriter::Cached));
    QCOMPARE(readAll(path), QByteArray("newer"));
    QCOMPARE(entriesOf(folder.path()), QStringList{QStringLiteral("prefs.plist")});

    // A link to the file stays a link; the file it points to is replaced.
    const QString link = folder.filePath(QStringLiteral("link.plist"));
    QVERIFY(QFile::link(path, link));
    QVERIFY(FileWriter::writeAtomically(link, QByteArray("through the link"), FileWriter::Durable));
    QVERIFY(QFileInfo(link).isSymLink());
    QCOMPARE(readAll(path), QByteArray("through the link"));
    QVERIFY(QFile::remove(link));

    // A private file stays private when it is replaced.
    QVERIFY(QFile::setPermissions(path, QFileDevice::ReadOwner | QFileDevice::WriteOwner));
    QVERIFY(FileWriter::writeAtomically(path, QByteArray("private"), FileWriter::Durable));
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
    const QString existing = folder.filePath(QStringLiteral("existing.txt"));
    const QString fresh = folder.filePath(QStringLiteral("fresh.txt"));
    QVERIFY(FileWriter::writeAtomically(existing, QByteArray("old content"), FileWriter::Durable));

    QString freshError;
    QString replaceError;
    bool freshWritten = true;
    bool replaced = true;
    {
        FileSizeLimit limit(4096);
        if (!limit.isActive())
            QSKIP("the file-size limit cannot be lowered here");
        freshWritten = FileWriter::writeAtomically(fresh, QByteArray(64 * 1024, 'x'), FileWriter::Durable, &freshError);
        replaced =
            FileWriter::writeAtomically(existing, QByteArray(64 * 1024, 'y'), FileWriter::Durable, &replaceError);
    }
    QVERIFY(!freshWritten);
    QVERIFY(!freshError.isEmpty());
    QVERIFY(!replaced);
    QVERIFY(!replaceError.isEmpty());
    QCOMPARE(readAll(existing), QByteArray("old content"));
    QCOMPARE(entriesOf(folder.path()), QStringList{QStringLiteral("existing.txt")});
}

void TestFileFormats::refusesMissingFolderAndDirectory()
{
    QTemporaryDir folder;
    QString error;
    const QString inMissing = folder.filePath(QStringLiteral("missing/file.txt"));
    QVERIFY(!FileWriter::writeAtomically(inMissing, QByteArray("x"), FileWriter::Durable, &error));
    QVERIFY2(error.contains(QStringLiteral("No such file")), qPrintable(error));
    QVERIFY(entriesOf(folder.path()).isEmpty());

    const QString directory = folder.filePath(QStringLiteral("Notes"));
    QVERIFY(QDir().mkdir(directory));
    QFile inside(directory + QStringLiteral("/keep.txt"));
    QVERIFY(inside.open(QIODevice::WriteOnly));
    inside.close();
    error.clear();
    QVERIFY(!FileWriter::writeAtomically(directory, QByteArray("x"), FileWriter::Durable, &error));
    QVERIFY(!error.isEmpty());
    QVERIFY(QFileInfo(directory).isDir());
    QCOMPARE(entriesOf(folder.path()), QStringList{QStringLiteral("Notes")});
    QCOMPARE(entriesOf(directory), QStringList{QStringLiteral("keep.txt")});
}

QTEST_GUILESS_MAIN(TestFileFormats)
#include "tst_fileformats.moc"
