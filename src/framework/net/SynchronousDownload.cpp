#include "SynchronousDownload.h"

#include "BlockingTransfer_p.h"
#include "DownloadURL_p.h"

namespace SynchronousDownload {

QByteArray fetch(const QUrl &url, int idleTimeoutMs, DownloadFailure *failure)
{
    BlockingTransfer::Request request;
    request.url = DownloadURL::withoutFeedScheme(url);
    request.idleTimeoutMs = idleTimeoutMs;
    BlockingTransfer transfer(request, DownloadLimits::fromPreferences(), std::nullopt);
    const DownloadFailure outcome = transfer.run();
    if (failure)
        *failure = outcome;
    // A body that did not arrive whole is no body.
    return outcome ? QByteArray() : transfer.data();
}

QByteArray fetch(const QUrl &url, int idleTimeoutMs, QString *error)
{
    DownloadFailure failure;
    const QByteArray body = fetch(url, idleTimeoutMs, &failure);
    if (error)
        *error = failure.text();
    return body;
}

} // namespace SynchronousDownload
