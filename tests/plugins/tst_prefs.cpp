#include "core/Bundle.h"
#include "core/FileWriter_p.h"
#include "core/NotificationCenter.h"
#include "core/ObserverRegistration.h"
#include "core/Paths.h"
#include "core/PropertyList.h"
#include "core/UserDefaults.h"
#include "plugins/TVRPrefs.h"

#include "TemporaryHome.h"

#include <QCoreApplication>
#include <QDir>
#include <QProcess>
#include <QTest>
#include <QTextStream>

#include <unistd.h>

namespace {

const QString kIdentifier = "org.tivaro.test.Notes";

enum Damage { Corrupt, NoPermission, FolderInItsPlace };

QString prefsPath(const QString &identifier = kIdentifier)
{
    return Paths::applicationSupportFolder() + "/Preferences/" + identifier + ".plist";
}

QString appPath()
{
    return Paths::preferencesFileForDomain(UserDefaults::applicationDomain());
}

QVariantMap readMap(const QString &path)
{
    return PropertyList::readFile(path).value_or(0).toMap();
}

QByteArray readBytes(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool writeBytes(const QString &path, const QByteArray &bytes)
{
    return QDir().mkpath(QFileInfo(path).path()) && FileWriter::writeAtomically(path, bytes, FileWriter::Cached);
}

QByteArray xml(const QVariant &value)
{
    return PropertyList::toXml(value).value();
}

} // namespace

class TestPrefs : public QObject
{
    Q_OBJECT

    std::unique_ptr<TemporaryHome> m_home;
    int m_bundles = 0;

    // A plug-in bundle is a folder with an Info.plist; an invalid `info` leaves the Info.plist out.
    std::shared_ptr<Bundle> bundle(const QVariant &info = QVariantMap{{"CFBundleIdentifier", kIdentifier}})
    {
        const QString folder = m_home->path() + "/Plugin" + QString::number(++m_bundles) + ".tvr";
        if (!QDir().mkpath(folder) || (info.isValid() && !PropertyList::writeFile(folder + "/Info.plist", info)))
            return nullptr;
        return Bundle::bundleWithPath(folder);
    }

private Q_SLOTS:
    void init() { m_home = std::make_unique<TemporaryHome>(); }
    void cleanup() { m_home.reset(); }

    void prefsWithBundle_data()
    {
        QTest::addColumn<QVariant>("info");
        QTest::addColumn<bool>("made");
        const auto id = [](const QVariant &identifier) {
            return QVariant(QVariantMap{{"CFBundleIdentifier", identifier}});
        };
        QTest::newRow("no Info.plist") << QVariant() << false;
        QTest::newRow("no identifier") << QVariant(QVariantMap{{"CFBundleName", "Notes"}}) << false;
        QTest::newRow("empty identifier") << id("") << false;
        QTest::newRow("identifier not a string") << id(qint64(5)) << false;
        QTest::newRow("identifier with a slash") << id("../../escape") << false;
        QTest::newRow("identifier") << id(kIdentifier) << true;
    }

    void prefsWithBundle()
    {
        QFETCH(QVariant, info);
        QFETCH(bool, made);
        QVERIFY(!TVRPrefs::prefsWithBundle(nullptr));
        // A file already there is read at once.
        QVERIFY(writeBytes(prefsPath(), xml(QVariantMap{{"Old", 1}})));
        const auto plugin = bundle(info);
        const std::unique_ptr<TVRPrefs> prefs = TVRPrefs::prefsWithBundle(plugin.get());
        QCOMPARE(bool(prefs), made);
        if (prefs) {
            QCOMPARE(prefs->fullPath(), prefsPath());
            QCOMPARE(prefs->notificationName(), "TVRPrefsChanged" + kIdentifier);
            QCOMPARE(prefs->dictionary(), (QVariantMap{{"Old", qint64(1)}}));
        }
    }

    void sharedBetweenObjects()
    {
        const auto plugin = bundle();
        const auto otherPlugin = bundle(QVariantMap{{"CFBundleIdentifier", "org.tivaro.test.Other"}});
        std::unique_ptr<TVRPrefs> first = TVRPrefs::prefsWithBundle(plugin.get());
        const std::unique_ptr<TVRPrefs> second = TVRPrefs::prefsWithBundle(plugin.get());
        const std::unique_ptr<TVRPrefs> other = TVRPrefs::prefsWithBundle(otherPlugin.get());
        QVERIFY(first && second && other);
        QList<Notification> posted;
        const ObserverRegistration spy(first->notificationName(), [&posted](const Notification &n) { posted << n; });

        first->setObject("bl\u00e9", "Color");
        QCOMPARE(second->objectForKey("Color"), QVariant("bl\u00e9"));
        QVERIFY(!other->objectForKey("Color").isValid());
        second->setObject(3, "Count");
        second->removeObjectForKey("Color");
        // Ignored: setting nothing (it removes nothing either) and empty keys.
        second->setObject(QVariant(), "Count");
        second->setObject("x", "");
        second->removeObjectForKey(QString());
        first->handlePrefsChanged(nullptr);
        const Notification rename{first->notificationName(), prefsPath(), {{"action", "rename"}, {"key", "Count"}}};
        first->handlePrefsChanged(&rename);
        QCOMPARE(first->dictionary(), (QVariantMap{{"Count", 3}}));
        QVERIFY(first->description().contains("Count"));

        // Observers elsewhere see each change, sent by the file it concerns.
        QCOMPARE(posted.size(), 3);
        QCOMPARE(posted.at(0).object, QVariant(prefsPath()));
        QCOMPARE(posted.at(0).userInfo, (QVariantMap{{"action", "set"}, {"object", "bl\u00e9"}, {"key", "Color"}}));
        QCOMPARE(posted.at(2).userInfo, (QVariantMap{{"action", "remove"}, {"key", "Color"}}));

        // Nothing reaches the disk before synchronize(), and either object writes the shared state.
        QVERIFY(!QFileInfo::exists(prefsPath()));
        QString error;
        QVERIFY2(first->synchronize(&error), qPrintable(error));
        second->setObject(true, "Enabled");
        QVERIFY2(second->synchronize(&error), qPrintable(error));
        QCOMPARE(readMap(prefsPath()), (QVariantMap{{"Count", qint64(3)}, {"Enabled", true}}));
        QVERIFY(!QFileInfo::exists(prefsPath("org.tivaro.test.Other")));

        // Another process finds the values in the file.
        QProcess process;
        process.start(QCoreApplication::applicationFilePath(), {"--print", plugin->bundlePath()});
        QVERIFY(process.waitForFinished(60000));
        QCOMPARE(process.exitCode(), 0);
        QCOMPARE(PropertyList::fromData(process.readAllStandardOutput()).value_or(0).toMap(),
                 (QVariantMap{{"Count", qint64(3)}, {"Enabled", true}}));

        // A destroyed object stops observing; the others carry on.
        const int observers = NotificationCenter::defaultCenter().observerCount();
        first.reset();
        QCOMPARE(NotificationCenter::defaultCenter().observerCount(), observers - 1);
        second->removeObjectForKey("Enabled");
        QCOMPARE(second->dictionary(), (QVariantMap{{"Count", 3}}));
    }

    // Only the changes made here go over the file; what another program saved meanwhile stays, and
    // is seen here afterwards.
    void synchronizeMergesWithTheFile()
    {
        QVERIFY(writeBytes(prefsPath(), xml(QVariantMap{{"Gone", 1}, {"Theirs", "old"}, {"Mine", "old"}})));
        const auto plugin = bundle();
        const std::unique_ptr<TVRPrefs> prefs = TVRPrefs::prefsWithBundle(plugin.get());
        const std::unique_ptr<TVRPrefs> sibling = TVRPrefs::prefsWithBundle(plugin.get());
        QVERIFY(
            writeBytes(prefsPath(), xml(QVariantMap{{"Gone", 1}, {"Theirs", "new"}, {"Mine", "old"}, {"Added", 2}})));
        prefs->removeObjectForKey("Gone");
        sibling->setObject("new", "Mine");
        QString error;
        QVERIFY2(prefs->synchronize(&error), qPrintable(error));
        const QVariantMap merged{{"Theirs", "new"}, {"Mine", "new"}, {"Added", qint64(2)}};
        QCOMPARE(readMap(prefsPath()), merged);
        QCOMPARE(prefs->dictionary(), merged);
        QVERIFY(!QFileInfo::exists(prefsPath() + ".lock"));
    }

    // A file that holds no dictionary is kept aside when the values are saved; one that cannot be read
    // is never written over, as it may hold values this object never saw, and once it can be read
    // again those values stay beside the new one.
    void damagedFile_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<int>("damage");
        QTest::newRow("garbage") << QByteArray("\x01\x02not a plist\xff", 15) << int(Corrupt);
        QTest::newRow("array instead of dictionary") << xml(QVariantList{"a"}) << int(Corrupt);
        QTest::newRow("no permission to read") << xml(QVariantMap{{"Secret", 1}}) << int(NoPermission);
        QTest::newRow("folder at the file's path") << QByteArray() << int(FolderInItsPlace);
    }

    void damagedFile()
    {
        QFETCH(QByteArray, contents);
        QFETCH(int, damage);
        const QString path = prefsPath();
        QVERIFY(damage == FolderInItsPlace ? QDir().mkpath(path) : writeBytes(path, contents));
        if (damage == NoPermission) {
            QVERIFY(QFile::setPermissions(path, QFileDevice::WriteOwner));
            if (::access(QFile::encodeName(path).constData(), R_OK) == 0)
                QSKIP("this user reads files whatever their permissions");
        }
        const auto plugin = bundle();
        const std::unique_ptr<TVRPrefs> prefs = TVRPrefs::prefsWithBundle(plugin.get());
        QVERIFY(prefs->dictionary().isEmpty());
        prefs->setObject("new", "Value");
        QString error;
        const QDir folder = QFileInfo(path).dir();
        QCOMPARE(prefs->synchronize(&error), damage == Corrupt);
        const QStringList aside = folder.entryList({"*.corrupt-*"}, QDir::AllEntries);
        QVariantMap expected{{"Value", "new"}};
        if (damage == Corrupt) {
            QCOMPARE(aside.size(), 1);
            QCOMPARE(readBytes(folder.filePath(aside.constFirst())), contents);
        } else {
            QVERIFY2(error.contains(path), qPrintable(error));
            QVERIFY(aside.isEmpty());
            QCOMPARE(QFileInfo(path).isDir(), damage == FolderInItsPlace);
            if (damage == NoPermission) {
                QVERIFY(QFile::setPermissions(path, QFileDevice::ReadOwner | QFileDevice::WriteOwner));
                QCOMPARE(readBytes(path), contents);
                expected.insert("Secret", qint64(1));
            } else {
                QVERIFY(QDir(path).removeRecursively());
            }
            // The change waited for this try.
            QVERIFY2(prefs->synchronize(&error), qPrintable(error));
        }
        QCOMPARE(readMap(path), expected);
        // The file is sound now: nothing more is moved aside.
        QVERIFY(prefs->synchronize());
        QCOMPARE(folder.entryList({"*.corrupt-*"}, QDir::AllEntries), aside);
    }

    void importKeys_data()
    {
        QTest::addColumn<QByteArray>("appFile");
        QTest::addColumn<QStringList>("keys");
        QTest::addColumn<QVariantMap>("moved");
        QTest::addColumn<QVariantMap>("remaining");
        const QVariantMap app{{"A", qint64(1)}, {"B", "two"}, {"C", true}, {"", "empty key"}};
        const QVariantMap none;
        QTest::newRow("present and absent keys")
            << xml(app) << QStringList{"A", "B", "Z"} << QVariantMap{{"A", qint64(1)}, {"B", "two"}}
            << QVariantMap{{"C", true}, {"", "empty key"}};
        QTest::newRow("no key present") << xml(app) << QStringList{"Z"} << none << app;
        QTest::newRow("empty key stays") << xml(app) << QStringList{""} << none << app;
        // Unreadable as a dictionary: nothing happens.
        QTest::newRow("no application file") << QByteArray() << QStringList{"A"} << none << none;
        QTest::newRow("corrupt application file")
            << QByteArray("<plist><dict><key>A</key>") << QStringList{"A"} << none << none;
        QTest::newRow("application file holds an array") << xml(QVariantList{1}) << QStringList{"A"} << none << none;
    }

    void importKeys()
    {
        QFETCH(QByteArray, appFile);
        QFETCH(QStringList, keys);
        QFETCH(QVariantMap, moved);
        QFETCH(QVariantMap, remaining);
        if (!appFile.isEmpty())
            QVERIFY(writeBytes(appPath(), appFile));
        const bool readable = !remaining.isEmpty();
        const auto plugin = bundle();
        const std::unique_ptr<TVRPrefs> prefs = TVRPrefs::prefsWithBundle(plugin.get());
        const std::unique_ptr<TVRPrefs> sibling = TVRPrefs::prefsWithBundle(plugin.get());

        QString error;
        QCOMPARE(prefs->importKeysFromTivaroPrefs(keys, &error), readable);
        QVERIFY(!QFileInfo::exists(appPath() + ".lock"));
        QCOMPARE(prefs->dictionary(), moved);
        QCOMPARE(sibling->dictionary(), moved);
        QCOMPARE(QFileInfo::exists(prefsPath()), readable);
        if (readable) {
            QCOMPARE(readMap(prefsPath()), moved);
            QCOMPARE(readMap(appPath()), remaining);
        } else {
            QVERIFY(!error.isEmpty());
            QCOMPARE(readBytes(appPath()), appFile);
        }
    }

    void importKeepsConcurrentHostWrites()
    {
        // The host, another process, keeps adding settings while the keys move out one by one.
        constexpr int kHostKeys = 150;
        QVariantMap moving;
        for (int i = 0; i < 40; ++i)
            moving.insert("Move" + QString::number(i), qint64(i));
        m_home->writeApplicationPreferences(moving);
        QProcess host;
        host.start(QCoreApplication::applicationDirPath() + "/tivaro_core_userdefaults_helper",
                   {UserDefaults::applicationDomain(), "count", "Host", QString::number(kHostKeys)});
        QVERIFY(host.waitForStarted());

        const auto plugin = bundle();
        const std::unique_ptr<TVRPrefs> prefs = TVRPrefs::prefsWithBundle(plugin.get());
        QString error;
        for (const QString &key : moving.keys())
            QVERIFY2(prefs->importKeysFromTivaroPrefs({key}, &error), qPrintable(error));
        QVERIFY(host.waitForFinished(120000));
        QCOMPARE(host.exitCode(), 0);

        const QVariantMap hostValues = readMap(appPath());
        QCOMPARE(hostValues.size(), kHostKeys);
        for (int i = 0; i < kHostKeys; ++i)
            QCOMPARE(hostValues.value("Host" + QString::number(i)), QVariant(qint64(i)));
        QCOMPARE(readMap(prefsPath()), moving);
    }
};

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    // "--print <bundle folder>": the test program as a second process, printing the values it reads
    // from that bundle's preferences file.
    if (app.arguments().value(1) == "--print") {
        const std::shared_ptr<Bundle> plugin = Bundle::bundleWithPath(app.arguments().value(2));
        const std::unique_ptr<TVRPrefs> prefs = TVRPrefs::prefsWithBundle(plugin.get());
        QTextStream(stdout) << (prefs ? xml(prefs->dictionary()) : QByteArray());
        return prefs ? 0 : 1;
    }
    TestPrefs test;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&test, argc, argv);
}

#include "tst_prefs.moc"
