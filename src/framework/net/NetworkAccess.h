#pragma once

class QNetworkAccessManager;

// The network access manager that the downloaders of one thread share, so that their transfers to
// one server reuse its connections.
namespace NetworkAccess {

// Made on first use; the main thread's lives as long as the process, another thread's until the
// thread ends.
QNetworkAccessManager *managerForCurrentThread();

} // namespace NetworkAccess
