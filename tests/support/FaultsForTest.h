#pragma once

// Owns faults of the operating system in tests: fails chosen system calls that change files.

#include "internal/Seams.h"

#include <string>
#include <vector>

namespace Kiv::Testing
{

/// Counts the calls that change files and makes one of them fail. Wraps the seams that are in use when it
/// is built and puts them back when it dies.
class FaultsForTest
{
public:
    enum class Failure {
        Once,  ///< one call fails, all others work: an I/O error
        Crash, ///< that call and every later one fail: the file system stays as the calls before left it
    };

    FaultsForTest();
    ~FaultsForTest();
    FaultsForTest(const FaultsForTest&) = delete;
    FaultsForTest& operator=(const FaultsForTest&) = delete;

    /// Starts counting anew.
    /// \param number  of the call that fails, from 1; 0: none fails
    void failCall(int number, Failure failure);

    /// From now on files can grow by that many bytes together, then the disk is full; a write that fits in
    /// part is cut short, as a system call does.
    void limitGrowth(qint64 bytes);
    void noFaults();

    /// Name of every call since counting began, failed ones included: "write", "truncate", "synchronize",
    /// "rename", "remove".
    std::vector<std::string> calls;
    /// True once a call has failed.
    bool hasFailed = false;

private:
    bool fails(const char* name);
    ssize_t writeWithinLimit(int fd, const char* bytes, size_t count, off_t position);

    Internal::Seams m_real;
    int m_failing = 0;
    Failure m_failure = Failure::Once;
    qint64 m_growthLeftBytes = -1; ///< negative: no limit
};

} // namespace Kiv::Testing
