#pragma once

#include "tivaro_export.h"

#include "DownloadFailure.h"

#include <QByteArray>
#include <QString>
#include <QUrl>

// One blocking GET, for the synchronous face of the downloader.
namespace SynchronousDownload {

// Fetches `url` (a "feed:" URL over http) on the calling thread, which it blocks (an event loop of
// the thread delivers nothing meanwhile), and returns the body. The request ends after
// `idleTimeoutMs` without data, at the deadline, or past the maximum size of DownloadLimits. On
// failure *failure says why and the result is null: a partial body is never returned. An answer
// with an HTTP error status is no failure: its body is returned. Blocking downloads of several
// threads run side by side, so one that hangs holds up only its caller.
TIVARO_EXPORT QByteArray fetch(const QUrl &url, int idleTimeoutMs, DownloadFailure *failure);
// The same with the failure in words.
TIVARO_EXPORT QByteArray fetch(const QUrl &url, int idleTimeoutMs, QString *error);

} // namespace SynchronousDownload
