#include "DownloadFailure.h"

namespace {

QString seconds(double value)
{
    return value == 1.0 ? QStringLiteral("1 second") : QStringLiteral("%1 seconds").arg(value);
}

// Whole megabytes or kilobytes when the number is one, else bytes: limits are usually round.
QString size(qint64 bytes)
{
    constexpr qint64 kKilobyte = 1024;
    constexpr qint64 kMegabyte = 1024 * kKilobyte;
    if (bytes >= kMegabyte && bytes % kMegabyte == 0)
        return QStringLiteral("%1 MB").arg(bytes / kMegabyte);
    if (bytes >= kKilobyte && bytes % kKilobyte == 0)
        return QStringLiteral("%1 KB").arg(bytes / kKilobyte);
    return bytes == 1 ? QStringLiteral("1 byte") : QStringLiteral("%1 bytes").arg(bytes);
}

// "host" or "host:port" as the URL names it.
QString site(const QUrl &url)
{
    return url.adjusted(QUrl::RemoveUserInfo).authority();
}

} // namespace

DownloadFailure::DownloadFailure(Kind kind, const QString &text)
    : m_kind(kind)
    , m_text(text)
{}

DownloadFailure DownloadFailure::cancelled()
{
    return {Cancelled, QStringLiteral("cancelled")};
}

DownloadFailure DownloadFailure::noData(Kind kind, double secondsWithout)
{
    return {kind, QStringLiteral("no data for %1").arg(seconds(secondsWithout))};
}

DownloadFailure DownloadFailure::deadlinePassed(double limit)
{
    return {DeadlinePassed, QStringLiteral("not finished after %1, the DownloadDeadline limit").arg(seconds(limit))};
}

DownloadFailure DownloadFailure::tooLarge(qint64 maximumBytes)
{
    return {TooLarge,
            QStringLiteral("the answer is larger than %1, the DownloadMaximumBytes limit").arg(size(maximumBytes))};
}

DownloadFailure DownloadFailure::cutShort(qint64 received, qint64 expected)
{
    if (expected >= 0)
        return {CutShort, QStringLiteral("cut short: %1 of %2 arrived").arg(size(received), size(expected))};
    return {CutShort, QStringLiteral("cut short: the connection broke after %1").arg(size(received))};
}

DownloadFailure DownloadFailure::refused()
{
    return {Refused, QStringLiteral("connection refused")};
}

DownloadFailure DownloadFailure::hostNotFound(const QString &host)
{
    return {HostNotFound, QStringLiteral("host \"%1\" not found").arg(host)};
}

DownloadFailure DownloadFailure::tls(const QString &reason)
{
    return {Tls, QStringLiteral("secure connection (TLS) failed: %1").arg(reason)};
}

DownloadFailure DownloadFailure::noAnswer()
{
    return {NoAnswer, QStringLiteral("the server closed the connection without answering")};
}

DownloadFailure DownloadFailure::redirectLoop(int maximumRedirects)
{
    return {RedirectLoop, QStringLiteral("redirect loop: more than %1 redirects").arg(maximumRedirects)};
}

DownloadFailure DownloadFailure::redirectRefused(const QUrl &target)
{
    return {
        RedirectRefused,
        QStringLiteral("redirect to \"%1\" refused: only http and https are followed").arg(target.toDisplayString())};
}

DownloadFailure DownloadFailure::authenticationRefused(bool credentialOffered)
{
    if (credentialOffered)
        return {AuthenticationRefused, QStringLiteral("the server refused the user name and password")};
    return {AuthenticationRefused, QStringLiteral("the server asks for a user name and password")};
}

DownloadFailure DownloadFailure::credentialWithheld(const QUrl &asking, const QUrl &origin)
{
    return {CredentialWithheld,
            QStringLiteral("%1 asks for a password, which is only sent to %2").arg(site(asking), site(origin))};
}

DownloadFailure DownloadFailure::other(const QString &reason)
{
    return {Other, reason};
}

QString DownloadFailure::message(const QString &subject) const
{
    const QString heading = isTimeOut() ? QStringLiteral("Download timed out") : QStringLiteral("Download failed");
    if (subject.isEmpty())
        return QStringLiteral("%1: %2").arg(heading, m_text);
    return QStringLiteral("%1: %2: %3").arg(heading, subject, m_text);
}
