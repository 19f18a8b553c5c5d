#include "TVRNetwork.h"

#include "ThreadWorker_p.h"
#include "core/Logging_p.h"
#include "core/UserDefaults.h"

#include <QMutex>
#include <QMutexLocker>
#include <QUrl>

#include <netdb.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

QMutex hostsMutex;
QStringList setHostsList;

QStringList defaultHosts()
{
    return {QStringLiteral("www.wikipedia.org"), QStringLiteral("www.debian.org")};
}

// Names under "invalid." never exist (RFC 6761); they are answered without asking a name server.
bool isReservedInvalid(const QString &host)
{
    QString name = host.toLower();
    if (name.endsWith(QLatin1Char('.')))
        name.chop(1);
    return name.isEmpty() || name == QLatin1String("invalid") || name.endsWith(QLatin1String(".invalid"));
}

// Connecting a datagram socket only asks the kernel for a route to the address; no packet leaves.
bool hasRouteTo(const addrinfo &address)
{
    const int fd = ::socket(address.ai_family, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return false;
    const bool routed = ::connect(fd, address.ai_addr, address.ai_addrlen) == 0;
    ::close(fd);
    return routed;
}

} // namespace

TVRNetwork::TVRNetwork(QObject *parent)
    : QObject(parent)
{}

TVRNetwork::~TVRNetwork()
{
    // A check still running ends without a receiver: ThreadWorker skips its ending call.
    if (m_worker)
        m_worker->markAsCancelled();
}

void TVRNetwork::detectInternetConnectionWithDelegate(TVRNetworkDelegate *delegate)
{
    m_delegate = delegate;
    m_worker = ThreadWorker::workOn([](const QVariant &, ThreadWorker &) { return QVariant(getConnectedToInternet()); },
                                    QVariant(), [this](const QVariant &result) { gotResult(result.toBool()); }, this);
}

void TVRNetwork::gotResult(bool connected)
{
    m_internetConnection = connected;
    if (m_delegate)
        m_delegate->detectedInternetConnection(this);
}

QStringList TVRNetwork::hosts()
{
    {
        const QMutexLocker lock(&hostsMutex);
        if (!setHostsList.isEmpty())
            return setHostsList;
    }
    UserDefaults defaults;
    defaults.addSuiteNamed(UserDefaults::applicationDomain());
    const QStringList preferred = defaults.objectForKey(QStringLiteral("ReachabilityHosts")).toStringList();
    return preferred.isEmpty() ? defaultHosts() : preferred;
}

void TVRNetwork::setHosts(const QStringList &hosts)
{
    const QMutexLocker lock(&hostsMutex);
    setHostsList = hosts;
}

TVRNetwork::Reachability TVRNetwork::checkReachabilityByName(const QString &host)
{
    Reachability reachability;
    if (isReservedInvalid(host))
        return reachability;
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_DGRAM;
    addrinfo *addresses = nullptr;
    const QByteArray name = QUrl::toAce(host);
    const int status = ::getaddrinfo(name.constData(), "80", &hints, &addresses);
    if (status != 0) {
        qCDebug(lcNet) << "Cannot resolve" << host << ':' << ::gai_strerror(status);
        return reachability;
    }
    reachability.callSucceeded = true;
    for (const addrinfo *address = addresses; address && !reachability.reachable; address = address->ai_next)
        reachability.reachable = hasRouteTo(*address);
    ::freeaddrinfo(addresses);
    // Linux brings up no link on demand for a lookup, so no route never means "dial first".
    reachability.connectionRequired = false;
    return reachability;
}

bool TVRNetwork::isConnected(const Reachability &reachability)
{
    return reachability.callSucceeded && reachability.reachable && !reachability.connectionRequired;
}

bool TVRNetwork::getConnectedToInternet()
{
    const QStringList names = hosts();
    // The first two hosts in order; the first one reachable answers.
    for (const QString &host : names.mid(0, 2)) {
        if (isConnected(checkReachabilityByName(host)))
            return true;
    }
    return false;
}
