#pragma once

#include "DownloadCredential.h"
#include "DownloadFailure.h"
#include "DownloadLimits.h"
#include "TVRURLResponse.h"

#include <QByteArray>
#include <QElapsedTimer>
#include <QList>
#include <QMutex>
#include <QPair>
#include <QString>
#include <QUrl>

#include <atomic>
#include <functional>
#include <optional>

// One download with libcurl, every redirect of it, run to its end on the calling thread: what both
// faces of the downloader share. It loads http, https and file URLs; redirects are followed to http
// and https only; the credential is offered once a challenge, and only to the origin of the URL it
// came with; the body may not pass the maximum size, nor the download its deadline, nor a pause in
// the data the idle time-out; a body cut short (shorter than its Content-Length, a chunked stream
// without its end) is a failure.
class BlockingTransfer
{
public:
    struct Request {
        QUrl url;
        // Sent with every request; Authorization and Cookie only to the URL's own origin.
        QList<QPair<QByteArray, QByteArray>> headers;
        // No data for this long ends the download; 0 for no limit.
        int idleTimeoutMs = 0;
    };
    // Told on the running thread as the download goes; each may be empty.
    struct Observer {
        std::function<void(const QUrl &)> redirected;
        // Every answer's header except a redirect's.
        std::function<void(const TVRURLResponse &)> responded;
        std::function<void()> received;
    };

    BlockingTransfer(const Request &request, const DownloadLimits &limits,
                     const std::optional<DownloadCredential> &credential);
    ~BlockingTransfer();
    BlockingTransfer(const BlockingTransfer &) = delete;
    BlockingTransfer &operator=(const BlockingTransfer &) = delete;

    // The schemes a download may start with.
    static bool canLoad(const QUrl &url);

    // Runs the download once; none when it completed.
    DownloadFailure run(const Observer &observer = {});
    // From any thread: run() ends at once with DownloadFailure::cancelled().
    void cancel();
    // From any thread: the body of the last answer so far (a redirect's is not kept); empty, not
    // null, before any.
    QByteArray data() const;

private:
    struct Hop;

    // One request and its answer; the next URL is in the hop when the answer is a redirect.
    DownloadFailure fetch(Hop &hop);
    // Drives the hop's transfer to its end, or stops it for a limit or a cancel.
    DownloadFailure drive(Hop &hop);
    // Why the finished hop brought no answer; none when it brought one.
    DownloadFailure outcomeOf(int code, const Hop &hop) const;
    // The curl callbacks, with the hop as their data.
    static size_t onHeader(char *buffer, size_t size, size_t count, void *hop);
    static size_t onBody(char *buffer, size_t size, size_t count, void *hop);
    void headerLine(Hop &hop, const QByteArray &line);
    // False when the body would pass the maximum size.
    bool appendBody(const char *bytes, qint64 length);
    // A new answer's body replaces an earlier one's (a refused challenge's, say).
    void clearBody(qint64 expected);

    const Request m_request;
    const DownloadLimits m_limits;
    const std::optional<DownloadCredential> m_credential;
    QElapsedTimer m_started;
    QElapsedTimer m_sinceData;

    mutable QMutex m_mutex; // guards what other threads read or call
    QByteArray m_data;
    void *m_multi = nullptr; // the running hop's curl multi handle, woken by cancel()
    std::atomic<bool> m_cancelled = false;
};
