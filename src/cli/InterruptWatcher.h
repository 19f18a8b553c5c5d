#pragma once

#include <QObject>

class QSocketNotifier;

// Turns Ctrl-C (SIGINT) into a signal on the event loop, so that the program decides what an
// interrupt means at a moment when no file is half written. One watcher a process.
class InterruptWatcher : public QObject
{
    Q_OBJECT

public:
    explicit InterruptWatcher(QObject *parent = nullptr);
    ~InterruptWatcher() override;

    bool isWatching() const { return m_notifier != nullptr; }

Q_SIGNALS:
    // `count` is 1 for the first Ctrl-C, 2 for the second, and so on.
    void interrupted(int count);

private:
    void readInterrupts();

    QSocketNotifier *m_notifier = nullptr;
    int m_count = 0;
};
