#pragma once

// Owns the lock that keeps two programs from writing to one series at the same time.

#include <QString>

namespace Kiv::Cli
{

/// Holds the lock of a series while it lives. The lock is the kernel's and ends with the process; its file stays in the
/// base directory, which therefore is never empty, so that deleting the last record does not remove it, nor the
/// directories above it.
class SeriesLock
{
public:
    /// Creates the base directory's file when there is none; the directory must exist. Waits for a short while.
    /// \throws CommandError (refused) that names the process which holds the lock, or (file error)
    explicit SeriesLock(const QString& basePath);
    ~SeriesLock();

    SeriesLock(SeriesLock&& other) noexcept;
    SeriesLock(const SeriesLock&) = delete;
    SeriesLock& operator=(const SeriesLock&) = delete;

    /// What --no-lock asks for: locks that only see to their file.
    static void disable();

    /// The name of the lock's file.
    static QString fileName();

private:
    int m_file = -1;
};

} // namespace Kiv::Cli
