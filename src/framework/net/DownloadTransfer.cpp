#include "DownloadTransfer_p.h"

#include <QMetaObject>
#include <QMutex>

#include <atomic>
#include <functional>
#include <list>
#include <mutex>
#include <thread>

namespace {

// The threads that transfers run on, one each. A thread whose transfer is stopped ends on its own
// within moments; those still running at exit are stopped and waited for, so that none outlives
// what it uses.
class TransferThreads
{
public:
    static TransferThreads &instance()
    {
        static TransferThreads threads;
        return threads;
    }

    void run(std::function<void()> work, std::function<void()> stop)
    {
        auto done = std::make_shared<std::atomic<bool>>(false);
        const std::lock_guard lock(m_mutex);
        joinFinished();
        m_threads.push_back({std::thread([work = std::move(work), done] {
                                 work();
                                 *done = true;
                             }),
                             std::move(stop), done});
    }

    ~TransferThreads()
    {
        std::list<Thread> threads;
        {
            const std::lock_guard lock(m_mutex);
            threads.swap(m_threads);
        }
        for (Thread &thread : threads)
            thread.stop();
        for (Thread &thread : threads)
            thread.thread.join();
    }

private:
    struct Thread {
        std::thread thread;
        std::function<void()> stop;
        std::shared_ptr<std::atomic<bool>> done;
    };

    TransferThreads() = default;

    void joinFinished()
    {
        m_threads.remove_if([](Thread &thread) {
            if (!*thread.done)
                return false;
            thread.thread.join();
            return true;
        });
    }

    std::mutex m_mutex;
    std::list<Thread> m_threads;
};

} // namespace

// What the transfer's thread and its owner share.
struct DownloadTransfer::Shared {
    Shared(const BlockingTransfer::Request &request, const DownloadLimits &limits,
           const std::optional<DownloadCredential> &credential)
        : transfer(request, limits, credential)
    {}

    // Runs `report` on the owner's thread while the owner exists and still listens.
    void post(std::function<void(DownloadTransfer &)> report)
    {
        const QMutexLocker lock(&mutex);
        if (!owner)
            return;
        // Qt drops the call if the owner is deleted before it is delivered.
        QMetaObject::invokeMethod(
            owner,
            [receiver = owner, report = std::move(report)] {
                if (receiver->m_running)
                    report(*receiver);
            },
            Qt::QueuedConnection);
    }

    void setOwner(DownloadTransfer *listener)
    {
        const QMutexLocker lock(&mutex);
        owner = listener;
    }

    BlockingTransfer transfer;
    QMutex mutex;
    DownloadTransfer *owner = nullptr;
    // A "received" notice is on its way: one at a time is enough for the watchdog.
    std::atomic<bool> receivedPending = false;
};

DownloadTransfer::DownloadTransfer(const QNetworkRequest &request, const DownloadLimits &limits,
                                   const std::optional<DownloadCredential> &credential)
    : m_url(request.url())
{
    BlockingTransfer::Request blocking;
    blocking.url = request.url();
    for (const QByteArray &name : request.rawHeaderList())
        blocking.headers.append({name, request.rawHeader(name)});
    blocking.idleTimeoutMs = request.transferTimeout();
    m_shared = std::make_shared<Shared>(blocking, limits, credential);
}

DownloadTransfer::~DownloadTransfer()
{
    abort();
}

void DownloadTransfer::start()
{
    m_running = true;
    m_shared->setOwner(this);
    const std::shared_ptr<Shared> shared = m_shared;
    const auto work = [shared] {
        BlockingTransfer::Observer observer;
        observer.redirected = [&shared](const QUrl &url) {
            shared->post([url](DownloadTransfer &owner) { owner.m_url = url; });
        };
        observer.responded = [&shared](const TVRURLResponse &response) {
            shared->post([response](DownloadTransfer &owner) { owner.m_response = response; });
        };
        observer.received = [&shared] {
            if (shared->receivedPending.exchange(true))
                return;
            shared->post([](DownloadTransfer &owner) {
                owner.m_shared->receivedPending = false;
                Q_EMIT owner.received();
            });
        };
        const DownloadFailure failure = shared->transfer.run(observer);
        shared->post([failure](DownloadTransfer &owner) { owner.finish(failure); });
    };
    TransferThreads::instance().run(work, [shared] { shared->transfer.cancel(); });
}

void DownloadTransfer::abort()
{
    m_running = false;
    m_shared->setOwner(nullptr);
    m_shared->transfer.cancel();
}

QByteArray DownloadTransfer::data() const
{
    return m_shared->transfer.data();
}

void DownloadTransfer::finish(const DownloadFailure &failure)
{
    m_running = false;
    m_failure = failure;
    m_shared->setOwner(nullptr);
    Q_EMIT ended();
}
