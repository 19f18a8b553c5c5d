#include "core/FileWriter_p.h"
#include "core/Paths.h"
#include "core/PropertyList.h"
#include "core/UserDefaults.h"

#include "TemporaryHome.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTest>

namespace {

const QString kDomain = QStringLiteral("org.tivaro.Test");

void writePreferences(const QString &domain, const QVariantMap &values)
{
    const QString path = Paths::preferencesFileForDomain(domain);
    QDir().mkpath(QFileInfo(path).absolutePath());
    QVERIFY(PropertyList::writeFile(path, values));
}

QVariantMap readPreferences(const QString &domain = kDomain)
{
    return PropertyList::readFile(Paths::preferencesFileForDomain(domain)).value_or(QVariant()).toMap();
}

QString helperPath()
{
    return QCoreApplication::applicationDirPath() + QStringLiteral("/tivaro_core_userdefaults_helper");
}

// Runs the helper, another process using the same home.
bool runHelper(const QStringList &arguments)
{
    QProcess process;
    process.start(helperPath(), arguments);
    const bool ok =
        process.waitForFinished(60000) && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
    if (!ok)
        qWarning() << "helper failed:" << process.errorString() << process.readAllStandardError();
    return ok;
}

} // namespace

class TestUserDefaults : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void lookupOrder_data();
    void lookupOrder();
    void pendingChangesBeforeSynchronize();
    void synchronizeMergesOtherProcessChanges();
    void concurrentProcessesKeepEveryKey();
    void corruptFileIsKeptAside_data();
    void corruptFileIsKeptAside();
    void failedSynchronizeKeepsChanges_data();
    void failedSynchronizeKeepsChanges();
    void boolForKey_data();
    void boolForKey();
    void typedGetters();
};

void TestUserDefaults::initTestCase()
{
    QVERIFY2(QFileInfo(helperPath()).isExecutable(), qPrintable(helperPath()));
}

void TestUserDefaults::lookupOrder_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<bool>("removeOwn");
    QTest::addColumn<QVariant>("expected");

    QTest::newRow("own only") << QStringLiteral("A") << false << QVariant(QStringLiteral("own"));
    QTest::newRow("own before suites") << QStringLiteral("B") << false << QVariant(QStringLiteral("own"));
    QTest::newRow("first suite before second") << QStringLiteral("C") << false << QVariant(QStringLiteral("suite1"));
    QTest::newRow("second suite") << QStringLiteral("D") << false << QVariant(QStringLiteral("suite2"));
    QTest::newRow("own false is found") << QStringLiteral("E") << false << QVariant(false);
    QTest::newRow("nowhere") << QStringLiteral("Z") << false << QVariant();
    // Removing changes only the own domain, so a suite's value shows, before synchronize() as after.
    QTest::newRow("own removed") << QStringLiteral("B") << true << QVariant(QStringLiteral("suite1"));
    QTest::newRow("own only, removed") << QStringLiteral("A") << true << QVariant();
}

void TestUserDefaults::lookupOrder()
{
    TemporaryHome home;
    const QString own = QStringLiteral("own");
    const QString suite1 = QStringLiteral("suite1");
    const QString suite2 = QStringLiteral("suite2");
    writePreferences(kDomain,
                     QVariantMap{{QStringLiteral("A"), own}, {QStringLiteral("B"), own}, {QStringLiteral("E"), false}});
    writePreferences(QStringLiteral("org.tivaro.Suite1"),
                     QVariantMap{{QStringLiteral("B"), suite1}, {QStringLiteral("C"), suite1}});
    writePreferences(QStringLiteral("org.tivaro.Suite2"), QVariantMap{{QStringLiteral("B"), suite2},
                                                                      {QStringLiteral("C"), suite2},
                                                                      {QStringLiteral("D"), suite2},
                                                                      {QStringLiteral("E"), true}});
    UserDefaults defaults(kDomain);
    defaults.addSuiteNamed(QStringLiteral("org.tivaro.Suite1"));
    defaults.addSuiteNamed(QStringLiteral("org.tivaro.Suite2"));
    // Adding again does not move a suite to the end.
    defaults.addSuiteNamed(QStringLiteral("org.tivaro.Suite1"));

    QFETCH(QString, key);
    QFETCH(bool, removeOwn);
    if (removeOwn)
        defaults.removeObjectForKey(key);
    QTEST(defaults.objectForKey(key), "expected");
    QVERIFY(defaults.synchronize());
    QTEST(defaults.objectForKey(key), "expected");
    if (removeOwn)
        QVERIFY(!readPreferences().contains(key));
    // Suites are read, never written.
    QVERIFY(!defaults.persistentDomain().contains(QStringLiteral("C")));
}

void TestUserDefaults::pendingChangesBeforeSynchronize()
{
    TemporaryHome home;
    const QVariantMap before{{QStringLiteral("Old"), qint64(1)}, {QStringLiteral("Gone"), qint64(2)}};
    writePreferences(kDomain, before);
    UserDefaults defaults(kDomain);
    defaults.setObject(QStringLiteral("value"), QStringLiteral("New"));
    defaults.removeObjectForKey(QStringLiteral("Gone"));
    defaults.setObject(QStringLiteral("soon unset"), QStringLiteral("Unset"));
    defaults.setObject(QVariant(), QStringLiteral("Unset"));

    const QVariantMap expected{{QStringLiteral("Old"), qint64(1)}, {QStringLiteral("New"), QStringLiteral("value")}};
    QCOMPARE(defaults.persistentDomain(), expected);
    QVERIFY(!defaults.objectForKey(QStringLiteral("Gone")).isValid());
    // Nothing reaches the file before synchronize().
    QCOMPARE(readPreferences(), before);
    QString error;
    QVERIFY2(defaults.synchronize(&error), qPrintable(error));
    QCOMPARE(readPreferences(), expected);
    QCOMPARE(UserDefaults(kDomain).persistentDomain(), expected);

    // Setting after removing (and the reverse) keeps the last word.
    defaults.removeObjectForKey(QStringLiteral("Old"));
    defaults.setObject(3, QStringLiteral("Old"));
    defaults.setObject(4, QStringLiteral("New"));
    defaults.removeObjectForKey(QStringLiteral("New"));
    QVERIFY(defaults.synchronize());
    QCOMPARE(readPreferences(), (QVariantMap{{QStringLiteral("Old"), qint64(3)}}));
}

void TestUserDefaults::synchronizeMergesOtherProcessChanges()
{
    TemporaryHome home;
    const QString suite = QStringLiteral("org.tivaro.Shared");
    writePreferences(kDomain, QVariantMap{{QStringLiteral("Shared"), QStringLiteral("old")}});
    writePreferences(suite, QVariantMap{{QStringLiteral("Mode"), QStringLiteral("old")}});
    UserDefaults defaults(kDomain);
    defaults.addSuiteNamed(suite);
    defaults.setObject(QStringLiteral("mine"), QStringLiteral("Mine"));

    const QString set = QStringLiteral("set");
    QVERIFY(runHelper({kDomain, set, QStringLiteral("Shared"), QStringLiteral("theirs")}));
    QVERIFY(runHelper({kDomain, set, QStringLiteral("Theirs"), QStringLiteral("\u00e9t\u00e9")}));
    QVERIFY(runHelper({suite, set, QStringLiteral("Mode"), QStringLiteral("new")}));
    // Until synchronize() the object keeps what it read.
    QCOMPARE(defaults.stringForKey(QStringLiteral("Shared")), QStringLiteral("old"));

    QString error;
    QVERIFY2(defaults.synchronize(&error), qPrintable(error));
    // Our stale copy of "Shared" must not overwrite what the other process wrote.
    const QVariantMap expected{{QStringLiteral("Shared"), QStringLiteral("theirs")},
                               {QStringLiteral("Theirs"), QStringLiteral("\u00e9t\u00e9")},
                               {QStringLiteral("Mine"), QStringLiteral("mine")}};
    QCOMPARE(readPreferences(), expected);
    QCOMPARE(defaults.persistentDomain(), expected);
    QCOMPARE(defaults.stringForKey(QStringLiteral("Mode")), QStringLiteral("new"));
}

void TestUserDefaults::concurrentProcessesKeepEveryKey()
{
    TemporaryHome home;
    constexpr int kCount = 150;
    QProcess other;
    other.start(helperPath(), {kDomain, QStringLiteral("count"), QStringLiteral("helper"), QString::number(kCount)});
    QVERIFY(other.waitForStarted());

    UserDefaults defaults(kDomain);
    for (int i = 0; i < kCount; ++i) {
        defaults.setObject(qint64(i), QStringLiteral("test%1").arg(i));
        QString error;
        QVERIFY2(defaults.synchronize(&error), qPrintable(error));
    }
    QVERIFY(other.waitForFinished(120000));
    QCOMPARE(other.exitCode(), 0);

    // Each synchronize() merged under the lock, so no writer lost the other's keys.
    const QVariantMap values = readPreferences();
    QCOMPARE(values.size(), 2 * kCount);
    for (int i = 0; i < kCount; ++i) {
        QCOMPARE(values.value(QStringLiteral("test%1").arg(i)), QVariant(qint64(i)));
        QCOMPARE(values.value(QStringLiteral("helper%1").arg(i)), QVariant(qint64(i)));
    }
    QVERIFY(!QFileInfo::exists(Paths::preferencesFileForDomain(kDomain) + QStringLiteral(".lock")));
}

void TestUserDefaults::corruptFileIsKeptAside_data()
{
    QTest::addColumn<QByteArray>("contents");

    QTest::newRow("garbage") << QByteArray("\x01\x02not a plist\xff", 15);
    QTest::newRow("truncated XML") << QByteArray("<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>A</key>");
    QTest::newRow("array instead of dictionary")
        << PropertyList::toXml(QVariantList{QStringLiteral("a"), QStringLiteral("b")}).value();
}

void TestUserDefaults::corruptFileIsKeptAside()
{
    QFETCH(QByteArray, contents);
    TemporaryHome home;
    const QFileInfo path(Paths::preferencesFileForDomain(kDomain));
    const QDir folder = path.absoluteDir();
    QVERIFY(folder.mkpath(QStringLiteral(".")));
    QVERIFY(FileWriter::writeAtomically(path.filePath(), contents, FileWriter::Cached));

    UserDefaults defaults(kDomain);
    QVERIFY(defaults.persistentDomain().isEmpty());
    // Only reading leaves the file alone.
    QVERIFY(defaults.synchronize());
    QCOMPARE(folder.entryList(QDir::Files), QStringList{path.fileName()});

    defaults.setObject(true, QStringLiteral("Enabled"));
    QString error;
    QVERIFY2(defaults.synchronize(&error), qPrintable(error));
    QCOMPARE(readPreferences(), (QVariantMap{{QStringLiteral("Enabled"), true}}));
    const QStringList aside = folder.entryList({path.fileName() + QStringLiteral(".corrupt-*")}, QDir::Files);
    QCOMPARE(aside.size(), 1);
    QFile kept(folder.filePath(aside.constFirst()));
    QVERIFY(kept.open(QIODevice::ReadOnly));
    QCOMPARE(kept.readAll(), contents);
}

void TestUserDefaults::failedSynchronizeKeepsChanges_data()
{
    QTest::addColumn<bool>("folderInTheWay");
    QTest::addColumn<QString>("errorContains");

    // Even root cannot read a folder as a file; an unreadable file is no evidence of corruption.
    QTest::newRow("folder at the file's path") << true << QStringLiteral("cannot read");
    QTest::newRow("file at the folder's path") << false << QString();
}

void TestUserDefaults::failedSynchronizeKeepsChanges()
{
    QFETCH(bool, folderInTheWay);
    QFETCH(QString, errorContains);
    TemporaryHome home;
    const QString path = Paths::preferencesFileForDomain(kDomain);
    const QString blocker = folderInTheWay ? path : Paths::preferencesFolder();
    if (folderInTheWay) {
        QVERIFY(QDir().mkpath(path));
    } else {
        QVERIFY(QDir().mkpath(QFileInfo(blocker).absolutePath()));
        QVERIFY(FileWriter::writeAtomically(blocker, QByteArray(), FileWriter::Cached));
    }
    UserDefaults defaults(kDomain);
    defaults.setObject(QStringLiteral("kept"), QStringLiteral("Pending"));
    QString error;
    QVERIFY(!defaults.synchronize(&error));
    QVERIFY2(!error.isEmpty() && error.contains(errorContains), qPrintable(error));
    QCOMPARE(defaults.stringForKey(QStringLiteral("Pending")), QStringLiteral("kept"));
    // What is in the way is neither moved nor replaced.
    QCOMPARE(QFileInfo(blocker).isDir(), folderInTheWay);
    QVERIFY(QDir(QFileInfo(blocker).absolutePath()).entryList({QStringLiteral("*.corrupt-*")}).isEmpty());

    QVERIFY(folderInTheWay ? QDir(blocker).removeRecursively() : QFile::remove(blocker));
    QVERIFY2(defaults.synchronize(&error), qPrintable(error));
    QCOMPARE(readPreferences(), (QVariantMap{{QStringLiteral("Pending"), QStringLiteral("kept")}}));
}

void TestUserDefaults::boolForKey_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<bool>("expected");

    for (const char *text : {"YES", "yes", "Y", "true", "t", " 1 ", "2.5", "-1"})
        QTest::addRow("string \"%s\"", text) << QVariant(QString::fromLatin1(text)) << true;
    for (const char *text : {"NO", "false", "0", "0.0", "", "maybe"})
        QTest::addRow("string \"%s\"", text) << QVariant(QString::fromLatin1(text)) << false;
    QTest::newRow("false") << QVariant(false) << false;
    QTest::newRow("integer 0") << QVariant(qint64(0)) << false;
    QTest::newRow("integer -3") << QVariant(-3) << true;
    QTest::newRow("real 0.5") << QVariant(0.5) << true;
    QTest::newRow("unsigned 7") << QVariant(7u) << true;
    QTest::newRow("data") << QVariant(QByteArray("1")) << false;
    QTest::newRow("dictionary") << QVariant(QVariantMap{{QStringLiteral("a"), true}}) << false;
    QTest::newRow("absent") << QVariant() << false;
}

void TestUserDefaults::boolForKey()
{
    QFETCH(QVariant, value);
    QFETCH(bool, expected);
    TemporaryHome home;
    const QString key = QStringLiteral("Flag");
    UserDefaults defaults(kDomain);
    defaults.setObject(value, key);
    // The same answer while pending, once written, and when read afresh.
    QCOMPARE(defaults.boolForKey(key), expected);
    QVERIFY(defaults.synchronize());
    QCOMPARE(defaults.boolForKey(key), expected);
    QCOMPARE(UserDefaults(kDomain).boolForKey(key), expected);
}

void TestUserDefaults::typedGetters()
{
    TemporaryHome home;
    const QVariantMap dictionary{{QStringLiteral("x"), qint64(1)}};
    writePreferences(kDomain, QVariantMap{{QStringLiteral("Text"), QStringLiteral(" -17 ")},
                                          {QStringLiteral("Number"), qint64(1) << 40},
                                          {QStringLiteral("Dictionary"), dictionary},
                                          {QStringLiteral("List"), QVariantList{1, 2}}});
    const UserDefaults defaults(kDomain);
    // A getter answers only for its own type, or one it converts from.
    QCOMPARE(defaults.stringForKey(QStringLiteral("Text")), QStringLiteral(" -17 "));
    QVERIFY(defaults.stringForKey(QStringLiteral("Number")).isNull());
    QCOMPARE(defaults.integerForKey(QStringLiteral("Text")), -17);
    QCOMPARE(defaults.integerForKey(QStringLiteral("Number")), qint64(1) << 40);
    QCOMPARE(defaults.integerForKey(QStringLiteral("Dictionary")), 0);
    QCOMPARE(defaults.dictionaryForKey(QStringLiteral("Dictionary")), dictionary);
    QVERIFY(defaults.dictionaryForKey(QStringLiteral("List")).isEmpty());
}

QTEST_GUILESS_MAIN(TestUserDefaults)
#include "tst_userdefaults.moc"
