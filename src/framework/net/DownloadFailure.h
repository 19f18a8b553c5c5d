#pragma once

#include "tivaro_export.h"

#include <QString>
#include <QUrl>

// Why a download ended without its whole answer: a kind to act on and one line of words for the
// user, which names the limit or preference involved where there is one. A default-made failure is
// none at all (a download that completed, or is still running).
class TIVARO_EXPORT DownloadFailure
{
public:
    enum Kind {
        None,
        Cancelled,
        // No data for the downloader's own time-out ("DownloadTimeout").
        TimedOut,
        // No data for the request's time-out, which ends a transfer before a longer "DownloadTimeout".
        Stalled,
        // Not finished within "DownloadDeadline".
        DeadlinePassed,
        // More than "DownloadMaximumBytes".
        TooLarge,
        // Fewer bytes than the Content-Length, or a stream that broke before its end.
        CutShort,
        Refused,
        HostNotFound,
        Tls,
        // The connection closed before any answer.
        NoAnswer,
        RedirectLoop,
        // A redirect to a scheme other than http and https.
        RedirectRefused,
        // The server wants a password: none was given, or it refused the one given.
        AuthenticationRefused,
        // Another origin than the credential's asked for it.
        CredentialWithheld,
        Other,
    };

    DownloadFailure() = default;

    static DownloadFailure cancelled();
    static DownloadFailure noData(Kind kind, double seconds);
    static DownloadFailure deadlinePassed(double seconds);
    static DownloadFailure tooLarge(qint64 maximumBytes);
    // `expected` is -1 when the length was not announced.
    static DownloadFailure cutShort(qint64 received, qint64 expected);
    static DownloadFailure refused();
    static DownloadFailure hostNotFound(const QString &host);
    static DownloadFailure tls(const QString &reason);
    static DownloadFailure noAnswer();
    static DownloadFailure redirectLoop(int maximumRedirects);
    static DownloadFailure redirectRefused(const QUrl &target);
    static DownloadFailure authenticationRefused(bool credentialOffered);
    static DownloadFailure credentialWithheld(const QUrl &asking, const QUrl &origin);
    // `reason` in the network layer's own words.
    static DownloadFailure other(const QString &reason);

    Kind kind() const { return m_kind; }
    explicit operator bool() const { return m_kind != None; }
    // "connection refused", "no data for 15 seconds", ...: no capital, no full stop; empty for None.
    QString text() const { return m_text; }
    // The failures that are a time-out in the user's eyes.
    bool isTimeOut() const { return m_kind == TimedOut || m_kind == Stalled || m_kind == DeadlinePassed; }
    // "Download timed out: <text>" or "Download failed: <text>", with "<subject>: " before the text
    // when a subject (a URL) is given.
    QString message(const QString &subject = QString()) const;

private:
    DownloadFailure(Kind kind, const QString &text);

    Kind m_kind = None;
    QString m_text;
};
