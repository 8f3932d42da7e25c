#include "Interrupt.h"

#include "Errors.h"

#include <cerrno>
#include <csignal>
#include <poll.h>

namespace Kiv::Cli
{

namespace
{

volatile std::sig_atomic_t s_isInterrupted = 0;

void receiveSignal(int signal)
{
    s_isInterrupted = 1;
    std::signal(signal, SIG_DFL);
}

/// Keeps the signals back while it lives, so that none comes between a look at the flag and a wait.
class HeldSignals
{
public:
    HeldSignals()
    {
        sigset_t held;
        sigemptyset(&held);
        sigaddset(&held, SIGINT);
        sigaddset(&held, SIGTERM);
        sigprocmask(SIG_BLOCK, &held, &m_before);
    }
    ~HeldSignals() { sigprocmask(SIG_SETMASK, &m_before, nullptr); }

    HeldSignals(const HeldSignals&) = delete;
    HeldSignals& operator=(const HeldSignals&) = delete;

    const sigset_t& before() const { return m_before; }

private:
    sigset_t m_before{};
};

} // namespace

void watchInterrupts()
{
    for (const int signal : {SIGINT, SIGTERM}) {
        struct sigaction action {
        };
        sigaction(signal, nullptr, &action);
        // Who started the program to ignore a signal is obeyed.
        if (action.sa_handler == SIG_IGN)
            continue;
        action = {};
        action.sa_handler = receiveSignal;
        // A read that waits goes on, so that no part of the store sees an error that is none.
        action.sa_flags = SA_RESTART;
        sigaction(signal, &action, nullptr);
    }
}

bool isInterrupted()
{
    return s_isInterrupted != 0;
}

void throwIfInterrupted()
{
    if (isInterrupted())
        throw CommandError(ExitCode::Interrupted, QStringLiteral("interrupted"));
}

bool waitForInput(int file)
{
    const HeldSignals held;
    pollfd wanted{file, POLLIN, 0};
    // Whatever else is wrong with the file the read will say.
    while (!isInterrupted() && ::ppoll(&wanted, 1, nullptr, &held.before()) < 0 && errno == EINTR) {
    }
    return !isInterrupted();
}

} // namespace Kiv::Cli
