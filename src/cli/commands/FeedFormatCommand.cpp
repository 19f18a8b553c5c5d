#include "FeedFormatCommand.h"

#include "ArgumentParser.h"
#include "Console.h"
#include "ExitCode.h"
#include "FeedSource.h"

#include "feeds/FeedNoteItems.h"

int FeedFormatCommand::run(const QStringList &arguments, Console &console)
{
    ArgumentParser options(
        *this, QStringLiteral("Reads a news feed from FILE or downloads it from an http, https or feed URL, and "
                              "prints the text a note gets from it: each item's title and its summary as readable "
                              "text, the items parted by a line of dashes. Items are normalised first, as a plug-in "
                              "does. The note's line breaks (carriage returns) are printed as newlines."));
    const QCommandLineOption articles(QStringLiteral("articles"),
                                      QStringLiteral("Show the first N items (default 10)."), QStringLiteral("N"));
    const QCommandLineOption withArticles(
        QStringLiteral("with-articles"),
        QStringLiteral("Make each title a link to the item's page in the note's pages folder."));
    const QCommandLineOption noSummary(QStringLiteral("no-summary"), QStringLiteral("Leave out the summaries."));
    options.addPositional(QStringLiteral("source"), QStringLiteral("The feed: a file or a URL."),
                          QStringLiteral("FILE|URL"));
    options.addOption(articles);
    options.addOption(withArticles);
    options.addOption(noSummary);
    if (const std::optional<int> exit = options.parse(arguments, console))
        return *exit;
    const QCommandLineParser &parser = options.parser();
    if (parser.positionalArguments().size() != 1)
        return console.fail(QStringLiteral("feed format takes one FILE or URL"), ExitCode::Usage);
    QVariantMap formatOptions{{QStringLiteral("withArticles"), parser.isSet(withArticles)},
                              {QStringLiteral("showSummary"), !parser.isSet(noSummary)}};
    if (parser.isSet(articles)) {
        bool isNumber = false;
        const int count = parser.value(articles).toInt(&isNumber);
        if (!isNumber || count < 1)
            return console.fail(
                QStringLiteral("--articles takes a whole number above 0, not \"%1\"").arg(parser.value(articles)),
                ExitCode::Usage);
        formatOptions.insert(QStringLiteral("numberOfArticles"), count);
    }

    std::unique_ptr<RSS> feed = FeedSource::read(parser.positionalArguments().constFirst(), console);
    if (!feed)
        return ExitCode::Failure;
    // The note the News plug-in would write.
    FeedNoteItems::prepare(*feed);
    QString text = feed->formatWithOptions(formatOptions);
    text.replace(u'\r', u'\n');
    console.write(text.isEmpty() ? text : text + u'\n');
    return ExitCode::Success;
}
