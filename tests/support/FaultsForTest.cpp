#include "support/FaultsForTest.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

namespace Kiv::Testing
{

namespace
{

/// Whether a call of that number is among those that fail.
bool isHit(int number, int failing, FaultsForTest::Failure failure)
{
    return failing > 0 && (failure == FaultsForTest::Failure::Once ? number == failing : number >= failing);
}

/// Path of the file behind a descriptor, as the system knows it.
std::string pathOf(int fd)
{
    std::error_code error;
    return std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(fd), error).string();
}

} // namespace

FaultsForTest::FaultsForTest() : m_real(Internal::seams())
{
    Internal::Seams& seams = Internal::seams();
    seams.read = [this](int fd, char* bytes, size_t count, off_t position) -> ssize_t {
        return failsRead(fd) ? -1 : m_real.read(fd, bytes, count, position);
    };
    seams.write = [this](int fd, const char* bytes, size_t count, off_t position) -> ssize_t {
        return fails("write") ? -1 : writeWithinLimit(fd, bytes, count, position);
    };
    seams.truncate = [this](int fd, off_t size) {
        return fails("truncate") ? -1 : m_real.truncate(fd, size);
    };
    seams.synchronize = [this](int fd) { return fails("synchronize") ? -1 : m_real.synchronize(fd); };
    seams.rename = [this](const char* from, const char* to) {
        return fails("rename") ? -1 : m_real.rename(from, to);
    };
    seams.remove = [this](const char* path) { return fails("remove") ? -1 : m_real.remove(path); };
}

FaultsForTest::~FaultsForTest()
{
    Internal::seams() = m_real;
}

void FaultsForTest::failCall(int number, Failure failure)
{
    noFaults();
    m_failing = number;
    m_failure = failure;
}

void FaultsForTest::limitGrowth(qint64 bytes)
{
    noFaults();
    m_growthLeftBytes = bytes;
}

void FaultsForTest::crashAfterBytes(qint64 bytes)
{
    noFaults();
    m_bytesToCrash = bytes;
}

void FaultsForTest::failReadsOf(std::string pathEnd)
{
    noFaults();
    m_unreadableEnd = std::move(pathEnd);
}

void FaultsForTest::failRead(int number, Failure failure)
{
    noFaults();
    m_failingRead = number;
    m_readFailure = failure;
}

void FaultsForTest::noFaults()
{
    calls.clear();
    readCount = 0;
    hasFailed = false;
    m_failing = 0;
    m_growthLeftBytes = -1;
    m_bytesToCrash = -1;
    m_unreadableEnd.clear();
    m_failingRead = 0;
}

bool FaultsForTest::fails(const char* name)
{
    calls.push_back(name);
    const bool isGone = m_bytesToCrash >= 0 && hasFailed;
    const bool failing = isGone || isHit(static_cast<int>(calls.size()), m_failing, m_failure);
    if (failing) {
        hasFailed = true;
        errno = EIO;
    }
    return failing;
}

bool FaultsForTest::failsRead(int fd)
{
    ++readCount;
    const bool failing = isHit(readCount, m_failingRead, m_readFailure) ||
                         (!m_unreadableEnd.empty() && pathOf(fd).ends_with(m_unreadableEnd));
    if (failing) {
        hasFailed = true;
        errno = EIO;
    }
    return failing;
}

ssize_t FaultsForTest::writeUntilCrash(int fd, const char* bytes, size_t count, off_t position)
{
    const size_t stored = std::min(count, static_cast<size_t>(m_bytesToCrash));
    m_bytesToCrash -= static_cast<qint64>(stored);
    const ssize_t written = m_real.write(fd, bytes, stored, position);
    if (stored == count)
        return written;
    hasFailed = true;
    errno = EIO;
    return -1;
}

ssize_t FaultsForTest::writeWithinLimit(int fd, const char* bytes, size_t count, off_t position)
{
    if (m_bytesToCrash >= 0)
        return writeUntilCrash(fd, bytes, count, position);
    if (m_growthLeftBytes < 0)
        return m_real.write(fd, bytes, count, position);
    struct stat status = {};
    ::fstat(fd, &status);
    const qint64 wanted = static_cast<qint64>(count);
    const qint64 growthBytes = std::max<qint64>(0, position + wanted - status.st_size);
    const qint64 missingBytes = std::max<qint64>(0, growthBytes - m_growthLeftBytes);
    m_growthLeftBytes -= growthBytes - missingBytes;
    hasFailed = hasFailed || missingBytes > 0;
    if (missingBytes >= wanted) {
        errno = ENOSPC;
        return -1;
    }
    return m_real.write(fd, bytes, static_cast<size_t>(wanted - missingBytes), position);
}

} // namespace Kiv::Testing
