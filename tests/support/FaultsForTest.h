#pragma once

// Owns faults of the operating system in tests: fails chosen system calls that change files, and chosen reads.

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

    /// From now on that many bytes reach the disk, then the process is gone: the write in which they end is cut
    /// there, and every later call fails.
    void crashAfterBytes(qint64 bytes);

    /// Every positioned read of files whose path ends so fails with EIO.
    void failReadsOf(std::string pathEnd);

    /// One positioned read fails with EIO, or that one and all after it. Starts counting the reads anew.
    /// \param number  of the read that fails, from 1
    void failRead(int number, Failure failure);

    void noFaults();

    /// Name of every call since counting began, failed ones included: "write", "truncate", "synchronize",
    /// "rename", "remove".
    std::vector<std::string> calls;
    /// Positioned reads since counting began, failed ones included. They are none of the calls above.
    int readCount = 0;
    /// True once a call or a read has failed.
    bool hasFailed = false;

private:
    bool fails(const char* name);
    bool failsRead(int fd);
    ssize_t writeUntilCrash(int fd, const char* bytes, size_t count, off_t position);
    ssize_t writeWithinLimit(int fd, const char* bytes, size_t count, off_t position);

    Internal::Seams m_real;
    int m_failing = 0;
    Failure m_failure = Failure::Once;
    qint64 m_growthLeftBytes = -1; ///< negative: no limit
    qint64 m_bytesToCrash = -1;    ///< negative: no crash comes
    std::string m_unreadableEnd;   ///< empty: no file's reads fail
    int m_failingRead = 0;
    Failure m_readFailure = Failure::Once;
};

} // namespace Kiv::Testing
