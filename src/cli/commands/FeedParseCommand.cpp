#include "FeedParseCommand.h"

#include "ArgumentParser.h"
#include "Console.h"
#include "ExitCode.h"
#include "FeedDescription.h"
#include "FeedSource.h"

int FeedParseCommand::run(const QStringList &arguments, Console &console)
{
    ArgumentParser options(
        *this, QStringLiteral("Reads a news feed (RSS 0.9x/2.0, RDF or Atom) from FILE or downloads it from an http, "
                              "https or feed URL, and prints its version, its header and its items, keyed by element "
                              "name as the parser keys them. Items are normalised first, as before a note is made of "
                              "them: a missing title or link is taken from the description, an over-long title "
                              "without a description becomes the description. --raw shows the items as parsed."));
    const QCommandLineOption json(QStringLiteral("json"),
                                  QStringLiteral("Print JSON: {\"version\", \"isAtomFeed\", \"header\": {...}, "
                                                 "\"items\": [{...}]}; version is null when the feed has none."));
    const QCommandLineOption normalize(QStringLiteral("normalize"),
                                       QStringLiteral("Normalise the items (the default; kept for scripts)."));
    const QCommandLineOption raw(QStringLiteral("raw"), QStringLiteral("Show the items as parsed, not normalised."));
    options.addPositional(QStringLiteral("source"), QStringLiteral("The feed: a file or a URL."),
                          QStringLiteral("FILE|URL"));
    options.addOption(json);
    options.addOption(normalize);
    options.addOption(raw);
    if (const std::optional<int> exit = options.parse(arguments, console))
        return *exit;
    const QCommandLineParser &parser = options.parser();
    if (parser.positionalArguments().size() != 1)
        return console.fail(QStringLiteral("feed parse takes one FILE or URL"), ExitCode::Usage);
    if (parser.isSet(raw) && parser.isSet(normalize))
        return console.fail(QStringLiteral("--raw and --normalize exclude each other"), ExitCode::Usage);

    std::unique_ptr<RSS> feed = FeedSource::read(parser.positionalArguments().constFirst(), console);
    if (!feed)
        return ExitCode::Failure;
    if (!parser.isSet(raw)) {
        for (RSS::Item &item : feed->newsItems())
            RSS::normalizeRSSItem(item);
    }
    if (parser.isSet(json))
        console.printJson(FeedDescription::toJson(*feed));
    else
        console.print(FeedDescription::toText(*feed).join(u'\n'));
    return ExitCode::Success;
}
