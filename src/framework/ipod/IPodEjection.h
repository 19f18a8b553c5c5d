#pragma once

#include "tivaro_export.h"

#include "TVRiPod.h"

#include <QObject>
#include <QString>

#include <memory>

class QThread;

// Ejects one iPod without blocking the thread that asks. The blocking work of TVRiPod::eject() (a
// flush, then UDisks2 calls that may take a minute each) runs on a thread of its own, and finished()
// comes on the event loop of the thread the object lives in, which must be turning meanwhile.
//
// The ejection thread holds the iPod and its own result, nothing else, so it never reaches an object
// that has gone. Destroying an ejection that is still running blocks until it has ended: an unmount
// cannot be called back half done, and the thread must not outlive the object that started it.
// For Tivaro's programs; plug-ins have no use for it.
class TIVARO_EXPORT IPodEjection : public QObject
{
    Q_OBJECT

public:
    explicit IPodEjection(TVRiPodPtr iPod, QObject *parent = nullptr);
    ~IPodEjection() override;

    // Starts the ejection; only the first call does anything. Call it on the object's thread.
    void start();
    // From start() until finished() is emitted.
    bool isRunning() const { return m_running; }
    TVRiPodPtr iPod() const { return m_iPod; }

Q_SIGNALS:
    // Once, after start(). `error` says why in words for the user when `ejected` is false.
    void finished(bool ejected, const QString &error);

private:
    struct Result {
        bool ejected = false;
        QString error;
    };

    void threadFinished();

    TVRiPodPtr m_iPod;
    // Written by the ejection thread, read here once that thread has finished.
    std::shared_ptr<Result> m_result;
    std::unique_ptr<QThread> m_thread;
    bool m_running = false;
};
