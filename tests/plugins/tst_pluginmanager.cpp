#include "PluginTree.h"
#include "TemporaryHome.h"

#include "core/Bundle.h"
#include "core/Paths.h"
#include "plugins/ConfigureSyncUtils_p.h"
#include "plugins/PluginManager.h"
#include "plugins/TVRAppsPlugin.h"
#include "plugins/TVRPlugin.h"
#include "plugins/TVRUtilityPlugin.h"

#include <QFile>
#include <QtTest>

// Discovery and the plug-in contract against real bundles: every fixture is a shared library built
// by tivaro_add_plugin and copied into the folder tree the test describes.
class PluginManagerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void contractDefaultsAndOverrides();
    void icons_data();
    void icons();
    void versionMustBeAString();
    void initWithPathFailures_data();
    void initWithPathFailures();

    void searchFolders_data();
    void searchFolders();
    void aFolderReachedTwiceIsSearchedOnce_data();
    void aFolderReachedTwiceIsSearchedOnce();
    void newestVersionWins_data();
    void newestVersionWins();
    void joinedVersionNumber_data();
    void joinedVersionNumber();
    void badBundlesAreLeftOutWithTheReason_data();
    void badBundlesAreLeftOutWithTheReason();
    void everyScanMakesNewPlugins();

    void syncChoice_data();
    void syncChoice();

private:
    TemporaryHome m_home;
    std::unique_ptr<PluginTree> m_tree;
};

void PluginManagerTest::initTestCase()
{
    QVERIFY(m_home.isValid());
}

void PluginManagerTest::init()
{
    QDir(Paths::applicationSupportFolder()).removeRecursively();
    m_tree = std::make_unique<PluginTree>();
    QVERIFY(m_tree->isValid());
}

void PluginManagerTest::contractDefaultsAndOverrides()
{
    for (const char *fixture : {"Hello.tvr", "Bare.tvr", "Bare Apps.tvr", "Bare Utility.tvr"})
        QVERIFY(!PluginTree::install(QLatin1String(fixture), m_tree->builtInFolder()).isEmpty());
    PluginManager manager(m_tree->prefix());
    const PluginManager::PluginMap plugins = manager.plugins();
    QCOMPARE(plugins.keys(), (QStringList{QStringLiteral("Bare"), QStringLiteral("Bare Apps"),
                                          QStringLiteral("Bare Utility"), QStringLiteral("Hello")}));

    const auto hello = plugins.value(QStringLiteral("Hello"));
    QCOMPARE(hello->path(), m_tree->builtInFolder() + QStringLiteral("/Hello.tvr"));
    QCOMPARE(hello->bundle()->bundleIdentifier(), QStringLiteral("org.tivaro.test.hello"));
    QCOMPARE(hello->version(), QStringLiteral("1.0"));
    QCOMPARE(hello->aboutInformation().string(), QStringLiteral("Says hello."));
    QVERIFY(hello->hasSettings());
    bool needsInternet = false;
    QCOMPARE(hello->prepareSync(&needsInternet, nullptr), 3);
    QVERIFY(needsInternet);

    // A plug-in that overrides nothing: 0 steps, and the answer byte is written even when it was set.
    const auto bare = plugins.value(QStringLiteral("Bare"));
    needsInternet = true;
    QCOMPARE(bare->prepareSync(&needsInternet, nullptr), 0);
    QVERIFY(!needsInternet);
    QVERIFY(bare->version().isEmpty());
    QVERIFY(!bare->hasSettings() && !bare->requiresInternetConnection());
    QVERIFY(!bare->view() && !bare->showSettingsWindow());
    QVERIFY(bare->aboutInformation().isEmpty());
    QVERIFY(bare->image().isNull());

    auto *apps = qobject_cast<TVRAppsPlugin *>(plugins.value(QStringLiteral("Bare Apps")).get());
    QVERIFY(apps);
    QCOMPARE(apps->shortDescription(), QStringLiteral("No information provided."));
    QVERIFY(!apps->window());
    QVERIFY(qobject_cast<TVRUtilityPlugin *>(plugins.value(QStringLiteral("Bare Utility")).get()));
    QVERIFY(!qobject_cast<TVRAppsPlugin *>(bare.get()));
}

void PluginManagerTest::icons_data()
{
    QTest::addColumn<QStringList>("remove");
    QTest::addColumn<QString>("expectedFile");
    QTest::addColumn<QColor>("expectedColour");
    QTest::newRow("TIFF wins over ICNS") << QStringList() << QStringLiteral("Icons.tif") << QColor(Qt::blue);
    QTest::newRow("ICNS alone") << QStringList{QStringLiteral("Icons.tif")} << QStringLiteral("Icons.icns")
                                << QColor(Qt::red);
    QTest::newRow("no icon") << QStringList{QStringLiteral("Icons.tif"), QStringLiteral("Icons.icns")} << QString()
                             << QColor();
}

void PluginManagerTest::icons()
{
    QFETCH(QStringList, remove);
    QFETCH(QString, expectedFile);
    QFETCH(QColor, expectedColour);
    const QString bundle = PluginTree::install(QStringLiteral("Icons.tvr"), m_tree->builtInFolder());
    for (const QString &file : remove)
        QVERIFY(QFile::remove(bundle + QStringLiteral("/Resources/") + file));

    const auto plugin = PluginManager(m_tree->prefix()).plugins().value(QStringLiteral("Icons"));
    QVERIFY(plugin);
    QCOMPARE(QFileInfo(plugin->imagePath()).fileName(), expectedFile);
    const QImage image = plugin->image();
    QCOMPARE(image.isNull(), !expectedColour.isValid());
    if (expectedColour.isValid())
        QCOMPARE(image.pixelColor(5, 5), expectedColour);
}

void PluginManagerTest::versionMustBeAString()
{
    PluginTree::install(QStringLiteral("NumberVersion.tvr"), m_tree->builtInFolder());
    const auto plugin = PluginManager(m_tree->prefix()).plugins().value(QStringLiteral("Number Version"));
    QVERIFY(plugin);
    QVERIFY(plugin->version().isEmpty());
}

void PluginManagerTest::initWithPathFailures_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<bool>("succeeds");
    const QString fixtures = QStringLiteral(TIVARO_TEST_PLUGINS_DIR);
    QTest::newRow("missing path") << fixtures + QStringLiteral("/Nowhere.tvr") << false;
    QTest::newRow("a file, no bundle") << fixtures + QStringLiteral("/Hello.tvr/Info.plist") << false;
    QTest::newRow("no Info.plist") << fixtures + QStringLiteral("/NoInfo.tvr") << false;
    QTest::newRow("Info.plist no plist") << fixtures + QStringLiteral("/BadInfo.tvr") << false;
    QTest::newRow("good bundle") << fixtures + QStringLiteral("/Hello.tvr") << true;
}

void PluginManagerTest::initWithPathFailures()
{
    QFETCH(QString, path);
    QFETCH(bool, succeeds);
    QCOMPARE(bool(TVRPlugin::pluginWithPath<TVRPlugin>(path)), succeeds);
}

void PluginManagerTest::searchFolders_data()
{
    QTest::addColumn<bool>("prefixExists");
    QTest::addColumn<bool>("pluginFoldersExist");
    QTest::addColumn<QStringList>("userEntries");
    QTest::addColumn<QString>("expectedUserFolder");
    QTest::addColumn<int>("expectedFolders");
    QTest::newRow("all three, PlugIns") << true << true << QStringList{QStringLiteral("PlugIns")}
                                        << QStringLiteral("PlugIns") << 3;
    QTest::newRow("lower-case plugins") << true << true << QStringList{QStringLiteral("plugins")}
                                        << QStringLiteral("plugins") << 3;
    QTest::newRow("first in name order") << true << true
                                         << QStringList{QStringLiteral("plugins"), QStringLiteral("PLUGINS")}
                                         << QStringLiteral("PLUGINS") << 3;
    QTest::newRow("a file named plugins is no folder")
        << true << true << QStringList{QStringLiteral("file:plugins"), QStringLiteral("Plugins.old")} << QString() << 2;
    QTest::newRow("no user folder") << true << true << QStringList() << QString() << 2;
    QTest::newRow("built-in folders not there yet")
        << true << false << QStringList{QStringLiteral("PlugIns")} << QStringLiteral("PlugIns") << 3;
    QTest::newRow("prefix no folder: nothing")
        << false << true << QStringList{QStringLiteral("PlugIns")} << QString() << 0;
}

void PluginManagerTest::searchFolders()
{
    QFETCH(bool, prefixExists);
    QFETCH(bool, pluginFoldersExist);
    QFETCH(QStringList, userEntries);
    QFETCH(QString, expectedUserFolder);
    QFETCH(int, expectedFolders);
    if (!pluginFoldersExist)
        QVERIFY(QDir(m_tree->outerFolder()).removeRecursively() && QDir(m_tree->builtInFolder()).removeRecursively());
    for (const QString &entry : userEntries) {
        if (entry.startsWith(QLatin1String("file:"))) {
            QDir().mkpath(Paths::applicationSupportFolder());
            QFile file(Paths::applicationSupportFolder() + QLatin1Char('/') + entry.mid(5));
            QVERIFY(file.open(QIODevice::WriteOnly));
        } else {
            m_tree->userFolder(entry);
        }
    }
    if (expectedFolders == 3)
        PluginTree::install(QStringLiteral("Hello.tvr"), m_tree->userFolder(expectedUserFolder));

    PluginManager manager(prefixExists ? m_tree->prefix() : m_tree->prefix() + QStringLiteral("/nowhere"));
    const QStringList folders = manager.searchFolders();
    QCOMPARE(folders.size(), expectedFolders);
    if (expectedFolders >= 2)
        QCOMPARE(folders.mid(0, 2), (QStringList{m_tree->builtInFolder(), m_tree->outerFolder()}));
    if (expectedFolders == 3) {
        QCOMPARE(folders.at(2), Paths::applicationSupportFolder() + QLatin1Char('/') + expectedUserFolder);
        QCOMPARE(manager.plugins().keys(), QStringList{QStringLiteral("Hello")});
    }
}

void PluginManagerTest::aFolderReachedTwiceIsSearchedOnce_data()
{
    QTest::addColumn<bool>("linkedOuterLib");
    QTest::addColumn<bool>("linkedUserFolder");
    // As an install to /usr on Debian, where /lib is /usr/lib.
    QTest::newRow("outer lib is the prefix's lib") << true << false;
    QTest::newRow("user folder is the built-in one") << false << true;
    QTest::newRow("all three are one") << true << true;
}

void PluginManagerTest::aFolderReachedTwiceIsSearchedOnce()
{
    QFETCH(bool, linkedOuterLib);
    QFETCH(bool, linkedUserFolder);
    const QString prefix = linkedOuterLib ? m_tree->prefixWithLinkedOuterLib() : m_tree->prefix();
    const QString builtIn = prefix + QStringLiteral("/lib/tivaro/PlugIns");
    QVERIFY(!PluginTree::install(QStringLiteral("Hello.tvr"), builtIn).isEmpty());
    if (linkedUserFolder) {
        QVERIFY(QDir().mkpath(Paths::applicationSupportFolder()));
        QVERIFY(QFile::link(builtIn, Paths::applicationSupportFolder() + QStringLiteral("/PlugIns")));
    }

    PluginManager manager(prefix);
    QStringList expected{builtIn};
    if (!linkedOuterLib)
        expected.append(m_tree->outerFolder());
    QCOMPARE(manager.searchFolders(), expected);
    QCOMPARE(manager.plugins().keys(), QStringList{QStringLiteral("Hello")});
    QVERIFY(manager.rejections().isEmpty());
}

void PluginManagerTest::newestVersionWins_data()
{
    // Each placement is "<fixture version>@<folder>", folders a (built-in), b (outer), c (user).
    QTest::addColumn<QStringList>("placements");
    QTest::addColumn<QString>("winner");
    QTest::newRow("1.2 then 1.2.0: equal, first stays")
        << QStringList{QStringLiteral("1.2@a"), QStringLiteral("1.2.0@c")} << QStringLiteral("1.2@a");
    QTest::newRow("1.2.0 then 1.2: equal, first stays")
        << QStringList{QStringLiteral("1.2.0@a"), QStringLiteral("1.2@b")} << QStringLiteral("1.2.0@a");
    QTest::newRow("1.10 beats 2.0.0 (1100 > 200)")
        << QStringList{QStringLiteral("2.0.0@a"), QStringLiteral("1.10@c")} << QStringLiteral("1.10@c");
    QTest::newRow("2.0.0 does not replace 1.10")
        << QStringList{QStringLiteral("1.10@a"), QStringLiteral("2.0.0@b")} << QStringLiteral("1.10@a");
    QTest::newRow("2.0.0 replaces 1.2") << QStringList{QStringLiteral("1.2@b"), QStringLiteral("2.0.0@c")}
                                        << QStringLiteral("2.0.0@c");
    QTest::newRow("no version keeps the first")
        << QStringList{QStringLiteral("unversioned@a"), QStringLiteral("2.0.0@c")} << QStringLiteral("unversioned@a");
    QTest::newRow("no version never replaces")
        << QStringList{QStringLiteral("1.2@a"), QStringLiteral("unversioned@b")} << QStringLiteral("1.2@a");
    QTest::newRow("one folder, name order") << QStringList{QStringLiteral("2.0.0@c"), QStringLiteral("1.2@c"),
                                                           QStringLiteral("1.10@c"), QStringLiteral("1.2.0@c")}
                                            << QStringLiteral("1.10@c");
}

void PluginManagerTest::newestVersionWins()
{
    QFETCH(QStringList, placements);
    QFETCH(QString, winner);
    const QHash<QString, QString> folders{{QStringLiteral("a"), m_tree->builtInFolder()},
                                          {QStringLiteral("b"), m_tree->outerFolder()},
                                          {QStringLiteral("c"), m_tree->userFolder()}};
    QHash<QString, QString> paths;
    for (const QString &placement : placements) {
        const QString version = placement.section(QLatin1Char('@'), 0, 0);
        const QString bundle = PluginTree::install(QStringLiteral("Duplicate-%1.tvr").arg(version),
                                                   folders.value(placement.section(QLatin1Char('@'), 1)));
        QVERIFY(!bundle.isEmpty());
        paths.insert(placement, bundle);
    }

    PluginManager manager(m_tree->prefix());
    const PluginManager::PluginMap plugins = manager.plugins();
    QCOMPARE(plugins.size(), 1);
    QCOMPARE(plugins.value(QStringLiteral("Duplicate"))->path(), paths.value(winner));
    QCOMPARE(manager.rejections().size(), placements.size() - 1);
}

void PluginManagerTest::joinedVersionNumber_data()
{
    QTest::addColumn<QString>("version");
    QTest::addColumn<qint64>("number");
    QTest::newRow("1.2") << QStringLiteral("1.2") << qint64(120);
    QTest::newRow("1.2.0") << QStringLiteral("1.2.0") << qint64(120);
    QTest::newRow("1.10") << QStringLiteral("1.10") << qint64(1100);
    QTest::newRow("2.0.0") << QStringLiteral("2.0.0") << qint64(200);
    QTest::newRow("no dot") << QStringLiteral("10") << qint64(10);
    QTest::newRow("four parts") << QStringLiteral("1.2.3.4") << qint64(1234);
    QTest::newRow("letters end the number") << QStringLiteral("1.2b3") << qint64(12);
    QTest::newRow("no digits") << QStringLiteral("beta") << qint64(0);
    QTest::newRow("empty") << QString() << qint64(0);
    QTest::newRow("negative") << QStringLiteral("-1.0") << qint64(-100);
    QTest::newRow("saturates") << QStringLiteral("99999.99999.9") << qint64(INT_MAX);
}

void PluginManagerTest::joinedVersionNumber()
{
    QFETCH(QString, version);
    QFETCH(qint64, number);
    QCOMPARE(PluginManager::joinedVersionNumber(version), number);
}

void PluginManagerTest::badBundlesAreLeftOutWithTheReason_data()
{
    QTest::addColumn<QString>("fixture");
    QTest::addColumn<QString>("damage");
    QTest::addColumn<QString>("reason");
    QTest::newRow("no Info.plist") << QStringLiteral("NoInfo.tvr") << QString() << QStringLiteral("no Info.plist");
    QTest::newRow("Info.plist no plist") << QStringLiteral("BadInfo.tvr") << QString()
                                         << QStringLiteral("not a property list");
    QTest::newRow("no pluginName") << QStringLiteral("Bare.tvr") << QStringLiteral("nameless")
                                   << QStringLiteral("pluginName");
    QTest::newRow("class is no plug-in") << QStringLiteral("NotAPlugin.tvr") << QString()
                                         << QStringLiteral("is not a plug-in");
    QTest::newRow("class not exported") << QStringLiteral("UnexportedClass.tvr") << QString()
                                        << QStringLiteral("does not export the class NoSuchClass");
    QTest::newRow("missing symbol") << QStringLiteral("MissingSymbol.tvr") << QString()
                                    << QStringLiteral("tivaro_fixture_function_nobody_defines");
    QTest::newRow("not a library") << QStringLiteral("Bare.tvr") << QStringLiteral("text")
                                   << QStringLiteral("is not a shared library");
    QTest::newRow("wrong architecture") << QStringLiteral("Bare.tvr") << QStringLiteral("aarch64")
                                        << QStringLiteral("built for another processor");
    QTest::newRow("library missing") << QStringLiteral("Bare.tvr") << QStringLiteral("no library")
                                     << QStringLiteral("is missing");
    QTest::newRow("class name no identifier")
        << QStringLiteral("Bare.tvr") << QStringLiteral("class name") << QStringLiteral("not a C identifier");
}

void PluginManagerTest::badBundlesAreLeftOutWithTheReason()
{
    QFETCH(QString, fixture);
    QFETCH(QString, damage);
    QFETCH(QString, reason);
    PluginTree::install(QStringLiteral("Hello.tvr"), m_tree->builtInFolder());
    const QString bundle = PluginTree::install(fixture, m_tree->userFolder());
    QVERIFY(!bundle.isEmpty());
    const QString library = bundle + QStringLiteral("/libfixture_bare.so");
    if (damage == QLatin1String("nameless")) {
        QVERIFY(PluginTree::setInfo(bundle, QStringLiteral("pluginName"), 7));
    } else if (damage == QLatin1String("text")) {
        QFile file(library);
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write("not a shared library\n");
    } else if (damage == QLatin1String("aarch64")) {
        // The ELF header's machine field (offset 18) says AArch64: a library for another processor.
        QFile file(library);
        QVERIFY(file.open(QIODevice::ReadWrite));
        QVERIFY(file.seek(18));
        file.write(QByteArray::fromHex("b700"));
    } else if (damage == QLatin1String("no library")) {
        QVERIFY(QFile::remove(library));
    } else if (damage == QLatin1String("class name")) {
        QVERIFY(PluginTree::setInfo(bundle, QStringLiteral("NSPrincipalClass"), QStringLiteral("Bare Plugin; rm")));
    }

    PluginManager manager(m_tree->prefix());
    QCOMPARE(manager.plugins().keys(), QStringList{QStringLiteral("Hello")});
    QCOMPARE(manager.rejections().size(), 1);
    QCOMPARE(manager.rejections().first().path, bundle);
    QVERIFY2(manager.rejections().first().reason.contains(reason), qPrintable(manager.rejections().first().reason));
}

void PluginManagerTest::everyScanMakesNewPlugins()
{
    PluginTree::install(QStringLiteral("Hello.tvr"), m_tree->builtInFolder());
    // Upper-case "TVR" is not the plug-in extension; such a bundle is not even looked at.
    PluginTree::install(QStringLiteral("UpperCase.TVR"), m_tree->builtInFolder());
    PluginManager manager(m_tree->prefix());
    const auto first = manager.plugins();
    const auto second = manager.plugins();
    QCOMPARE(second.keys(), QStringList{QStringLiteral("Hello")});
    QVERIFY(manager.rejections().isEmpty());
    QVERIFY(first.value(QStringLiteral("Hello")) != second.value(QStringLiteral("Hello")));
    QVERIFY(PluginManager::pluginManager().get() != PluginManager::pluginManager().get());
    // The build tree's list of default plug-ins is readable, so every plug-in here is another one.
    QVERIFY(PluginManager::defaultPlugins().has_value());
    QCOMPARE(manager.otherPlugins(), QStringList{QStringLiteral("Hello")});
}

void PluginManagerTest::syncChoice_data()
{
    const auto tool = [](const char *name, bool sync) {
        return QVariantMap{{QStringLiteral("tool"), QLatin1String(name)}, {QStringLiteral("sync"), sync}};
    };
    const QVariantList tools{tool("News", true), tool("Notes", false), tool("Gone", true)};
    QTest::addColumn<QVariantMap>("choice");
    QTest::addColumn<QStringList>("expected");
    const QStringList all{QStringLiteral("Contacts"), QStringLiteral("News"), QStringLiteral("Notes")};
    QTest::newRow("empty choice: all") << QVariantMap() << all;
    QTest::newRow("syncAll wins") << QVariantMap{{QStringLiteral("syncAll"), true},
                                                 {QStringLiteral("syncOnlySelected"), true},
                                                 {QStringLiteral("tools"), tools}}
                                  << all;
    QTest::newRow("only selected, uninstalled kept")
        << QVariantMap{{QStringLiteral("syncOnlySelected"), true}, {QStringLiteral("tools"), tools}}
        << QStringList{QStringLiteral("News"), QStringLiteral("Gone")};
    QTest::newRow("all but selected") << QVariantMap{{QStringLiteral("syncAllButSelected"), true},
                                                     {QStringLiteral("tools"), tools}}
                                      << QStringList{QStringLiteral("Contacts"), QStringLiteral("Notes")};
    QTest::newRow("no flag set: none") << QVariantMap{{QStringLiteral("syncAll"), false},
                                                      {QStringLiteral("tools"), tools}}
                                       << QStringList();

    // Booleans stored as text or numbers read as UserDefaults::boolForKey reads them.
    const auto textTool = [](const char *name, const QVariant &sync) {
        return QVariantMap{{QStringLiteral("tool"), QLatin1String(name)}, {QStringLiteral("sync"), sync}};
    };
    const QVariantList textTools{textTool("News", QStringLiteral("YES")), textTool("Notes", QStringLiteral("NO")),
                                 textTool("Contacts", QStringLiteral("no"))};
    QTest::newRow("\"NO\" is false, \"YES\" true")
        << QVariantMap{{QStringLiteral("syncAll"), QStringLiteral("NO")},
                       {QStringLiteral("syncOnlySelected"), QStringLiteral("YES")},
                       {QStringLiteral("tools"), textTools}}
        << QStringList{QStringLiteral("News")};
    QTest::newRow("\"false\" and 0 are false, \"true\" and 1 true")
        << QVariantMap{{QStringLiteral("syncAll"), QStringLiteral("false")},
                       {QStringLiteral("syncOnlySelected"), 0},
                       {QStringLiteral("syncAllButSelected"), QStringLiteral("true")},
                       {QStringLiteral("tools"), QVariantList{textTool("Notes", 1), textTool("News", 0.0)}}}
        << QStringList{QStringLiteral("Contacts"), QStringLiteral("News")};
}

void PluginManagerTest::syncChoice()
{
    QFETCH(QVariantMap, choice);
    QFETCH(QStringList, expected);
    const QStringList all{QStringLiteral("Contacts"), QStringLiteral("News"), QStringLiteral("Notes")};
    QCOMPARE(ConfigureSyncUtils::plugins(all, choice), expected);
}

QTEST_MAIN(PluginManagerTest)
#include "tst_pluginmanager.moc"
