#include "CliRun.h"
#include "PluginTree.h"
#include "TemporaryHome.h"

#include "core/Paths.h"
#include "core/PropertyList.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

// `tivaro plugins` as installed: a copy of the program in a prefix of its own, with a bundled
// plug-in listed in DefaultPlugins.plist, a plug-in the user added and a bundle that cannot load.
class CliPluginsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void listsBundledAndUserPluginsAsJson();
    void listsThemAsText();
    void refusesArguments();

private:
    QString program() const { return m_tree.prefix() + QStringLiteral("/bin/tivaro"); }

    TemporaryHome m_home;
    PluginTree m_tree;
};

void CliPluginsTest::initTestCase()
{
    QVERIFY(m_home.isValid() && m_tree.isValid());
    // The program finds its prefix from where it runs, so a copy of it is an installed Tivaro.
    QVERIFY(QDir().mkpath(m_tree.prefix() + QStringLiteral("/bin")));
    QVERIFY(QFile::copy(qEnvironmentVariable("TIVARO_CLI"), program()));
    QVERIFY(QFile::setPermissions(program(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    QVERIFY(QDir().mkpath(m_tree.prefix() + QStringLiteral("/share/tivaro")));
    QVERIFY(PropertyList::writeFile(m_tree.prefix() + QStringLiteral("/share/tivaro/DefaultPlugins.plist"),
                                    QVariantList{QStringLiteral("Hello")}));

    QVERIFY(!PluginTree::install(QStringLiteral("Hello.tvr"), m_tree.builtInFolder()).isEmpty());
    QVERIFY(
        !PluginTree::install(QStringLiteral("Bare Apps.tvr"), m_tree.userFolder(QStringLiteral("plugins"))).isEmpty());
    QVERIFY(
        !PluginTree::install(QStringLiteral("NotAPlugin.tvr"), m_tree.userFolder(QStringLiteral("plugins"))).isEmpty());
}

void CliPluginsTest::listsBundledAndUserPluginsAsJson()
{
    const CliRun result = CliRun::run({"plugins", "--json"}, {}, program());
    QCOMPARE(result.exitCode, 0);
    const QJsonObject json = QJsonDocument::fromJson(result.out.toUtf8()).object();

    const QJsonArray plugins = json.value("plugins").toArray();
    QCOMPARE(plugins.size(), 2);
    const QJsonObject apps = plugins.at(0).toObject();
    QCOMPARE(apps.value("name").toString(), QStringLiteral("Bare Apps"));
    QCOMPARE(apps.value("version").toString(), QStringLiteral("0.9"));
    QCOMPARE(apps.value("kind").toString(), QStringLiteral("apps"));
    QCOMPARE(apps.value("isDefault").toBool(), false);
    QCOMPARE(apps.value("hasSettings").toBool(), false);
    const QJsonObject hello = plugins.at(1).toObject();
    QCOMPARE(hello.value("name").toString(), QStringLiteral("Hello"));
    QCOMPARE(hello.value("path").toString(), m_tree.builtInFolder() + QStringLiteral("/Hello.tvr"));
    QCOMPARE(hello.value("kind").toString(), QStringLiteral("plugin"));
    QCOMPARE(hello.value("isDefault").toBool(), true);
    QCOMPARE(hello.value("hasSettings").toBool(), true);

    const QJsonArray leftOut = json.value("leftOut").toArray();
    QCOMPARE(leftOut.size(), 1);
    QVERIFY(leftOut.at(0).toObject().value("path").toString().endsWith("/plugins/NotAPlugin.tvr"));
    QVERIFY(leftOut.at(0).toObject().value("reason").toString().contains("not a plug-in"));
    QCOMPARE(json.value("folders").toArray().size(), 3);
}

void CliPluginsTest::listsThemAsText()
{
    const CliRun result = CliRun::run({"plugins"}, {}, program());
    QCOMPARE(result.exitCode, 0);
    QVERIFY2(result.out.contains("Hello 1.0: plug-in, comes with Tivaro, has settings"), qPrintable(result.out));
    QVERIFY2(result.out.contains("Bare Apps 0.9: apps plug-in, added"), qPrintable(result.out));
    QVERIFY2(result.out.contains("These bundles were left out:"), qPrintable(result.out));
    QVERIFY(result.err.isEmpty());
}

void CliPluginsTest::refusesArguments()
{
    const CliRun result = CliRun::run({"plugins", "extra"}, {}, program());
    QCOMPARE(result.exitCode, 2);
    QVERIFY(result.err.contains("plugins takes no arguments"));
}

QTEST_MAIN(CliPluginsTest)
#include "tst_cli_plugins.moc"
