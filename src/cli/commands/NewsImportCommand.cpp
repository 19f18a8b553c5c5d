#include "NewsImportCommand.h"

#include "ArgumentParser.h"
#include "Console.h"
#include "ExitCode.h"
#include "PrefsCommand.h"
#include "preferences/PreferenceStore.h"

#include "core/Paths.h"
#include "feeds/TVROPMLDocument.h"
#include "feeds/TVROPMLNode.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

namespace {

const QString kPluginName = QStringLiteral("News");
const QString kSubscriptionsKey = QStringLiteral("subscriptions");

// "title <url>" for every outline that names a feed, through folders.
void listFeeds(const Node &parent, QStringList &feeds)
{
    for (const std::shared_ptr<Node> &child : parent.children()) {
        const auto &outline = static_cast<const TVROPMLNode &>(*child);
        for (const auto &[key, value] : outline.attributes()) {
            if (key == QLatin1String("xmlUrl") && !value.trimmed().isEmpty())
                feeds.append(QStringLiteral("%1 <%2>").arg(outline.text(), value.trimmed()));
        }
        listFeeds(*child, feeds);
    }
}

bool saveCopy(const QByteArray &data, const QString &path, QString *error)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QSaveFile file(path);
    if (file.open(QIODevice::WriteOnly) && file.write(data) == data.size() && file.commit())
        return true;
    *error = file.errorString();
    return false;
}

} // namespace

QString NewsImportCommand::subscriptionsPath()
{
    return Paths::applicationSupportFolder() + QStringLiteral("/News/Subscriptions.opml");
}

int NewsImportCommand::run(const QStringList &arguments, Console &console)
{
    ArgumentParser options(*this, QStringLiteral("Copies an OPML file of feed subscriptions (as feed readers export "
                                                 "them) to %1 and makes it the News plug-in's \"%2\" setting. The "
                                                 "outline attributes numberOfArticles, withArticles and showSummary "
                                                 "set a feed's options.")
                                      .arg(subscriptionsPath(), kSubscriptionsKey));
    options.addPositional(QStringLiteral("FILE"), QStringLiteral("The OPML file."), QStringLiteral("FILE"));
    if (const std::optional<int> exit = options.parse(arguments, console))
        return *exit;
    const QStringList files = options.parser().positionalArguments();
    if (files.size() != 1)
        return console.fail(QStringLiteral("news import takes one FILE"), ExitCode::Usage);
    QFile file(files.constFirst());
    if (!file.open(QIODevice::ReadOnly))
        return console.fail(QStringLiteral("cannot read \"%1\": %2").arg(file.fileName(), file.errorString()),
                            ExitCode::Failure);
    const QByteArray data = file.readAll();
    const std::shared_ptr<TVROPMLDocument> document = TVROPMLDocument::documentWithData(data);
    if (!document->rootNode())
        return console.fail(QStringLiteral("\"%1\" cannot be read as OPML: %2; nothing was changed")
                                .arg(file.fileName(), document->problem()),
                            ExitCode::Failure);
    QStringList feeds;
    listFeeds(*document->rootNode(), feeds);
    if (feeds.isEmpty())
        return console.fail(QStringLiteral("\"%1\" holds no feed subscriptions (outlines with an xmlUrl); nothing "
                                           "was changed")
                                .arg(file.fileName()),
                            ExitCode::Failure);

    const std::unique_ptr<PreferenceStore> store = PrefsCommand::storeFor(kPluginName, console);
    if (!store)
        return ExitCode::Failure;
    QString error;
    if (!saveCopy(data, subscriptionsPath(), &error))
        return console.fail(QStringLiteral("cannot write %1: %2").arg(subscriptionsPath(), error), ExitCode::Failure);
    store->setValue(kSubscriptionsKey, subscriptionsPath());
    if (!store->save(&error))
        return console.fail(QStringLiteral("cannot save the News settings: %1").arg(error), ExitCode::Failure);
    console.print(QStringLiteral("News will sync %1 feed%2:")
                      .arg(feeds.size())
                      .arg(feeds.size() == 1 ? QString() : QStringLiteral("s")));
    for (const QString &feed : feeds)
        console.print(QStringLiteral("  ") + feed);
    return ExitCode::Success;
}
