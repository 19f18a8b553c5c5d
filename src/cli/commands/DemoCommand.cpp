#include "DemoCommand.h"

#include "ArgumentParser.h"
#include "Console.h"
#include "ExitCode.h"

#include "core/Paths.h"

#include <QCoreApplication>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QSaveFile>
#include <QtEndian>

#include <csignal>

namespace {

const QString kMarker = QStringLiteral(".tivaro-demo");
const QString kDeviceName = QStringLiteral("Tivaro Demo");

// A fifth-generation (video) iPod: a colour screen, notes up to 4 KB a page.
const QByteArray kSysInfo = QByteArrayLiteral("BoardHwName: iPod M25\n"
                                              "pszSerialNumber: TIVARODEMO1\n"
                                              "ModelNumStr: xA002\n"
                                              "boardHwSwInterfaceRev: 0x000B0005 (B.0 5)\n"
                                              "visibleBuildID: 0x01318000 (1.3.1)\n");

struct SampleFeed {
    const char *file;
    const char *title;
    const char *options;
};

const SampleFeed kSampleFeeds[] = {
    {"tivaro-news.xml", "Tivaro Project News", ""},
    {"ipod-tips.xml", "Classic iPod Tips", " withArticles=\"true\" numberOfArticles=\"3\""},
    {"open-web.rdf", "Open Web Digest", " showSummary=\"false\""},
};

bool writeFile(const QString &path, const QByteArray &data)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QSaveFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(data) == data.size() && file.commit();
}

// The name as the iPod keeps it: a 16-bit count of characters, then UTF-16LE, in a 1,536-byte file.
QByteArray deviceInfo(const QString &name)
{
    QByteArray data(1536, '\0');
    qToLittleEndian<quint16>(quint16(name.size()), data.data());
    for (qsizetype i = 0; i < name.size(); ++i)
        qToLittleEndian<quint16>(name.at(i).unicode(), data.data() + 2 + 2 * i);
    return data;
}

QString xmlEscaped(const QString &text)
{
    return text.toHtmlEscaped();
}

} // namespace

int DemoCommand::run(const QStringList &arguments, Console &console)
{
    ArgumentParser options(*this, QStringLiteral("Makes a demo iPod in FOLDER (by default \"tivaro-demo\" in the "
                                                 "current folder), syncs the sample news feeds that come with Tivaro "
                                                 "onto it with the News plug-in, then shows the notes written. No iPod "
                                                 "and no network are needed; your own settings are not touched. Run it "
                                                 "again to start afresh."));
    const QCommandLineOption folderOption(QStringLiteral("folder"), QStringLiteral("Where the demo goes."),
                                          QStringLiteral("FOLDER"), QStringLiteral("tivaro-demo"));
    options.addOption(folderOption);
    if (const std::optional<int> exit = options.parse(arguments, console))
        return *exit;
    const QString folder = QFileInfo(options.parser().value(folderOption)).absoluteFilePath();
    const QString iPod = folder + QLatin1Char('/') + kDeviceName;
    const QString subscriptions = folder + QStringLiteral("/Subscriptions.opml");
    if (!prepareFolder(folder, console) || !createDemoIPod(iPod, console) ||
        !writeSubscriptions(subscriptions, console))
        return ExitCode::Failure;

    console.print(QStringLiteral("A demo iPod \"%1\" is at %2\n").arg(kDeviceName, iPod));
    const QProcessEnvironment environment = demoEnvironment(folder);
    if (const int status = runTivaro({QStringLiteral("news"), QStringLiteral("import"), subscriptions}, environment))
        return console.fail(QStringLiteral("the sample feeds could not be imported"), status);
    console.print(QString());
    const int status = runTivaro(
        {QStringLiteral("sync"), QStringLiteral("--ipod"), iPod, QStringLiteral("--quick"), QStringLiteral("News")},
        environment);
    printNotes(iPod + QStringLiteral("/Notes"), console);
    return status;
}

bool DemoCommand::prepareFolder(const QString &folder, Console &console)
{
    const QDir dir(folder);
    if (dir.exists() && !QFileInfo::exists(dir.filePath(kMarker)) &&
        !dir.entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden).isEmpty()) {
        console.fail(QStringLiteral("%1 exists and is not a Tivaro demo; choose another with --folder").arg(folder),
                     ExitCode::Failure);
        return false;
    }
    // Only the demo's own iPod goes: its settings and logs stay, as a user's would.
    QDir(dir.filePath(kDeviceName)).removeRecursively();
    if (!writeFile(dir.filePath(kMarker), QByteArrayLiteral("Made by tivaro demo.\n"))) {
        console.fail(QStringLiteral("cannot write into %1").arg(folder), ExitCode::Failure);
        return false;
    }
    return true;
}

bool DemoCommand::createDemoIPod(const QString &iPod, Console &console)
{
    const bool made = writeFile(iPod + QStringLiteral("/iPod_Control/Device/SysInfo"), kSysInfo) &&
                      writeFile(iPod + QStringLiteral("/iPod_Control/iTunes/DeviceInfo"), deviceInfo(kDeviceName)) &&
                      QDir().mkpath(iPod + QStringLiteral("/Notes"));
    if (!made)
        console.fail(QStringLiteral("cannot make the demo iPod at %1").arg(iPod), ExitCode::Failure);
    return made;
}

bool DemoCommand::writeSubscriptions(const QString &path, Console &console)
{
    const QString feeds = Paths::frameworkResourcesFolder() + QStringLiteral("/demo/feeds/");
    QString outlines;
    for (const SampleFeed &feed : kSampleFeeds) {
        const QString file = feeds + QLatin1String(feed.file);
        if (!QFileInfo(file).isFile()) {
            console.fail(QStringLiteral("the sample feed %1 is missing; is Tivaro installed whole?").arg(file),
                         ExitCode::Failure);
            return false;
        }
        outlines +=
            QStringLiteral("    <outline type=\"rss\" text=\"%1\" xmlUrl=\"%2\"%3/>\n")
                .arg(xmlEscaped(QLatin1String(feed.title)),
                     xmlEscaped(QUrl::fromLocalFile(file).toString(QUrl::FullyEncoded)), QLatin1String(feed.options));
    }
    const QString opml = QStringLiteral("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<opml version=\"2.0\">\n"
                                        "  <head><title>Tivaro demo feeds</title></head>\n  <body>\n%1  </body>\n"
                                        "</opml>\n")
                             .arg(outlines);
    if (!writeFile(path, opml.toUtf8())) {
        console.fail(QStringLiteral("cannot write %1").arg(path), ExitCode::Failure);
        return false;
    }
    return true;
}

QProcessEnvironment DemoCommand::demoEnvironment(const QString &folder)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), folder + QStringLiteral("/home/config"));
    environment.insert(QStringLiteral("XDG_DATA_HOME"), folder + QStringLiteral("/home/data"));
    environment.insert(QStringLiteral("XDG_CACHE_HOME"), folder + QStringLiteral("/home/cache"));
    return environment;
}

int DemoCommand::runTivaro(const QStringList &arguments, const QProcessEnvironment &environment)
{
    QProcess tivaro;
    tivaro.setProcessEnvironment(environment);
    tivaro.setProcessChannelMode(QProcess::ForwardedChannels);
    tivaro.setInputChannelMode(QProcess::ForwardedInputChannel);
    // Ctrl-C reaches the sync itself, which cancels cleanly; the demo waits for it to end.
    const auto previous = std::signal(SIGINT, SIG_IGN);
    tivaro.start(QCoreApplication::applicationFilePath(), arguments);
    tivaro.waitForFinished(-1);
    std::signal(SIGINT, previous);
    if (tivaro.exitStatus() != QProcess::NormalExit)
        return ExitCode::Failure;
    return tivaro.exitCode();
}

void DemoCommand::printNotes(const QString &notesFolder, Console &console)
{
    console.print(QStringLiteral("\nNotes written (%1):").arg(notesFolder));
    QStringList files;
    QDirIterator walk(notesFolder, QDir::Files, QDirIterator::Subdirectories);
    while (walk.hasNext())
        files.append(QDir(notesFolder).relativeFilePath(walk.next()));
    files.sort();
    for (const QString &file : files)
        console.print(
            QStringLiteral("  %1  %2 bytes").arg(file).arg(QFileInfo(notesFolder + QLatin1Char('/') + file).size()));
    const QString first = notesFolder + QStringLiteral("/News/Classic iPod Tips.txt");
    QFile page(first);
    if (!page.open(QIODevice::ReadOnly))
        return;
    console.print(QStringLiteral("\nThe first page of \"Classic iPod Tips\", as the iPod reads it:\n"));
    console.print(QString::fromUtf8(page.readAll()).replace(QLatin1Char('\r'), QLatin1Char('\n')));
}
