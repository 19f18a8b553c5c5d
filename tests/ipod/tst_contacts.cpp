#include "IPodFixture.h"
#include "TemporaryHome.h"

#include "ipod/TVRContactsManager.h"
#include "ipod/TVRiPod.h"

#include <QDir>
#include <QStringEncoder>
#include <QtTest>

class ContactsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void fileName_data();
    void fileName();
    void cardFormat_data();
    void cardFormat();
    void appendsDataInEitherEncoding_data();
    void appendsDataInEitherEncoding();
    void nothingGatheredWritesNothing();
    void writesAndReplacesTheFile();
    void writeFailsCleanlyWhenContactsIsAFile();
    void removesTheFile();

private:
    TemporaryHome m_home;
    QTemporaryDir m_volumes;
    TVRiPodPtr m_iPod;
};

void ContactsTest::initTestCase()
{
    QVERIFY(m_home.isValid());
}

void ContactsTest::init()
{
    const QString root = m_volumes.path() + QLatin1Char('/') + QString::fromLatin1(QTest::currentTestFunction());
    QDir(root).removeRecursively();
    m_iPod = TVRiPod::withPath(IPodFixture::createWithFamily(root, 1, QStringLiteral("S")));
}

void ContactsTest::fileName_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("file");
    QTest::newRow("plain") << "LastSync"
                           << "TVR-LastSync.vcf";
    QTest::newRow("extension dropped") << "LastSync.txt"
                                       << "TVR-LastSync.vcf";
    QTest::newRow("only the last extension") << "a.b.c"
                                             << "TVR-a.b.vcf";
}

void ContactsTest::fileName()
{
    QFETCH(QString, name);
    QFETCH(QString, file);
    const std::shared_ptr<TVRContactsManager> manager = m_iPod->contactsManagerNamed(name);
    QCOMPARE(manager->contactsPath(), m_iPod->contactsFolder() + QLatin1Char('/') + file);
    QCOMPARE(manager->name(), file.chopped(4));
}

void ContactsTest::cardFormat_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QStringList>("orgValues");
    QTest::newRow("line ends escaped") << "a\nb\rc" << QStringList{"a\\nb\\nc"};
    QTest::newRow("CRLF gives two escapes") << "a\r\nb" << QStringList{"a\\n\\nb"};
    QTest::newRow("empty text has no ORG line") << "" << QStringList{};
    QTest::newRow("exactly 2000") << QString(2000, 'x') << QStringList{QString(2000, 'x')};
    QTest::newRow("4001 in three lines") << QString(4001, 'y')
                                         << QStringList{QString(2000, 'y'), QString(2000, 'y'), "y"};
    const QString emoji = QStringLiteral("\U0001F600");
    QTest::newRow("a pair is never split") << QString(1999, 'e') + emoji << QStringList{QString(1999, 'e'), emoji};
    QTest::newRow("escapes counted after escaping") << QString(1999, 'z') + "\n"
                                                    << QStringList{QString(1999, 'z') + "\\", "n"};
}

void ContactsTest::cardFormat()
{
    QFETCH(QString, text);
    QFETCH(QStringList, orgValues);
    QString org;
    for (const QString &value : orgValues)
        org += "ORG:" + value + "\r";
    const QString expected = "BEGIN:VCARD\rVERSION:3.0\rN:Title: not\\escaped\r" + org + "END:VCARD\r";
    const std::shared_ptr<TVRContactsManager> manager = m_iPod->contactsManagerNamed("News");
    manager->appendContactWithText(text, "Title: not\\escaped");
    QCOMPARE(manager->contacts(), expected);
    QCOMPARE(manager->dataLength(), qint32(expected.size()));
    manager->appendContact("RAW\r");
    QCOMPARE(manager->contacts(), expected + "RAW\r");
}

void ContactsTest::appendsDataInEitherEncoding_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QString>("appended");
    QStringEncoder utf16(QStringConverter::Utf16, QStringConverter::Flag::WriteBom);
    QTest::newRow("UTF-8") << QString("Zoë").toUtf8() << "Zoë";
    QTest::newRow("UTF-16 with byte-order mark") << QByteArray(utf16.encode(QString("Zoë"))) << "Zoë";
    QTest::newRow("neither: odd length, invalid UTF-8") << QByteArray("\xFF\xC0\x80") << "";
}

void ContactsTest::appendsDataInEitherEncoding()
{
    QFETCH(QByteArray, data);
    QFETCH(QString, appended);
    const std::shared_ptr<TVRContactsManager> manager = m_iPod->contactsManagerNamed("Data");
    manager->appendContactData(data);
    QCOMPARE(manager->contacts(), appended);
}

void ContactsTest::nothingGatheredWritesNothing()
{
    const std::shared_ptr<TVRContactsManager> manager = m_iPod->contactsManagerNamed("Empty");
    QVERIFY(!manager->writeContactsFileToiPod());
    QVERIFY(!QFileInfo::exists(m_iPod->contactsFolder()));
}

void ContactsTest::writesAndReplacesTheFile()
{
    std::shared_ptr<TVRContactsManager> manager = m_iPod->contactsManagerNamed("LastSync.txt");
    manager->appendContactWithText("Sync done\nno errors", "Last sync");
    manager->appendContactWithText("second", "Two");
    QVERIFY(manager->writeContactsFileToiPod());
    const QByteArray written = IPodFixture::readFile(m_iPod->contactsFolder() + "/TVR-LastSync.vcf");
    QCOMPARE(QString::fromUtf8(written), manager->contacts());
    QCOMPARE(m_iPod->numberOfContacts(), 3);

    manager = m_iPod->contactsManagerNamed("LastSync");
    manager->appendContactWithText("ünïcödé", "Ä");
    QVERIFY(manager->writeContactsFileToiPod());
    QCOMPARE(QString::fromUtf8(IPodFixture::readFile(manager->contactsPath())), manager->contacts());
    QCOMPARE(QDir(m_iPod->contactsFolder()).entryList(QDir::Files | QDir::Hidden), QStringList{"TVR-LastSync.vcf"});
}

void ContactsTest::writeFailsCleanlyWhenContactsIsAFile()
{
    IPodFixture::writeFile(m_iPod->path(), "Contacts", "in the way");
    const std::shared_ptr<TVRContactsManager> manager = m_iPod->contactsManagerNamed("News");
    manager->appendContactWithText("text", "title");
    QVERIFY(!manager->writeContactsFileToiPod());
    QVERIFY(manager->errorString().contains("TVR-News.vcf"));
    QCOMPARE(IPodFixture::readFile(m_iPod->path() + "/Contacts"), QByteArray("in the way"));
}

void ContactsTest::removesTheFile()
{
    const std::shared_ptr<TVRContactsManager> manager = m_iPod->contactsManagerNamed("News");
    manager->removeContactsFileFromiPod();
    manager->appendContactWithText("text", "title");
    QVERIFY(manager->writeContactsFileToiPod());
    IPodFixture::writeFile(m_iPod->path(), "Contacts/Mine.vcf", "BEGIN:VCARD\rEND:VCARD\r");
    manager->removeContactsFileFromiPod();
    QCOMPARE(QDir(m_iPod->contactsFolder()).entryList(QDir::Files), QStringList{"Mine.vcf"});
}

QTEST_GUILESS_MAIN(ContactsTest)
#include "tst_contacts.moc"
