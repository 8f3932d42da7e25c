#include "support/FaultsForTest.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>

namespace Kiv::Testing
{

FaultsForTest::FaultsForTest() : m_real(Internal::seams())
{
    Internal::Seams& seams = Internal::seams();
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

void FaultsForTest::noFaults()
{
    calls.clear();
    hasFailed = false;
    m_failing = 0;
    m_growthLeftBytes = -1;
}

bool FaultsForTest::fails(const char* name)
{
    calls.push_back(name);
    const int number = static_cast<int>(calls.size());
    const bool failing =
        m_failing > 0 && (m_failure == Failure::Once ? number == m_failing : number >= m_failing);
    if (failing) {
        hasFailed = true;
        errno = EIO;
    }
    return failing;
}

ssize_t FaultsForTest::writeWithinLimit(int fd, const char* bytes, size_t count, off_t position)
{
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
