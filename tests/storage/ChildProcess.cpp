#include "storage/ChildProcess.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <stdexcept>

#include <sys/wait.h>
#include <unistd.h>

namespace Kiv::Testing
{

ChildProcess::ChildProcess(const std::function<void(const Report& report)>& body)
{
    int ends[2] = {};
    if (::pipe(ends) != 0)
        throw std::runtime_error("no pipe");
    m_pid = ::fork();
    if (m_pid < 0)
        throw std::runtime_error("no process");
    if (m_pid > 0) {
        ::close(ends[1]);
        m_pipe = ends[0];
        return;
    }
    ::close(ends[0]);
    body([end = ends[1]](int number) {
        if (::write(end, &number, sizeof number) != static_cast<ssize_t>(sizeof number))
            std::abort();
    });
    ::_exit(0);
}

ChildProcess::~ChildProcess()
{
    if (m_pid > 0)
        ::kill(m_pid, SIGKILL);
    reap();
    ::close(m_pipe);
}

int ChildProcess::waitFor(int number)
{
    while (m_last < number && readReport())
        continue;
    return m_last;
}

int ChildProcess::kill()
{
    ::kill(m_pid, SIGKILL);
    return finish();
}

int ChildProcess::finish()
{
    while (readReport())
        continue;
    reap();
    return m_last;
}

/// \return false when the child has ended and nothing is left in the pipe
bool ChildProcess::readReport()
{
    int number = 0;
    ssize_t got = 0;
    do
        got = ::read(m_pipe, &number, sizeof number);
    while (got < 0 && errno == EINTR);
    // Numbers this short are written whole or not at all.
    if (got != static_cast<ssize_t>(sizeof number))
        return false;
    m_last = number;
    return true;
}

void ChildProcess::reap()
{
    if (m_pid > 0)
        ::waitpid(m_pid, nullptr, 0);
    m_pid = -1;
}

} // namespace Kiv::Testing
