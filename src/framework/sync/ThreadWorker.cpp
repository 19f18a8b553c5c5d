#include "ThreadWorker_p.h"

#include "core/Logging_p.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <QThread>

#include <exception>

std::shared_ptr<ThreadWorker> ThreadWorker::workOn(Work work, const QVariant &argument, DidEnd didEnd, QObject *context)
{
    if (!work)
        return nullptr;
    std::shared_ptr<ThreadWorker> worker(new ThreadWorker(std::move(work), argument, std::move(didEnd), context));
    worker->start();
    return worker;
}

ThreadWorker::ThreadWorker(Work work, const QVariant &argument, DidEnd didEnd, QObject *context)
    : m_work(std::move(work))
    , m_argument(argument)
    , m_didEnd(std::move(didEnd))
    , m_context(context)
{
    if (context && m_didEnd) {
        m_relay.reset(new QObject);
        m_relay->moveToThread(context->thread());
    }
}

void ThreadWorker::RelayDeleter::operator()(QObject *relay) const
{
    // A thread that has ended runs no deferred deletion any more, and nothing on it can touch the
    // relay: it is deleted at once. On a running thread it goes with that thread's events.
    QThread *home = relay->thread();
    if (home == QThread::currentThread() || !home || home->isFinished())
        delete relay;
    else
        relay->deleteLater();
}

void ThreadWorker::markAsCancelled()
{
    int expected = Running;
    m_cancelled.compare_exchange_strong(expected, Cancelled);
}

void ThreadWorker::start()
{
    // The thread holds the worker until it has finished, and deletes itself afterwards. The main
    // thread does the deleting: the starting thread may have ended by then and would never get to it.
    QThread *thread = QThread::create([self = shared_from_this()] { self->runPrimaryTask(); });
    if (QCoreApplication *application = QCoreApplication::instance())
        thread->moveToThread(application->thread());
    QObject::connect(thread, &QThread::finished, thread, &QObject::deleteLater);
    thread->start();
}

void ThreadWorker::runPrimaryTask()
{
    QVariant result;
    try {
        result = m_work(m_argument, *this);
    } catch (const std::exception &error) {
        qCWarning(lcSync) << "Background work failed:" << error.what();
    }
    if (!m_relay)
        return;
    // Delivered on the starting thread; this thread waits, as the result must be taken before it ends.
    // Whether the receiver still lives is asked there too: it is deleted on that thread, never
    // between the question and the call.
    QMetaObject::invokeMethod(
        m_relay.get(),
        [this, &result] {
            if (m_context)
                m_didEnd(result);
            else
                qCDebug(lcSync) << "Background work ended after its receiver went away; result dropped";
            // Deleted by its own thread once this call has returned: a deletion asked from another thread
            // could arrive after this one has ended, and never happen.
            m_relay.release()->deleteLater();
        },
        Qt::BlockingQueuedConnection);
}
