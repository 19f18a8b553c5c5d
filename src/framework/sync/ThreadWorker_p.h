#pragma once

#include "tivaro_export.h"

#include <QObject>
#include <QPointer>
#include <QVariant>

#include <atomic>
#include <functional>
#include <memory>

// Runs one piece of work on a new thread and hands its result to a second function back on the
// thread that started it, which must run an event loop. The work may poll cancelled(); cancelling
// only sets a flag and never blocks.
//
// The ending function runs on the starting thread while the worker thread waits for it, so the
// work's result is consumed before the worker goes away. When `context` (an object living on the
// starting thread) is destroyed first, the ending function is skipped. The worker thread never
// touches `context`: it hands the result to a relay object of the worker's own on that thread,
// which looks at `context` there, where it cannot be deleted in between.
class TIVARO_AUTOTEST_EXPORT ThreadWorker : public std::enable_shared_from_this<ThreadWorker>
{
public:
    using Work = std::function<QVariant(const QVariant &argument, ThreadWorker &worker)>;
    using DidEnd = std::function<void(const QVariant &result)>;

    // Starts `work` with `argument` on a new thread. Null, and no thread, when there is no work.
    // `didEnd` may be empty. The worker keeps itself alive until the work and `didEnd` are done.
    static std::shared_ptr<ThreadWorker> workOn(Work work, const QVariant &argument, DidEnd didEnd, QObject *context);

    // Marks the work cancelled; a second call changes nothing. Any thread.
    void markAsCancelled();
    bool cancelled() const { return m_cancelled.load() == Cancelled; }

private:
    enum Condition { Running = 0, Cancelled = 1 };

    struct RelayDeleter {
        void operator()(QObject *relay) const;
    };

    ThreadWorker(Work work, const QVariant &argument, DidEnd didEnd, QObject *context);
    void start();
    void runPrimaryTask();

    Work m_work;
    QVariant m_argument;
    DidEnd m_didEnd;
    // Read only on the context's thread.
    QPointer<QObject> m_context;
    // Made on the context's thread, which deletes it once the result is delivered; null without a
    // context or an ending function.
    std::unique_ptr<QObject, RelayDeleter> m_relay;
    std::atomic<int> m_cancelled{Running};
};
