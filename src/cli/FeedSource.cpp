#include "FeedSource.h"

#include "Console.h"
#include "ExitCode.h"

#include "feeds/RSSException.h"

#include <QFile>
#include <QUrl>

#include <optional>

namespace {

bool isWebAddress(const QUrl &url)
{
    return url.isValid() && (url.scheme() == u"http" || url.scheme() == u"https" || url.scheme() == u"feed");
}

std::optional<QByteArray> readFile(const QString &path, Console &console)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        console.fail(QStringLiteral("cannot read %1: %2").arg(path, file.errorString()), ExitCode::Failure);
        return std::nullopt;
    }
    return file.readAll();
}

// The feed behind an address; nullopt after printing why the download failed, null when the
// bytes that came are no feed.
std::optional<std::unique_ptr<RSS>> download(const QUrl &url, Console &console)
{
    try {
        return RSS::initWithURL(url, false);
    } catch (const RSSException &error) {
        console.fail(QStringLiteral("cannot download %1: %2: %3").arg(url.toString(), error.name(), error.reason()),
                     ExitCode::Failure);
        return std::nullopt;
    }
}

} // namespace

namespace FeedSource {

std::unique_ptr<RSS> read(const QString &source, Console &console)
{
    const QUrl url(source, QUrl::StrictMode);
    std::unique_ptr<RSS> feed;
    QString problem;
    if (isWebAddress(url)) {
        std::optional<std::unique_ptr<RSS>> downloaded = download(url, console);
        if (!downloaded)
            return nullptr;
        feed = std::move(*downloaded);
    } else {
        const std::optional<QByteArray> bytes = readFile(url.isLocalFile() ? url.toLocalFile() : source, console);
        if (!bytes)
            return nullptr;
        feed = RSS::initWithData(*bytes, false, &problem);
    }
    if (problem.isEmpty())
        problem = QStringLiteral("it is not XML or has no RSS, RDF or Atom channel");
    if (!feed)
        console.fail(QStringLiteral("%1 is no feed: %2").arg(source, problem), ExitCode::Failure);
    return feed;
}

} // namespace FeedSource
