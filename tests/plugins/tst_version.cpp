#include "core/PropertyList.h"
#include "plugins/NSApplicationXtras.h"
#include "plugins/TVRInternalUtils.h"
#include "plugins/TVRVersion.h"

#include <QCoreApplication>
#include <QDir>
#include <QTemporaryDir>
#include <QTest>

#include <sys/utsname.h>

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
        QCOMPARE(version.description(), expected);
        const QStringList parts = expected.split('.');
        QCOMPARE(version.major(), parts.at(0).toUInt());
        QCOMPARE(version.minor(), parts.at(1).toUInt());
        QCOMPARE(version.update(), parts.at(2).toUInt());
        QCOMPARE(TVRVersion::versionWithString(text).has_value(), ok);
    }

    void compare_data()
    {
        QTest::addColumn<TVRVersion>("a");
        QTest::addColumn<TVRVersion>("b");
        QTest::addColumn<bool>("newer");
        QTest::addColumn<bool>("equal");
        QTest::newRow("equal") << TVRVersion(1, 2, 3) << TVRVersion(1, 2, 3) << false << true;
        QTest::newRow("major over minor") << TVRVersion(2, 0, 0) << TVRVersion(1, 9, 9) << true << false;
        QTest::newRow("major older") << TVRVersion(1, 9, 9) << TVRVersion(2, 0, 0) << false << false;
        QTest::newRow("minor over update") << TVRVersion(1, 3, 0) << TVRVersion(1, 2, 9) << true << false;
        QTest::newRow("minor older") << TVRVersion(1, 2, 9) << TVRVersion(1, 3, 0) << false << false;
        QTest::newRow("update newer") << TVRVersion(1, 2, 4) << TVRVersion(1, 2, 3) << true << false;
        QTest::newRow("update older") << TVRVersion(1, 2, 3) << TVRVersion(1, 2, 4) << false << false;
        QTest::newRow("unsigned") << TVRVersion(0xFFFFFFFFu, 0, 0) << TVRVersion(1, 0, 0) << true << false;
    }

    void compare()
    {
        QFETCH(TVRVersion, a);
        QFETCH(TVRVersion, b);
        QFETCH(bool, newer);
        QFETCH(bool, equal);
        QCOMPARE(a.isNewer(b), newer);
        QCOMPARE(a.isEqualToVersion(b), equal);
        QCOMPARE(a.isEqualToOrNewer(b), newer || equal);
        // isOlder() is false for every pair, so only equal versions are "equal or older".
        QVERIFY(!a.isOlder(b) && !b.isOlder(a));
        QCOMPARE(a.isEqualToOrOlder(b), equal);
        QCOMPARE(b.isEqualToOrOlder(a), equal);
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
        QTest::newRow("region first") << QStringList{"fr-CA"} << "Syncing"
                                      << "Synchronisation (CA)";
        QTest::newRow("then language") << QStringList{"fr-FR"} << "Syncing"
                                       << "Synchronisation";
        QTest::newRow("key by key") << QStringList{"fr-CA"} << "Warning"
                                    << "Attention";
        QTest::newRow("second language") << QStringList{"xx", "de"} << "Syncing"
                                         << "Synchronisierung";
        QTest::newRow("English last") << QStringList{"de"} << "OK"
                                      << "Okay";
        QTest::newRow("unknown key") << QStringList{"fr"} << "Nowhere"
                                     << "Nowhere";
        QTest::newRow("non-string value") << QStringList{"fr"} << "Number"
                                          << "Number";
        QTest::newRow("corrupt table skipped") << QStringList{"it"} << "Syncing"
                                               << "Syncing";
        QTest::newRow("no path from a language") << QStringList{"../fr"} << "Syncing"
                                                 << "Syncing";
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
