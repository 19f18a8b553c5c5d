#include "Html2TextCommand.h"

#include "ArgumentParser.h"
#include "Console.h"
#include "ExitCode.h"

#include "net/TVRDownloader.h"
#include "text/HTMLCharset.h"
#include "text/NSStringXtra.h"

#include <QFile>
#include <QUrl>

#include <stdexcept>

#include <stdio.h>

namespace {

bool isWebAddress(const QString &source)
{
    const QUrl url(source, QUrl::StrictMode);
    return url.isValid() && (url.scheme() == u"http" || url.scheme() == u"https");
}

} // namespace

int Html2TextCommand::run(const QStringList &arguments, Console &console)
{
    ArgumentParser options(*this, QStringLiteral("Reads an HTML page from FILE (\"-\" for standard input) or downloads "
                                                 "it from an http or https URL, and prints the readable text a note "
                                                 "would get, one line a line. Bytes that are valid UTF-8 are read as "
                                                 "UTF-8, others in the charset the page declares, else as Latin-1. A "
                                                 "server's error page is converted like any page."));
    const QCommandLineOption start(QStringLiteral("start"),
                                   QStringLiteral("Begin the text at the first MARKER in it, in its exact case; "
                                                  "without one in the text, print it all."),
                                   QStringLiteral("MARKER"));
    options.addPositional(QStringLiteral("source"), QStringLiteral("The page: a file, \"-\" or a URL."),
                          QStringLiteral("FILE|URL"));
    options.addOption(start);
    if (const std::optional<int> exit = options.parse(arguments, console))
        return *exit;
    const QCommandLineParser &parser = options.parser();
    if (parser.positionalArguments().size() != 1)
        return console.fail(QStringLiteral("html2text takes one FILE or URL"), ExitCode::Usage);
    const std::optional<QByteArray> bytes = readSource(parser.positionalArguments().first(), console);
    if (!bytes)
        return ExitCode::Failure;
    const std::optional<QString> marker = parser.isSet(start) ? std::optional(parser.value(start)) : std::nullopt;
    QString text;
    try {
        text = NSStringXtra::makeHTMLReadable(HTMLCharset::decodePage(*bytes), marker);
    } catch (const std::out_of_range &) {
        return console.fail(
            QStringLiteral("the text has \"%1\" only in another case; --start needs its exact case").arg(*marker),
            ExitCode::Failure);
    }
    text.replace(u'\r', u'\n');
    console.write(text.isEmpty() ? text : text + u'\n');
    return ExitCode::Success;
}

std::optional<QByteArray> Html2TextCommand::readSource(const QString &source, Console &console)
{
    if (isWebAddress(source)) {
        DownloadFailure failure;
        const QByteArray body = TVRDownloader::downloadData(QUrl(source, QUrl::StrictMode), &failure);
        if (failure) {
            console.fail(QStringLiteral("cannot download %1: %2").arg(source, failure.text()), ExitCode::Failure);
            return std::nullopt;
        }
        return body;
    }
    QFile file;
    const bool opened = source == u"-" ? file.open(stdin, QIODevice::ReadOnly)
                                       : (file.setFileName(source), file.open(QIODevice::ReadOnly));
    if (!opened) {
        console.fail(QStringLiteral("cannot read %1: %2").arg(source, file.errorString()), ExitCode::Failure);
        return std::nullopt;
    }
    return file.readAll();
}
