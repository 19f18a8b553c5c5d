#include "FetchCommand.h"

#include "ArgumentParser.h"
#include "Console.h"
#include "ExitCode.h"

#include "net/DownloadLimits.h"

#include <QEventLoop>

namespace {

std::optional<float> positiveSeconds(const QString &text)
{
    bool isNumber = false;
    const double seconds = text.toDouble(&isNumber);
    if (!isNumber || !(seconds > 0) || seconds > 86400.0 * 365)
        return std::nullopt;
    return float(seconds);
}

} // namespace

int FetchCommand::run(const QStringList &arguments, Console &console)
{
    const DownloadLimits defaults;
    ArgumentParser options(
        *this, QStringLiteral("Downloads URL the way a sync does and writes the body to standard output as it came. "
                              "Redirects to http and https are followed. The transfer fails when no data arrives "
                              "for %1 seconds, or sooner for a \"DownloadTimeout\" preference below %1 (%2 when "
                              "absent); past the \"DownloadMaximumBytes\" size (%3 MB) or the \"DownloadDeadline\" "
                              "(%4 seconds); or when the body is cut short. An HTTP error status is a failure; its "
                              "body is not written.")
                   .arg(TVRDownloader::kRequestTimeoutSeconds)
                   .arg(defaults.timeoutSeconds)
                   .arg(defaults.maximumBytes / (1024 * 1024))
                   .arg(defaults.deadlineSeconds));
    const QCommandLineOption timeout(
        QStringLiteral("timeout"),
        QStringLiteral("Give up after S seconds without data (this run only); above %1, the %1 seconds apply.")
            .arg(TVRDownloader::kRequestTimeoutSeconds),
        QStringLiteral("S"));
    const QCommandLineOption user(QStringLiteral("user"),
                                  QStringLiteral("User name offered when URL's own server asks."), QStringLiteral("U"));
    const QCommandLineOption password(QStringLiteral("password"), QStringLiteral("Password offered with --user."),
                                      QStringLiteral("P"));
    options.addPositional(QStringLiteral("URL"), QStringLiteral("What to download."), QStringLiteral("URL"));
    options.addOption(timeout);
    options.addOption(user);
    options.addOption(password);
    if (const std::optional<int> exit = options.parse(arguments, console))
        return *exit;
    const QCommandLineParser &parser = options.parser();
    if (parser.positionalArguments().size() != 1)
        return console.fail(QStringLiteral("fetch takes one URL"), ExitCode::Usage);
    std::optional<float> seconds;
    if (parser.isSet(timeout) && !(seconds = positiveSeconds(parser.value(timeout))))
        return console.fail(
            QStringLiteral("--timeout takes a positive number of seconds, not \"%1\"").arg(parser.value(timeout)),
            ExitCode::Usage);
    if (parser.isSet(user) != parser.isSet(password))
        return console.fail(QStringLiteral("--user and --password go together"), ExitCode::Usage);
    std::optional<TVRDownloader::Credential> credential;
    if (parser.isSet(user))
        credential = TVRDownloader::Credential{parser.value(user), parser.value(password)};

    const QString text = parser.positionalArguments().first();
    const QUrl url(text, QUrl::StrictMode);
    std::shared_ptr<TVRDownloader> downloader = TVRDownloader::loadWithURL(url, this, credential);
    if (!downloader)
        return console.fail(QStringLiteral("cannot download \"%1\": not an http, https, feed or file URL").arg(text),
                            ExitCode::Usage);
    if (seconds)
        downloader->setTimeoutSeconds(*seconds);
    QEventLoop loop;
    m_loop = &loop;
    loop.exec();
    m_loop = nullptr;
    return report(*downloader, console);
}

void FetchCommand::downloadFinished(TVRDownloader *)
{
    m_loop->quit();
}

void FetchCommand::downloadFailedWithErrorType(int errorType)
{
    m_errorType = errorType;
    m_loop->quit();
}

int FetchCommand::report(const TVRDownloader &downloader, Console &console) const
{
    if (m_errorType)
        return console.fail(downloader.failure().message(), ExitCode::Failure);
    const int status = downloader.urlResponse() ? downloader.urlResponse()->statusCode : 0;
    if (status >= 400)
        return console.fail(QStringLiteral("Download failed: HTTP %1").arg(status), ExitCode::Failure);
    if (!console.writeRaw(downloader.data()))
        return console.fail(QStringLiteral("cannot write the body to standard output"), ExitCode::Failure);
    return ExitCode::Success;
}
