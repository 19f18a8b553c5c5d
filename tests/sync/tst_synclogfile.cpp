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

enum Damage { Corrupt, NoPermission, FolderInItsPlace };

QByteArray archivedLog(const QString &line)
{
    LogManager log;
    log.appendLog(line);
    return log.archive();
}

QByteArray contents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// The test program run as one of several processes appending at once: `count` logs whose text is
// "<tag>-0" .. "<tag>-<count-1>".
int appendLogs(const QString &tag, int count)
{
    for (int i = 0; i < count; ++i) {
        QString error;
        if (!SyncLogFile::append(archivedLog(tag + '-' + QString::number(i)), &error)) {
            qCritical("%s", qPrintable(error));
            return 1;
        }
    }
    return 0;
}

} // namespace

class TestSyncLogFile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void appendsAndReadsBack()
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

    void processesAppendingAtOnceKeepEveryEntry()
    {
        TemporaryHome home;
        constexpr int kProcesses = 4;
        constexpr int kEach = 15;
        std::vector<std::unique_ptr<QProcess>> processes;
        for (int p = 0; p < kProcesses; ++p) {
            processes.push_back(std::make_unique<QProcess>());
            processes.back()->start(QCoreApplication::applicationFilePath(),
                                    {"--append", QString("p%1").arg(p), QString::number(kEach)});
        }
        for (const auto &process : processes) {
            QVERIFY(process->waitForFinished(120000));
            QVERIFY2(process->exitCode() == 0, process->readAllStandardError().constData());
        }

        const std::optional<QList<QByteArray>> entries = SyncLogFile::readEntries();
        QVERIFY(entries);
        QStringList texts;
        for (const QByteArray &entry : *entries) {
            const auto log = LogManager::fromArchive(entry);
            texts.append(log ? (*log)->logAttributedString().string() : QString("(undecodable)"));
        }
        QCOMPARE(texts.size(), kProcesses * kEach);
        // Each process's entries are all there, in the order it appended them.
        for (int p = 0; p < kProcesses; ++p) {
            QStringList expected;
            for (int i = 0; i < kEach; ++i)
                expected.append(QString("p%1-%2\r").arg(p).arg(i));
            QCOMPARE(texts.filter(QString("p%1-").arg(p)), expected);
        }
    }

    // A file that is no sync log is kept aside and a new one begun; one that cannot be read is never
    // written over.
    void damagedFileIsNeverLost_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<int>("damage");
        const QByteArray log = *PropertyList::toXml(QVariantList{archivedLog("kept")});
        QTest::newRow("not a property list") << QByteArray("SyncLog, but not as a list\n") << int(Corrupt);
        QTest::newRow("a dictionary") << *PropertyList::toXml(QVariantMap{{"log", QByteArray("x")}}) << int(Corrupt);
        QTest::newRow("empty file") << QByteArray() << int(Corrupt);
        QTest::newRow("no permission") << log << int(NoPermission);
        // Stands in for a file that cannot be read where permissions do not stop root.
        QTest::newRow("a folder in its place") << QByteArray() << int(FolderInItsPlace);
    }

    void damagedFileIsNeverLost()
    {
        TemporaryHome home;
        QFETCH(QByteArray, bytes);
        QFETCH(int, damage);
        const QFileInfo file(SyncLogFile::path());
        QVERIFY(QDir().mkpath(damage == FolderInItsPlace ? file.filePath() : file.path()));
        if (damage != FolderInItsPlace) {
            QFile out(file.filePath());
            QVERIFY(out.open(QIODevice::WriteOnly) && out.write(bytes) == bytes.size());
        }
        if (damage == NoPermission) {
            QVERIFY(QFile::setPermissions(file.filePath(), QFileDevice::Permissions()));
            if (::access(QFile::encodeName(file.filePath()).constData(), R_OK) == 0)
                QSKIP("the file stays readable (running as root)");
        }
        const QString reason = damage == Corrupt ? "is not a sync log" : "cannot read";
        QString error;
        QVERIFY(!SyncLogFile::readEntries(&error));
        QVERIFY2(error.contains(reason), qPrintable(error));

        const QByteArray entry = archivedLog("after");
        if (damage == Corrupt)
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression("SyncLog.plist.* kept as "));
        QCOMPARE(SyncLogFile::append(entry, &error), damage == Corrupt);
        const QStringList aside = file.dir().entryList({file.fileName() + ".corrupt-*"}, QDir::AllEntries);
        if (damage == Corrupt) {
            QCOMPARE(SyncLogFile::readEntries(), QList<QByteArray>{entry});
            QCOMPARE(aside.size(), 1);
            QCOMPARE(contents(file.dir().filePath(aside.first())), bytes);
            return;
        }
        QVERIFY2(error.contains(reason), qPrintable(error));
        QVERIFY(aside.isEmpty());
        QCOMPARE(QFileInfo(file.filePath()).isDir(), damage == FolderInItsPlace);
        if (damage == NoPermission) {
            QFile::setPermissions(file.filePath(), QFileDevice::ReadOwner | QFileDevice::WriteOwner);
            QCOMPARE(contents(file.filePath()), bytes);
        }
    }
};

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList arguments = app.arguments();
    if (arguments.value(1) == "--append")
        return appendLogs(arguments.value(2), arguments.value(3).toInt());
    TestSyncLogFile test;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&test, argc, argv);
}

#include "tst_synclogfile.moc"
