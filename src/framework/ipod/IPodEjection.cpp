#include "IPodEjection.h"

#include <QThread>

IPodEjection::IPodEjection(TVRiPodPtr iPod, QObject *parent)
    : QObject(parent)
    , m_iPod(std::move(iPod))
    , m_result(std::make_shared<Result>())
{}

IPodEjection::~IPodEjection()
{
    if (m_thread)
        m_thread->wait();
}

void IPodEjection::start()
{
    if (m_thread)
        return;
    m_thread.reset(
        QThread::create([iPod = m_iPod, result = m_result] { result->ejected = iPod->ejectVolume(&result->error); }));
    // Emitted by the ending thread, delivered here: the result is complete by then.
    connect(m_thread.get(), &QThread::finished, this, &IPodEjection::threadFinished, Qt::QueuedConnection);
    m_running = true;
    m_thread->start();
}

void IPodEjection::threadFinished()
{
    m_running = false;
    Q_EMIT finished(m_result->ejected, m_result->ejected ? QString() : m_result->error);
}
