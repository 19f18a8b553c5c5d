#pragma once

class QNetworkAccessManager;

// The network access manager that the downloaders of one thread share, so that their transfers to
// one server reuse its connections.
namespace NetworkAccess {

// Made on first use; it lives until the application object goes (main thread) or the thread ends.
QNetworkAccessManager *managerForCurrentThread();

} // namespace NetworkAccess
