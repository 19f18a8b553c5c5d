#include "FaviconCommand.h"

#include "ArgumentParser.h"
#include "Console.h"
#include "ExitCode.h"

#include "net/FaviconManager.h"

#include <QImage>
#include <QUrl>

int FaviconCommand::run(const QStringList &arguments, Console &console)
{
    ArgumentParser options(*this, QStringLiteral("Prints the size of the icon of URL's site, WIDTHxHEIGHT: its "
                                                 "favicon.ico, fetched over HTTP once and then read from the cache "
                                                 "folder, or the generic web image when the site has none."));
    const QCommandLineOption output(QStringLiteral("output"), QStringLiteral("Also write the icon to FILE as PNG."),
                                    QStringLiteral("FILE"));
    options.addPositional(QStringLiteral("url"), QStringLiteral("A web address on the site."), QStringLiteral("URL"));
    options.addOption(output);
    if (const std::optional<int> exit = options.parse(arguments, console))
        return *exit;
    const QCommandLineParser &parser = options.parser();
    if (parser.positionalArguments().size() != 1)
        return console.fail(QStringLiteral("favicon takes one URL"), ExitCode::Usage);
    const QString address = parser.positionalArguments().first();
    const QUrl url(address, QUrl::StrictMode);
    if (!url.isValid() || url.host().isEmpty())
        return console.fail(QStringLiteral("%1 names no host").arg(address), ExitCode::Usage);
    const QImage icon = FaviconManager::faviconManager()->faviconForURL(url);
    if (parser.isSet(output) && !icon.save(parser.value(output), "PNG"))
        return console.fail(QStringLiteral("cannot write %1").arg(parser.value(output)), ExitCode::Failure);
    console.print(QStringLiteral("%1x%2").arg(icon.width()).arg(icon.height()));
    return ExitCode::Success;
}
