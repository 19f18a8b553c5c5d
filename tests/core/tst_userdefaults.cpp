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

void writePreferences(const QString &domain, const QVariant &values)
{
    const QString path = Paths::preferencesFileForDomain(domain);
    QDir().mkpath(QFileInfo(path).absolutePath());
    QVERIFY(PropertyList::writeFile(path, values));
}

QVariantMap readPreferences(const QString &domain)
{
    return PropertyList::readFile(Paths::preferencesFileForDomain(domain)).value_or(QVariant()).toMap();
}

QString helperPath()
{
    return QCoreApplication::applicationDirPath() + QStringLiteral("/tivaro_core_userdefaults_helper");
}

// Runs the helper, another process using the same home; returns what it printed.
QString runHelper(const QStringList &arguments, bool *ok)
{
    QProcess process;
    process.start(helperPath(), arguments);
    *ok = process.waitForFinished(60000) && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
    if (!*ok)
        qWarning() << "helper failed:" << process.errorString() << process.readAllStandardError();
    return QString::fromUtf8(process.readAllStandardOutput());
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
    void removalUncoversSuiteValue();
    void synchronizeMergesOtherProcessChanges();
    void concurrentProcessesKeepEveryKey();
    void corruptFileIsKeptAside_data();
    void corruptFileIsKeptAside();
    void failedSynchronizeKeepsChanges();
    void unreadableFileIsNotTakenForCorrupt();
    void boolForKey_data();
    void boolForKey();
    void typedGetters();
};

void TestUserDefaults::initTestCase()
{
    QVERIFY2(QFileInfo(helperPath()).isExecutable(), qPrintable(helperPath()));
    QCOMPARE(UserDefaults::applicationDomain(), QStringLiteral("org.tivaro.Tivaro"));
    QCOMPARE(UserDefaults().domain(), UserDefaults::applicationDomain());
}

void TestUserDefaults::lookupOrder_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QVariant>("expected");

    QTest::newRow("own only") << QStringLiteral("A") << QVariant(QStringLiteral("own"));
    QTest::newRow("own before suites") << QStringLiteral("B") << QVariant(QStringLiteral("own"));
    QTest::newRow("first suite before second") << QStringLiteral("C") << QVariant(QStringLiteral("suite1"));
    QTest::newRow("second suite") << QStringLiteral("D") << QVariant(QStringLiteral("suite2"));
    QTest::newRow("own false is found") << QStringLiteral("E") << QVariant(false);
    QTest::newRow("nowhere") << QStringLiteral("Z") << QVariant();
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
    QTEST(defaults.objectForKey(key), "expected");
    // Suites are read, never written.
    QVERIFY(!defaults.persistentDomain().contains(QStringLiteral("C")));
}

void TestUserDefaults::pendingChangesBeforeSynchronize()
{
    TemporaryHome home;
    writePreferences(kDomain, QVariantMap{{QStringLiteral("Old"), 1}, {QStringLiteral("Gone"), 2}});
    UserDefaults defaults(kDomain);
    defaults.setObject(QStringLiteral("value"), QStringLiteral("New"));
    defaults.removeObjectForKey(QStringLiteral("Gone"));
    defaults.setObject(QStringLiteral("soon unset"), QStringLiteral("Unset"));
    defaults.setObject(QVariant(), QStringLiteral("Unset"));

    const QVariantMap expected{{QStringLiteral("Old"), qint64(1)}, {QStringLiteral("New"), QStringLiteral("value")}};
    QCOMPARE(defaults.objectForKey(QStringLiteral("New")), QVariant(QStringLiteral("value")));
    QVERIFY(!defaults.objectForKey(QStringLiteral("Gone")).isValid());
    QVERIFY(!defaults.objectForKey(QStringLiteral("Unset")).isValid());
    QCOMPARE(defaults.persistentDomain(), expected);
    // Nothing reaches the file before synchronize().
    QCOMPARE(readPreferences(kDomain),
             (QVariantMap{{QStringLiteral("Old"), qint64(1)}, {QStringLiteral("Gone"), qint64(2)}}));

    QString error;
    QVERIFY2(defaults.synchronize(&error), qPrintable(error));
    QCOMPARE(readPreferences(kDomain), expected);
    QCOMPARE(defaults.persistentDomain(), expected);
    QCOMPARE(UserDefaults(kDomain).persistentDomain(), expected);
    // Setting after removing (and the reverse) keeps the last word.
    defaults.removeObjectForKey(QStringLiteral("Old"));
    defaults.setObject(3, QStringLiteral("Old"));
    defaults.setObject(4, QStringLiteral("New"));
    defaults.removeObjectForKey(QStringLiteral("New"));
    QVERIFY(defaults.synchronize());
    QCOMPARE(readPreferences(kDomain), (QVariantMap{{QStringLiteral("Old"), qint64(3)}}));
}

void TestUserDefaults::removalUncoversSuiteValue()
{
    TemporaryHome home;
    const QString key = QStringLiteral("SyncOnConnect");
    writePreferences(kDomain, QVariantMap{{key, QStringLiteral("own")}});
    writePreferences(QStringLiteral("org.tivaro.Suite"), QVariantMap{{key, QStringLiteral("suite")}});
    UserDefaults defaults(kDomain);
    defaults.addSuiteNamed(QStringLiteral("org.tivaro.Suite"));
    QCOMPARE(defaults.stringForKey(key), QStringLiteral("own"));

    // Removing changes only the own domain, so the suite's value shows, before synchronize() as after.
    defaults.removeObjectForKey(key);
    QCOMPARE(defaults.stringForKey(key), QStringLiteral("suite"));
    QVERIFY(defaults.synchronize());
    QCOMPARE(defaults.stringForKey(key), QStringLiteral("suite"));
    QVERIFY(!readPreferences(kDomain).contains(key));
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

    bool ok = false;
    runHelper({kDomain, QStringLiteral("set"), QStringLiteral("Shared"), QStringLiteral("theirs")}, &ok);
    QVERIFY(ok);
    runHelper({kDomain, QStringLiteral("set"), QStringLiteral("Theirs"), QStringLiteral("\u00e9t\u00e9")}, &ok);
    QVERIFY(ok);
    runHelper({suite, QStringLiteral("set"), QStringLiteral("Mode"), QStringLiteral("new")}, &ok);
    QVERIFY(ok);
    // Until synchronize() the object keeps what it read.
    QCOMPARE(defaults.stringForKey(QStringLiteral("Shared")), QStringLiteral("old"));
    QVERIFY(!defaults.objectForKey(QStringLiteral("Theirs")).isValid());

    QString error;
    QVERIFY2(defaults.synchronize(&error), qPrintable(error));
    // Our stale copy of "Shared" must not overwrite what the other process wrote.
    const QVariantMap expected{{QStringLiteral("Shared"), QStringLiteral("theirs")},
                               {QStringLiteral("Theirs"), QStringLiteral("\u00e9t\u00e9")},
                               {QStringLiteral("Mine"), QStringLiteral("mine")}};
    QCOMPARE(readPreferences(kDomain), expected);
    QCOMPARE(defaults.persistentDomain(), expected);
    QCOMPARE(defaults.stringForKey(QStringLiteral("Mode")), QStringLiteral("new"));

    QCOMPARE(runHelper({kDomain, QStringLiteral("get"), QStringLiteral("Mine")}, &ok), QStringLiteral("mine"));
    QVERIFY(ok);
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
    const QVariantMap values = readPreferences(kDomain);
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
    const QString path = Paths::preferencesFileForDomain(kDomain);
    QDir().mkpath(QFileInfo(path).absolutePath());
    {
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(contents);
    }

    UserDefaults defaults(kDomain);
    QVERIFY(defaults.persistentDomain().isEmpty());
    // Only reading leaves the file alone.
    QVERIFY(defaults.synchronize());
    QCOMPARE(QDir(QFileInfo(path).absolutePath()).entryList(QDir::Files), QStringList{QFileInfo(path).fileName()});

    defaults.setObject(true, QStringLiteral("Enabled"));
    QString error;
    QVERIFY2(defaults.synchronize(&error), qPrintable(error));
    QCOMPARE(readPreferences(kDomain), (QVariantMap{{QStringLiteral("Enabled"), true}}));
    QVERIFY(defaults.boolForKey(QStringLiteral("Enabled")));

    const QStringList aside = QDir(QFileInfo(path).absolutePath())
                                  .entryList({QFileInfo(path).fileName() + QStringLiteral(".corrupt-*")}, QDir::Files);
    QCOMPARE(aside.size(), 1);
    QFile kept(QFileInfo(path).absolutePath() + QLatin1Char('/') + aside.constFirst());
    QVERIFY(kept.open(QIODevice::ReadOnly));
    QCOMPARE(kept.readAll(), contents);
}

// A file that cannot be read is no evidence of corruption: it must be neither moved nor replaced.
void TestUserDefaults::unreadableFileIsNotTakenForCorrupt()
{
    TemporaryHome home;
    const QString path = Paths::preferencesFileForDomain(kDomain);
    // Even root cannot read a folder as a file.
    QVERIFY(QDir().mkpath(path));
    UserDefaults defaults(kDomain);
    defaults.setObject(QStringLiteral("kept"), QStringLiteral("Pending"));
    QString error;
    QVERIFY(!defaults.synchronize(&error));
    QVERIFY2(error.contains(QStringLiteral("cannot read")), qPrintable(error));
    QVERIFY(QFileInfo(path).isDir());
    QVERIFY(QDir(QFileInfo(path).absolutePath()).entryList({QStringLiteral("*.corrupt-*")}).isEmpty());

    QVERIFY(QDir(path).removeRecursively());
    QVERIFY2(defaults.synchronize(&error), qPrintable(error));
    QCOMPARE(readPreferences(kDomain), (QVariantMap{{QStringLiteral("Pending"), QStringLiteral("kept")}}));
}

void TestUserDefaults::failedSynchronizeKeepsChanges()
{
    TemporaryHome home;
    // A file where the preferences folder should be makes every write fail.
    const QString folder = Paths::preferencesFolder();
    QDir().mkpath(QFileInfo(folder).absolutePath());
    {
        QFile blocker(folder);
        QVERIFY(blocker.open(QIODevice::WriteOnly));
    }
    UserDefaults defaults(kDomain);
    defaults.setObject(QStringLiteral("kept"), QStringLiteral("Pending"));
    QString error;
    QVERIFY(!defaults.synchronize(&error));
    QVERIFY(!error.isEmpty());
    QCOMPARE(defaults.stringForKey(QStringLiteral("Pending")), QStringLiteral("kept"));

    QVERIFY(QFile::remove(folder));
    QVERIFY2(defaults.synchronize(&error), qPrintable(error));
    QCOMPARE(readPreferences(kDomain), (QVariantMap{{QStringLiteral("Pending"), QStringLiteral("kept")}}));
}

void TestUserDefaults::boolForKey_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<bool>("expected");

    QTest::newRow("true") << QVariant(true) << true;
    QTest::newRow("false") << QVariant(false) << false;
    for (const char *text : {"YES", "yes", "Y", "true", "TRUE", "t", "1", " 1 ", "2.5", "-1"})
        QTest::newRow(qPrintable(QStringLiteral("string \"%1\"").arg(QLatin1String(text))))
            << QVariant(QString::fromLatin1(text)) << true;
    for (const char *text : {"NO", "no", "false", "0", "0.0", "", "maybe"})
        QTest::newRow(qPrintable(QStringLiteral("string \"%1\"").arg(QLatin1String(text))))
            << QVariant(QString::fromLatin1(text)) << false;
    QTest::newRow("integer 0") << QVariant(qint64(0)) << false;
    QTest::newRow("integer 1") << QVariant(qint64(1)) << true;
    QTest::newRow("integer -3") << QVariant(-3) << true;
    QTest::newRow("real 0.0") << QVariant(0.0) << false;
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
    writePreferences(kDomain, QVariantMap{{QStringLiteral("Text"), QStringLiteral("42")},
                                          {QStringLiteral("Padded"), QStringLiteral(" -17 ")},
                                          {QStringLiteral("Number"), qint64(1) << 40},
                                          {QStringLiteral("Dictionary"), dictionary},
                                          {QStringLiteral("List"), QVariantList{1, 2}}});
    const UserDefaults defaults(kDomain);

    QCOMPARE(defaults.stringForKey(QStringLiteral("Text")), QStringLiteral("42"));
    QVERIFY(defaults.stringForKey(QStringLiteral("Number")).isNull());
    QVERIFY(defaults.stringForKey(QStringLiteral("Missing")).isNull());

    QCOMPARE(defaults.integerForKey(QStringLiteral("Text")), 42);
    QCOMPARE(defaults.integerForKey(QStringLiteral("Padded")), -17);
    QCOMPARE(defaults.integerForKey(QStringLiteral("Number")), qint64(1) << 40);
    QCOMPARE(defaults.integerForKey(QStringLiteral("Dictionary")), 0);
    QCOMPARE(defaults.integerForKey(QStringLiteral("Missing")), 0);

    QCOMPARE(defaults.dictionaryForKey(QStringLiteral("Dictionary")), dictionary);
    QVERIFY(defaults.dictionaryForKey(QStringLiteral("List")).isEmpty());
    QVERIFY(defaults.dictionaryForKey(QStringLiteral("Text")).isEmpty());
}

QTEST_GUILESS_MAIN(TestUserDefaults)
#include "tst_userdefaults.moc"
