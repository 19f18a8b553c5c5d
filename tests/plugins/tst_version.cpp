#include "core/PropertyList.h"
#include "plugins/NSApplicationXtras_p.h"
#include "plugins/TVRInternalUtils_p.h"
#include "plugins/TVRVersion.h"

#include <QCoreApplication>
#include <QDir>
#include <QTemporaryDir>
#include <QTest>

#include <sys/utsname.h>

#include <tuple>

Q_DECLARE_METATYPE(TVRVersion)

class TestVersion : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void parse_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("ok");
        QTest::addColumn<QString>("expected");
        QTest::newRow("three parts") << "1.2.3" << true << "1.2.3";
        QTest::newRow("two parts") << "1.2" << true << "1.2.0";
        QTest::newRow("empty middle part") << "1..3" << true << "1.0.3";
        QTest::newRow("fourth part ignored") << "1.2.3.4" << true << "1.2.3";
        QTest::newRow("leading zeros") << "01.002.0030" << true << "1.2.30";
        QTest::newRow("empty") << "" << true << "0.0.0";
        QTest::newRow("largest part") << "4294967295" << true << "4294967295.0.0";
        QTest::newRow("beyond 32 bits clamped")
            << "4294967296.99999999999999999999.2" << true << "4294967295.4294967295.2";
        QTest::newRow("null") << QString() << false << "0.0.0";
        QTest::newRow("letter suffix") << "1.2a" << false << "0.0.0";
        QTest::newRow("space") << "1.2 " << false << "0.0.0";
        QTest::newRow("sign") << "-1" << false << "0.0.0";
        QTest::newRow("non-ASCII digit") << "1.\u0662" << false << "0.0.0";
        QTest::newRow("ignored part still checked") << "1.2.3.x" << false << "0.0.0";
    }

    void parse()
    {
        QFETCH(QString, text);
        QFETCH(bool, ok);
        QFETCH(QString, expected);
        // A failed parse leaves zeros behind, whatever the object held before.
        TVRVersion version(9, 9, 9);
        QCOMPARE(version.parseString(text), ok);
        QCOMPARE(version.stringValue(), expected);
        QCOMPARE(TVRVersion::versionWithString(text).has_value(), ok);
    }

    void compare_data()
    {
        // Each pair is checked both ways.
        QTest::addColumn<TVRVersion>("newer");
        QTest::addColumn<TVRVersion>("older");
        QTest::addColumn<bool>("equal");
        QTest::newRow("equal") << TVRVersion(1, 2, 3) << TVRVersion(1, 2, 3) << true;
        QTest::newRow("major over minor") << TVRVersion(2, 0, 0) << TVRVersion(1, 9, 9) << false;
        QTest::newRow("minor over update") << TVRVersion(1, 3, 0) << TVRVersion(1, 2, 9) << false;
        QTest::newRow("update") << TVRVersion(1, 2, 4) << TVRVersion(1, 2, 3) << false;
        QTest::newRow("unsigned") << TVRVersion(0xFFFFFFFFu, 0, 0) << TVRVersion(1, 0, 0) << false;
    }

    void compare()
    {
        QFETCH(TVRVersion, newer);
        QFETCH(TVRVersion, older);
        QFETCH(bool, equal);
        QCOMPARE(newer.isNewer(older), !equal);
        QVERIFY(!older.isNewer(newer));
        QCOMPARE(newer.isEqualToVersion(older), equal);
        QCOMPARE(older.isEqualToVersion(newer), equal);
        QVERIFY(newer.isEqualToOrNewer(older));
        QCOMPARE(older.isEqualToOrNewer(newer), equal);
        // isOlder() is false for every pair, so only equal versions are "equal or older".
        QVERIFY(!newer.isOlder(older) && !older.isOlder(newer));
        QCOMPARE(newer.isEqualToOrOlder(older), equal);
        QCOMPARE(older.isEqualToOrOlder(newer), equal);
    }

    void tivaroVersion() { QCOMPARE(TVRVersion::TivaroVersion().value().stringValue(), TIVARO_EXPECTED_VERSION); }

    void systemVersion_data()
    {
        QTest::addColumn<QString>("release");
        QTest::addColumn<quint32>("expected");
        QTest::newRow("Debian kernel") << "6.1.0-18-amd64" << 0x0610u;
        QTest::newRow("two parts") << "5.4" << 0x0540u;
        QTest::newRow("Tiger's last") << "10.4.11" << 0x1049u;
        QTest::newRow("minor clamped") << "4.19.0" << 0x0490u;
        QTest::newRow("major with suffix") << "3-rc1" << 0x0300u;
        QTest::newRow("three-digit major") << "123.4.5" << 0x12345u;
        QTest::newRow("major clamped") << "12345678.1.2" << 0x99999912u;
        QTest::newRow("no number") << "unknown" << 0u;
    }

    void systemVersion()
    {
        QFETCH(QString, release);
        QTEST(NSApplicationXtras::versionFromRelease(release), "expected");
        utsname system{};
        QCOMPARE(::uname(&system), 0);
        QCOMPARE(NSApplicationXtras::MacOSVersion(), NSApplicationXtras::versionFromRelease(system.release));
    }

    void runningOn_data()
    {
        QTest::addColumn<quint32>("version");
        QTest::addColumn<QString>("system");
        const std::pair<quint32, const char *> rows[] = {
            {0x101F, ""},      {0x1020, "Jaguar"}, {0x102F, "Jaguar"}, {0x1030, "Panther"}, {0x103F, "Panther"},
            {0x1040, "Tiger"}, {0x1049, "Tiger"},  {0x104F, "Tiger"},  {0x1050, ""},        {0x0610, ""}};
        for (const auto &[version, system] : rows)
            QTest::addRow("0x%04X", version) << version << QString(system);
    }

    void runningOn()
    {
        QFETCH(quint32, version);
        QFETCH(QString, system);
        QCOMPARE(NSApplicationXtras::runningOnJaguar(version), system == "Jaguar");
        QCOMPARE(NSApplicationXtras::runningOnPanther(version), system == "Panther");
        QCOMPARE(NSApplicationXtras::runningOnTiger(version), system == "Tiger");
    }

    void localizedString_data()
    {
        QTest::addColumn<QStringList>("languages");
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("expected");
        const std::tuple<const char *, QStringList, const char *, const char *> rows[] = {
            {"region first", {"fr-CA"}, "Syncing", "Synchronisation (CA)"},
            {"then language", {"fr-FR"}, "Syncing", "Synchronisation"},
            {"key by key", {"fr-CA"}, "Warning", "Attention"},
            {"second language", {"xx", "de"}, "Syncing", "Synchronisierung"},
            {"English last", {"de"}, "OK", "Okay"},
            {"unknown key", {"fr"}, "Nowhere", "Nowhere"},
            {"non-string value", {"fr"}, "Number", "Number"},
            {"corrupt table skipped", {"it"}, "Syncing", "Syncing"},
            {"no path from a language", {"../fr"}, "Syncing", "Syncing"}};
        for (const auto &[tag, languages, key, expected] : rows)
            QTest::newRow(tag) << languages << QString(key) << QString(expected);
    }

    void localizedString()
    {
        QTemporaryDir resources;
        const auto table = [&resources](const QString &name, const QVariant &strings) {
            const QString path = resources.filePath(name + ".lproj/Localizable.plist");
            QVERIFY(QDir().mkpath(QFileInfo(path).path()) && PropertyList::writeFile(path, strings));
        };
        table("fr_CA", QVariantMap{{"Syncing", "Synchronisation (CA)"}});
        table("fr", QVariantMap{{"Syncing", "Synchronisation"}, {"Warning", "Attention"}, {"Number", qint64(3)}});
        table("de", QVariantMap{{"Syncing", "Synchronisierung"}});
        table("English", QVariantMap{{"OK", "Okay"}});
        table("it", QVariantList{"Sincronizzazione"});
        QFETCH(QStringList, languages);
        QFETCH(QString, key);
        QTEST(TVRInternalUtils::localizedString(key, resources.path(), languages), "expected");
    }

    void shippedStrings()
    {
        // Test programs run from <prefix>/bin, beside the resources the build laid out.
        const QString prefix = QDir::cleanPath(QCoreApplication::applicationDirPath() + "/..");
        QCOMPARE(TVRInternalUtils::TivaroFrameworkBundlePath(), prefix);
        QCOMPARE(TVRInternalUtils::TivaroFrameworkResourcesPath(), prefix + "/share/tivaro");
        // The English table translators start from: every key maps to its own text.
        const QVariantMap english =
            PropertyList::readFile(prefix + "/share/tivaro/English.lproj/Localizable.plist").value_or(0).toMap();
        QVERIFY(english.contains("Preparing..."));
        for (auto it = english.cbegin(); it != english.cend(); ++it)
            QCOMPARE(it.value(), QVariant(it.key()));
    }
};

QTEST_GUILESS_MAIN(TestVersion)
#include "tst_version.moc"
