#include "core/PropertyList.h"
#include "sync/LogManager.h"
#include "sync/SyncLogFile.h"

#include "TemporaryHome.h"

#include <QCoreApplication>
#include <QDir>
#include <QProcess>
#include <QRegularExpression>
#include <QTest>

#include <unistd.h>

namespace {

QByteArray archivedLog(const QString &line)
{
    LogManager log;
    log.appendLog(line);
    return log.archive();
}

QString textOf(const QByteArray &entry)
{
    const auto log = LogManager::fromArchive(entry);
    return log ? log->logAttributedString().string() : QString("(undecodable)");
}

QByteArray contents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void writeFile(const QString &path, const QByteArray &bytes)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(bytes);
}

} // namespace

class TestSyncLogFile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void appendsAndReadsBack();
    void processesAppendingAtOnceKeepEveryEntry();
    void corruptFileIsKeptAside_data();
    void corruptFileIsKeptAside();
    void unreadableFileIsNotOverwritten_data();
    void unreadableFileIsNotOverwritten();
};

void TestSyncLogFile::appendsAndReadsBack()
{
    TemporaryHome home;
    // Every missing folder above the file is made.
    qputenv("XDG_DATA_HOME", QFile::encodeName(home.path() + "/not/there/yet"));
    QCOMPARE(SyncLogFile::path(), home.path() + "/not/there/yet/Tivaro/SyncLog.plist");
    QString error;
    const std::optional<QList<QByteArray>> none = SyncLogFile::readEntries(&error);
    QVERIFY2(none && none->isEmpty(), qPrintable(error));

    const QList<QByteArray> written{archivedLog("first"), archivedLog("second"), archivedLog("third")};
    for (const QByteArray &entry : written)
        QVERIFY2(SyncLogFile::append(entry, &error), qPrintable(error));
    QCOMPARE(SyncLogFile::readEntries(&error), written);
    // The file is a plain property-list array of data, oldest first.
    QCOMPARE(PropertyList::readFile(SyncLogFile::path()), QVariant(QVariantList(written.cbegin(), written.cend())));

    // Elements that are not data are left out; a list that is not an array is no sync log.
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("element 1 is no archived log"));
    const QVariantList mixed{written.first(), "text", written.last()};
    QCOMPARE(SyncLogFile::entriesFromData(*PropertyList::toXml(mixed)),
             (QList<QByteArray>{written.first(), written.last()}));
    QVERIFY(!SyncLogFile::entriesFromData(*PropertyList::toXml(QVariantMap{{"a", written.first()}}), &error));
    QCOMPARE(error, QString("a property list, but not an array"));
}

void TestSyncLogFile::processesAppendingAtOnceKeepEveryEntry()
{
    TemporaryHome home;
    const QString helper = QCoreApplication::applicationDirPath() + "/tivaro_sync_synclog_helper";
    QVERIFY2(QFileInfo(helper).isExecutable(), qPrintable(helper));
    constexpr int kProcesses = 4;
    constexpr int kEach = 15;
    std::vector<std::unique_ptr<QProcess>> processes;
    for (int p = 0; p < kProcesses; ++p) {
        processes.push_back(std::make_unique<QProcess>());
        processes.back()->start(helper, {QString("p%1").arg(p), QString::number(kEach)});
    }
    for (const auto &process : processes) {
        QVERIFY(process->waitForFinished(120000));
        QVERIFY2(process->exitCode() == 0, process->readAllStandardError().constData());
    }

    const std::optional<QList<QByteArray>> entries = SyncLogFile::readEntries();
    QVERIFY(entries);
    QStringList texts;
    for (const QByteArray &entry : *entries)
        texts.append(textOf(entry));
    QCOMPARE(texts.size(), kProcesses * kEach);
    // Each process's entries are all there, in the order it appended them.
    for (int p = 0; p < kProcesses; ++p) {
        const QStringList own = texts.filter(QString("p%1-").arg(p));
        QStringList expected;
        for (int i = 0; i < kEach; ++i)
            expected.append(QString("p%1-%2\r").arg(p).arg(i));
        QCOMPARE(own, expected);
    }
}

void TestSyncLogFile::corruptFileIsKeptAside_data()
{
    QTest::addColumn<QByteArray>("bytes");

    QTest::newRow("not a property list") << QByteArray("SyncLog, but not as a list\n");
    QTest::newRow("a dictionary") << *PropertyList::toXml(QVariantMap{{"log", QByteArray("x")}});
    QTest::newRow("empty file") << QByteArray();
}

void TestSyncLogFile::corruptFileIsKeptAside()
{
    TemporaryHome home;
    QFETCH(QByteArray, bytes);
    writeFile(SyncLogFile::path(), bytes);
    QString error;
    QVERIFY(!SyncLogFile::readEntries(&error));
    QVERIFY2(error.contains("is not a sync log"), qPrintable(error));

    const QByteArray entry = archivedLog("after");
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("SyncLog.plist.* kept as "));
    QVERIFY2(SyncLogFile::append(entry, &error), qPrintable(error));
    QCOMPARE(SyncLogFile::readEntries(), QList<QByteArray>{entry});
    const QFileInfo file(SyncLogFile::path());
    const QStringList aside = file.dir().entryList({file.fileName() + ".corrupt-*"}, QDir::Files);
    QCOMPARE(aside.size(), 1);
    QCOMPARE(contents(file.dir().filePath(aside.first())), bytes);
}

void TestSyncLogFile::unreadableFileIsNotOverwritten_data()
{
    QTest::addColumn<bool>("directory");

    QTest::newRow("no permission") << false;
    // Stands in for a file that cannot be read where permissions do not stop root.
    QTest::newRow("a folder in its place") << true;
}

void TestSyncLogFile::unreadableFileIsNotOverwritten()
{
    TemporaryHome home;
    QFETCH(bool, directory);
    const QString path = SyncLogFile::path();
    const QByteArray before = *PropertyList::toXml(QVariantList{archivedLog("kept")});
    if (directory) {
        QVERIFY(QDir().mkpath(path));
    } else {
        writeFile(path, before);
        QVERIFY(QFile::setPermissions(path, QFileDevice::Permissions()));
        if (::access(QFile::encodeName(path).constData(), R_OK) == 0)
            QSKIP("the file stays readable (running as root)");
    }
    QString error;
    QVERIFY(!SyncLogFile::append(archivedLog("lost"), &error));
    QVERIFY2(error.contains("cannot read"), qPrintable(error));
    QVERIFY(!SyncLogFile::readEntries(&error));
    QVERIFY2(error.contains("cannot read"), qPrintable(error));

    const QFileInfo file(path);
    QCOMPARE(file.dir().entryList({file.fileName() + ".corrupt-*"}, QDir::AllEntries).size(), 0);
    if (directory) {
        QVERIFY(file.isDir());
    } else {
        QFile::setPermissions(path, QFileDevice::ReadOwner | QFileDevice::WriteOwner);
        QCOMPARE(contents(path), before);
    }
}

QTEST_GUILESS_MAIN(TestSyncLogFile)
#include "tst_synclogfile.moc"
