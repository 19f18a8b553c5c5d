#pragma once

#include <QObject>

#include <csignal>
#include <iterator>

class QSocketNotifier;

// Turns Ctrl-C (SIGINT), SIGTERM and SIGHUP into a signal on the event loop, so that the program
// decides what they mean at a moment when no file is half written. SIGHUP stays ignored when the
// program was started so (by `nohup`). One watcher a process; the earlier handling comes back when
// it is destroyed.
class InterruptWatcher : public QObject
{
    Q_OBJECT

public:
    explicit InterruptWatcher(QObject *parent = nullptr);
    ~InterruptWatcher() override;

    bool isWatching() const { return m_notifier != nullptr; }

Q_SIGNALS:
    // `count` is 1 for the first of these signals, 2 for the second, and so on, whichever they are;
    // `signal` is the one that came (SIGINT, SIGTERM or SIGHUP).
    void interrupted(int count, int signal);

private:
    void readInterrupts();

    static constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};
    struct sigaction m_previous[std::size(kSignals)] = {};
    bool m_handled[std::size(kSignals)] = {};
    QSocketNotifier *m_notifier = nullptr;
    int m_count = 0;
};
