#include "internal/Seams.h"

#include <Poco/DateTime.h>

#include <QThread>

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

namespace Kiv::Internal
{

Seams realSeams()
{
    Seams real;
    real.nowMicroseconds = [] { return Poco::DateTime().timestamp().epochMicroseconds(); };
    real.sleep = [](unsigned seconds) { QThread::sleep(seconds); };
    real.open = [](QFile& file, QIODevice::OpenMode mode) { return file.open(mode); };
    real.read = [](int fd, char* bytes, size_t count, off_t position) {
        return ::pread(fd, bytes, count, position);
    };
    real.write = [](int fd, const char* bytes, size_t count, off_t position) {
        return ::pwrite(fd, bytes, count, position);
    };
    real.truncate = [](int fd, off_t size) { return ::ftruncate(fd, size); };
    real.synchronize = [](int fd) { return ::fsync(fd); };
    real.rename = [](const char* from, const char* to) { return std::rename(from, to); };
    real.remove = [](const char* path) { return ::unlink(path); };
    return real;
}

Seams& seams()
{
    static Seams current = realSeams();
    return current;
}

} // namespace Kiv::Internal
