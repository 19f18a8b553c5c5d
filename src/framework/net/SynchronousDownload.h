#pragma once

#include <QByteArray>
#include <QString>
#include <QUrl>

// One blocking GET, for the synchronous face of the downloader.
namespace SynchronousDownload {

// Fetches `url` on a thread of its own, so that the caller's event loop (if any) delivers nothing
// while it waits; the request ends after `idleTimeoutMs` without progress. Returns the body as
// received; on failure *error says why and the result is whatever arrived (null when nothing did).
// An answer with an HTTP error status is no failure: its body is returned.
QByteArray fetch(const QUrl &url, int idleTimeoutMs, QString *error);

} // namespace SynchronousDownload
