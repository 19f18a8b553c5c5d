#pragma once

#include "tivaro_export.h"

#include <QObject>
#include <QString>
#include <QStringList>

#include <memory>

class TVRNetwork;
class ThreadWorker;

// For Tivaro's programs; plug-ins have no use for it.
class TIVARO_EXPORT TVRNetworkDelegate
{
public:
    virtual ~TVRNetworkDelegate() = default;
    // The check has ended; read network->connectedToInternet().
    virtual void detectedInternetConnection(TVRNetwork *network) = 0;
};

// Whether the internet can be reached, judged without opening a connection: a well-known host
// name must resolve and the system must have a route to it. The check runs on a worker thread
// and answers on the thread that started it.
class TIVARO_EXPORT TVRNetwork : public QObject
{
    Q_OBJECT

public:
    // What the system says of one host, in the terms of the Mac's reachability flags.
    struct Reachability {
        bool callSucceeded = false;
        bool reachable = false;
        bool connectionRequired = false;
    };

    explicit TVRNetwork(QObject *parent = nullptr);
    ~TVRNetwork() override;

    // Starts a check; the delegate (not owned) is told on this thread's event loop.
    void detectInternetConnectionWithDelegate(TVRNetworkDelegate *delegate);
    // The last answer; false before any.
    bool connectedToInternet() const { return m_internetConnection; }

    // The two hosts asked, in order: those set here, else the preference "ReachabilityHosts" (an
    // array of names), else two well-known public web hosts.
    static QStringList hosts();
    static void setHosts(const QStringList &hosts);

    // Blocking; for worker threads.
    static Reachability checkReachabilityByName(const QString &host);
    static bool isConnected(const Reachability &reachability);
    static bool getConnectedToInternet();

private:
    void gotResult(bool connected);

    TVRNetworkDelegate *m_delegate = nullptr;
    bool m_internetConnection = false;
    std::shared_ptr<ThreadWorker> m_worker;
};
