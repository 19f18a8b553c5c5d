#include "FatVolume.h"
#include "IPodFixture.h"

#include "core/VolumeRoot_p.h"

#include <QDir>
#include <QProcess>
#include <QtTest>

#include <sys/stat.h>

// Files below a volume's open root: reached one folder at a time, never through a symbolic link, and
// never on the computer's own disk once the volume is gone.
class VolumeRootTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void foldersAreMadeOnlyBelowTheRoot_data();
    void foldersAreMadeOnlyBelowTheRoot();
    void readsOnlyRegularFilesOfBoundedSize_data();
    void readsOnlyRegularFilesOfBoundedSize();
    void readRangeStaysInsideTheFile();
    void writesNeverThroughALink();
    void replacingFollowsThePolicy();
    void removesOnlyFilesAndEmptyFolders();
    void entriesAndListingsDoNotFollowLinks();
    void aVanishedVolumeIsNeverWrittenBeside();

private:
    QString path(const QString &relative) const { return m_root->path() + QLatin1Char('/') + relative; }

    std::unique_ptr<QTemporaryDir> m_root;
    std::unique_ptr<QTemporaryDir> m_outside;
    std::unique_ptr<VolumeRoot> m_volume;
};

void VolumeRootTest::init()
{
    m_root = std::make_unique<QTemporaryDir>();
    m_outside = std::make_unique<QTemporaryDir>();
    IPodFixture::writeFile(m_outside->path(), QStringLiteral("secret"), "outside the volume");
    QVERIFY(QFile::link(m_outside->path(), path(QStringLiteral("away"))));
    QVERIFY(QFile::link(m_outside->path() + QStringLiteral("/secret"), path(QStringLiteral("secret-link"))));
    IPodFixture::writeFile(m_root->path(), QStringLiteral("file"), "a file");
    m_volume = VolumeRoot::open(m_root->path());
    QVERIFY(m_volume);
}

void VolumeRootTest::foldersAreMadeOnlyBelowTheRoot_data()
{
    QTest::addColumn<QByteArray>("folder");
    QTest::addColumn<QString>("error"); // empty when it can be made
    QTest::newRow("nested") << QByteArray("a/b/c") << QString();
    QTest::newRow("empty components") << QByteArray("/a//b/") << QString();
    QTest::newRow("climbing") << QByteArray("a/../../x") << QStringLiteral("climbs out");
    QTest::newRow("a dot") << QByteArray("a/./b") << QStringLiteral("climbs out");
    QTest::newRow("through a link") << QByteArray("away/new") << QStringLiteral("away is a symbolic link");
    QTest::newRow("a link at the end") << QByteArray("away") << QStringLiteral("away is a symbolic link");
    QTest::newRow("a file on the way") << QByteArray("file/new") << QStringLiteral("file is not a folder");
}

void VolumeRootTest::foldersAreMadeOnlyBelowTheRoot()
{
    QFETCH(QByteArray, folder);
    QFETCH(QString, error);
    QString reason;
    const UniqueFd fd = m_volume->openFolder(folder, true, &reason);
    QCOMPARE(fd.isValid(), error.isEmpty());
    QVERIFY2(reason.contains(error), qPrintable(reason));
    QCOMPARE(QDir(m_outside->path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
             QStringList{QStringLiteral("secret")});
    if (error.isEmpty())
        QVERIFY(QFileInfo(path(QString::fromUtf8(folder))).isDir());
}

void VolumeRootTest::readsOnlyRegularFilesOfBoundedSize_data()
{
    QTest::addColumn<QByteArray>("file");
    QTest::addColumn<qint64>("limit");
    QTest::addColumn<QString>("error");
    QTest::newRow("a file") << QByteArray("file") << qint64(100) << QString();
    QTest::newRow("a file of exactly the limit") << QByteArray("file") << qint64(6) << QString();
    QTest::newRow("a file over the limit") << QByteArray("file") << qint64(5) << QStringLiteral("larger than 5 bytes");
    QTest::newRow("a pipe") << QByteArray("pipe") << qint64(100) << QStringLiteral("not a regular file");
    QTest::newRow("a link to a device") << QByteArray("zero") << qint64(100) << QStringLiteral("symbolic link");
    QTest::newRow("a link to a file outside")
        << QByteArray("secret-link") << qint64(100) << QStringLiteral("symbolic link");
    QTest::newRow("through a folder link")
        << QByteArray("away/secret") << qint64(100) << QStringLiteral("symbolic link");
    QTest::newRow("a climbing path") << QByteArray("x/../file") << qint64(100) << QStringLiteral("climbs out");
}

void VolumeRootTest::readsOnlyRegularFilesOfBoundedSize()
{
    QFETCH(QByteArray, file);
    QFETCH(qint64, limit);
    QFETCH(QString, error);
    QCOMPARE(::mkfifo(QFile::encodeName(path(QStringLiteral("pipe"))).constData(), 0644), 0);
    QVERIFY(QFile::link(QStringLiteral("/dev/zero"), path(QStringLiteral("zero"))));
    QString reason;
    const std::optional<QByteArray> bytes = m_volume->readFile(file, limit, &reason);
    QCOMPARE(bytes.has_value(), error.isEmpty());
    QVERIFY2(reason.contains(error), qPrintable(reason));
    if (bytes)
        QCOMPARE(*bytes, QByteArray("a file"));
}

void VolumeRootTest::readRangeStaysInsideTheFile()
{
    QCOMPARE(m_volume->readRange("file", 2, 4), QByteArray("file"));
    QVERIFY(!m_volume->readRange("file", 2, 5));
    QVERIFY(!m_volume->readRange("file", -1, 2));
    QVERIFY(!m_volume->readRange("secret-link", 0, 2));
}

void VolumeRootTest::writesNeverThroughALink()
{
    QString error;
    QVERIFY(!m_volume->writeFile("secret-link", "replaced", FileWriter::Cached, {}, &error));
    QVERIFY2(error.contains(QStringLiteral("symbolic link")), qPrintable(error));
    QVERIFY(!m_volume->writeFile("away/new.txt", "new", FileWriter::Cached, {}, &error));
    QVERIFY(!m_volume->writeFile("away/secret", "replaced", FileWriter::Durable, {}, &error));
    QCOMPARE(IPodFixture::readFile(m_outside->path() + QStringLiteral("/secret")), QByteArray("outside the volume"));
    QCOMPARE(QDir(m_outside->path()).entryList(QDir::Files), QStringList{QStringLiteral("secret")});
    QVERIFY(QFileInfo(path(QStringLiteral("secret-link"))).isSymLink());
}

void VolumeRootTest::replacingFollowsThePolicy()
{
    qint64 seenSize = -1;
    const auto refuse = [&seenSize](qint64 size, QString *reason) {
        seenSize = size;
        *reason = QStringLiteral("kept by the policy");
        return false;
    };
    QString error;
    QVERIFY(!m_volume->writeFile("file", "new", FileWriter::Cached, refuse, &error));
    QCOMPARE(seenSize, 6);
    QVERIFY(error.contains(QStringLiteral("kept by the policy")));
    QCOMPARE(IPodFixture::readFile(path(QStringLiteral("file"))), QByteArray("a file"));
    // A new file asks no policy; an existing one is replaced whole when the policy agrees.
    QVERIFY(m_volume->writeFile("Notes/new.txt", "new", FileWriter::Cached, refuse));
    QVERIFY(m_volume->writeFile("file", "replaced", FileWriter::Durable, [](qint64, QString *) { return true; }));
    QCOMPARE(IPodFixture::readFile(path(QStringLiteral("file"))), QByteArray("replaced"));
    // No temporary file is left beside them.
    QCOMPARE(QDir(m_root->path()).entryList({QStringLiteral(".tvr-*")}, QDir::Files | QDir::Hidden), QStringList());
}

void VolumeRootTest::removesOnlyFilesAndEmptyFolders()
{
    IPodFixture::writeFile(m_root->path(), QStringLiteral("full/inside"), "x");
    QVERIFY(QDir().mkpath(path(QStringLiteral("empty"))));
    QVERIFY(!m_volume->removeFile("secret-link"));
    QVERIFY(!m_volume->removeFile("away/secret"));
    QVERIFY(!m_volume->removeFile("empty"));
    QVERIFY(!m_volume->removeEmptyFolder("full"));
    QVERIFY(!m_volume->removeEmptyFolder("away"));
    QVERIFY(m_volume->removeEmptyFolder("empty"));
    QVERIFY(m_volume->removeFile("full/inside"));
    QVERIFY(m_volume->removeEmptyFolder("full"));
    QVERIFY(QFileInfo(path(QStringLiteral("away"))).isSymLink());
    QVERIFY(QFileInfo::exists(m_outside->path() + QStringLiteral("/secret")));
}

void VolumeRootTest::entriesAndListingsDoNotFollowLinks()
{
    QCOMPARE(m_volume->entry("away").kind, VolumeRoot::Kind::Link);
    QCOMPARE(m_volume->entry("away/secret").kind, VolumeRoot::Kind::Link);
    QCOMPARE(m_volume->entry("file").kind, VolumeRoot::Kind::File);
    QCOMPARE(m_volume->entry("file").size, 6);
    QCOMPARE(m_volume->entry("missing/file").kind, VolumeRoot::Kind::Missing);
    QVERIFY(m_volume->list("away").isEmpty());
    QCOMPARE(m_volume->list("").size(), 3);
    QCOMPARE(m_volume->relativePath(path(QStringLiteral("a/../b"))), QByteArray("b"));
    QVERIFY(!m_volume->relativePath(m_outside->path()));
    QVERIFY(!m_volume->relativePath(path(QStringLiteral("../x"))));
}

// The volume is unmounted while it is open (as when the cable is pulled): what is written next never
// lands in the empty mount point, which is the computer's own disk.
void VolumeRootTest::aVanishedVolumeIsNeverWrittenBeside()
{
    FatVolume volume(QStringLiteral("GONE"));
    if (!volume.isMounted())
        QSKIP(qPrintable(volume.skipReason()));
    const std::unique_ptr<VolumeRoot> root = VolumeRoot::open(volume.mountPoint());
    QVERIFY(root);
    QVERIFY(root->writeFile("Notes/first.txt", "before", FileWriter::Cached, {}));
    QProcess unmount;
    unmount.start(QStringLiteral("fusermount"), {QStringLiteral("-uz"), volume.mountPoint()});
    QVERIFY(unmount.waitForFinished() && unmount.exitCode() == 0);
    QVERIFY(!volume.isListedInMountTable());

    root->writeFile("Notes/_pages/second.txt", "after", FileWriter::Cached, {});
    root->openFolder("Contacts", true);
    QCOMPARE(QDir(volume.mountPoint()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden),
             QStringList());
}

QTEST_GUILESS_MAIN(VolumeRootTest)
#include "tst_volumeroot.moc"
