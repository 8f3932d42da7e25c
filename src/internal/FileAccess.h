#pragma once

// Owns how files are opened, read and written at a position. Knows nothing of records. Its results carry
// errno; only the opening retries log.

#include <QFile>
#include <QIODevice>
#include <QString>

namespace Kiv::Internal
{

/// Outcome of a system call that changes or reads a file: 0 or an errno.
class [[nodiscard]] IoResult
{
public:
    IoResult() = default;
    explicit IoResult(int error) : m_error(error) {}
    bool ok() const { return m_error == 0; }
    int error() const { return m_error; }

private:
    int m_error = 0;
};

/// "Read,Write," and so on: the flags that are set, lowest bit first.
QString openModeText(QIODevice::OpenMode mode);

/// How often an open that fails is tried.
enum class OpenAttempts {
    WithRetries, ///< six times, a second apart
    Once,
};

/// Opens a file; every attempt that fails is a level-4 log line.
bool openFile(QFile& file, QIODevice::OpenMode mode, OpenAttempts attempts = OpenAttempts::WithRetries);

/// True when opening the path could block or have effects: a fifo, a device or a socket.
bool isSpecialFile(const QString& path);

bool fileExists(const QString& path);
bool isRegularFile(const QString& path);

/// Bytes of a file, asked afresh; 0 when it does not exist.
qint64 fileSizeBytes(const QString& path);

/// Bytes of an open file, asked afresh.
qint64 fileSizeBytes(int fd);

/// Reads up to `countBytes` at a position; less only at the end of the file or after an I/O error.
/// \return the bytes read
qint64 readAt(int fd, char* bytes, qint64 countBytes, qint64 positionBytes);

/// Writes all bytes at a position, however many calls it takes.
IoResult writeAt(int fd, const char* bytes, qint64 countBytes, qint64 positionBytes);

/// Gives a file the owner and mode of another, as far as the system allows.
void copyPermissions(const QString& from, const QString& to);

IoResult truncateFile(int fd, qint64 sizeBytes);
IoResult synchronizeFile(int fd);
IoResult renameFile(const QString& from, const QString& to);
/// A file that is not there counts as removed.
IoResult removeFile(const QString& path);

/// Closes the file; what the system reports only then counts as a failed write.
IoResult closeFile(QFile& file);

} // namespace Kiv::Internal
