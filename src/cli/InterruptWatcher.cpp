#include "InterruptWatcher.h"

#include <QSocketNotifier>

#include <cerrno>

#include <sys/socket.h>
#include <unistd.h>

namespace {

// The writing end of the pipe; the handler may do nothing but write to it, one byte a signal: its
// number.
int s_pipe[2] = {-1, -1};

void onSignal(int signal)
{
    const int savedErrno = errno;
    const char byte = char(signal);
    [[maybe_unused]] const ssize_t written = ::write(s_pipe[0], &byte, 1);
    errno = savedErrno;
}

} // namespace

InterruptWatcher::InterruptWatcher(QObject *parent)
    : QObject(parent)
{
    if (s_pipe[0] >= 0 || ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, s_pipe) != 0)
        return;
    m_notifier = new QSocketNotifier(s_pipe[1], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &InterruptWatcher::readInterrupts);

    struct sigaction action = {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (size_t i = 0; i < std::size(kSignals); ++i) {
        // `nohup` is how a user asks a program to outlive its terminal. SIGINT ignored at start is
        // left by launchers such as `tivaro demo`, which wait for the sync to stop on Ctrl-C itself.
        if (::sigaction(kSignals[i], nullptr, &m_previous[i]) != 0 ||
            (kSignals[i] == SIGHUP && m_previous[i].sa_handler == SIG_IGN))
            continue;
        m_handled[i] = ::sigaction(kSignals[i], &action, nullptr) == 0;
    }
}

InterruptWatcher::~InterruptWatcher()
{
    if (!m_notifier)
        return;
    for (size_t i = 0; i < std::size(kSignals); ++i) {
        if (m_handled[i])
            ::sigaction(kSignals[i], &m_previous[i], nullptr);
    }
    ::close(s_pipe[0]);
    ::close(s_pipe[1]);
    s_pipe[0] = s_pipe[1] = -1;
}

void InterruptWatcher::readInterrupts()
{
    char bytes[16];
    ssize_t count = 0;
    while ((count = ::read(s_pipe[1], bytes, sizeof bytes)) > 0) {
        for (ssize_t i = 0; i < count; ++i)
            Q_EMIT interrupted(++m_count, int(bytes[i]));
    }
}
