#pragma once

// Owns a process of its own that works on a series until it is killed, for tests of what a dead writer leaves.

#include <functional>

#include <sys/types.h>

namespace Kiv::Testing
{

/// Forks. The child runs the body, which tells through a pipe how far it has come, and ends with it; nothing of
/// the test runs in it any more.
class ChildProcess
{
public:
    /// Tells the parent a number. The pipe keeps what was told before the child died.
    using Report = std::function<void(int number)>;

    explicit ChildProcess(const std::function<void(const Report& report)>& body);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    /// Waits until the child has told that number or ended. \return the last number told; -1 for none
    int waitFor(int number);

    /// Ends the child with SIGKILL, wherever it is. \return the last number it told
    int kill();

    /// Waits for the child's own end. \return the last number it told
    int finish();

private:
    bool readReport();
    void reap();

    pid_t m_pid = -1;
    int m_pipe = -1;
    int m_last = -1;
};

} // namespace Kiv::Testing
