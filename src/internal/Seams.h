#pragma once

// Owns the points where the outside world enters: clock, retry sleep, file opening, and the system calls
// that read and change files. The library's own tests replace them; nothing of this is public.

#include <QFile>
#include <QIODevice>

#include <sys/types.h>

#include <functional>

namespace Kiv::Internal
{

struct Seams {
    std::function<qint64()> nowMicroseconds; ///< since the epoch (UTC)
    std::function<void(unsigned seconds)> sleep;
    std::function<bool(QFile& file, QIODevice::OpenMode mode)> open;
    std::function<ssize_t(int fd, char* bytes, size_t count, off_t position)> read;
    std::function<ssize_t(int fd, const char* bytes, size_t count, off_t position)> write;
    std::function<int(int fd, off_t size)> truncate;
    std::function<int(int fd)> synchronize;
    std::function<int(const char* from, const char* to)> rename;
    std::function<int(const char* path)> remove;
};

/// The seams in use. Replaced only while no other thread uses the library.
Seams& seams();

/// The seams of a program in the field.
Seams realSeams();

} // namespace Kiv::Internal
