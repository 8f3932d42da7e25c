#include "BenchFiles.h"

#include "Errors.h"
#include "Interrupt.h"

#include <QDirIterator>
#include <QElapsedTimer>
#include <QFile>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Kiv::Cli
{

namespace
{

using Bytes = std::vector<char>;

class OpenFile
{
public:
    OpenFile(const QString& path, int flags)
        : m_path(path), m_file(::open(QFile::encodeName(path).constData(), flags | O_CLOEXEC, 0666))
    {
        if (m_file < 0)
            fail();
    }
    ~OpenFile() { ::close(m_file); }

    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

    qint64 size() const
    {
        struct stat status {
        };
        if (::fstat(m_file, &status) != 0)
            fail();
        return status.st_size;
    }

    void write(const char* from, std::size_t count, qint64 at) const
    {
        while (count > 0) {
            const ssize_t written = ::pwrite(m_file, from, count, at);
            if (written < 0 && errno != EINTR)
                fail();
            const auto step = static_cast<std::size_t>(std::max<ssize_t>(written, 0));
            from += step;
            count -= step;
            at += static_cast<qint64>(step);
        }
    }

    /// Fewer bytes only at the file's end.
    std::size_t read(char* to, std::size_t count, qint64 at) const
    {
        std::size_t done = 0;
        while (done < count) {
            const ssize_t got = ::pread(m_file, to + done, count - done, at + static_cast<qint64>(done));
            if (got < 0 && errno != EINTR)
                fail();
            if (got == 0)
                break;
            done += static_cast<std::size_t>(std::max<ssize_t>(got, 0));
        }
        return done;
    }

private:
    [[noreturn]] void fail() const
    {
        throw CommandError(ExitCode::FileError, QStringLiteral("%1: %2").arg(
                                                    m_path, QString::fromLocal8Bit(std::strerror(errno))));
    }

    QString m_path;
    int m_file;
};

template <typename Work>
double timed(const std::vector<FileStretch>& stretches, const Work& work)
{
    QElapsedTimer timer;
    timer.start();
    for (const FileStretch& stretch : stretches) {
        throwIfInterrupted();
        work(stretch);
    }
    return static_cast<double>(timer.nsecsElapsed()) / 1e9;
}

} // namespace

double writePlainFiles(const std::vector<FileStretch>& files)
{
    qint64 longest = 0;
    for (const FileStretch& file : files)
        longest = std::max(longest, file.size);
    const Bytes bytes(static_cast<std::size_t>(longest), 'k');
    return timed(files, [&bytes](const FileStretch& file) {
        OpenFile(file.path, O_WRONLY | O_CREAT).write(bytes.data(), static_cast<std::size_t>(file.size), 0);
    });
}

double readPlainFiles(const std::vector<FileStretch>& files)
{
    constexpr std::size_t kBlockBytes = 262'144;
    Bytes block(kBlockBytes);
    return timed(files, [&block](const FileStretch& stretch) {
        const OpenFile file(stretch.path, O_RDONLY);
        for (qint64 at = 0; at < stretch.size; at += static_cast<qint64>(kBlockBytes))
            static_cast<void>(file.read(block.data(), kBlockBytes, at));
    });
}

double readStretches(const std::vector<FileStretch>& stretches)
{
    Bytes block;
    return timed(stretches, [&block](const FileStretch& stretch) {
        block.resize(static_cast<std::size_t>(stretch.size));
        static_cast<void>(
            OpenFile(stretch.path, O_RDONLY).read(block.data(), block.size(), stretch.position));
    });
}

double insertStretches(const std::vector<FileStretch>& stretches)
{
    Bytes bytes;
    return timed(stretches, [&bytes](const FileStretch& stretch) {
        const OpenFile file(stretch.path, O_RDWR);
        const qint64 position = std::min(stretch.position, file.size());
        const auto movedSize = static_cast<std::size_t>(file.size() - position);
        const auto insertedSize = static_cast<std::size_t>(stretch.size);
        bytes.assign(insertedSize + movedSize, 'k');
        static_cast<void>(file.read(bytes.data() + insertedSize, movedSize, position));
        file.write(bytes.data(), bytes.size(), position);
    });
}

std::vector<FileStretch> filesBelow(const QString& directory)
{
    std::vector<FileStretch> files;
    QDirIterator entries(directory, QDir::Files, QDirIterator::Subdirectories);
    while (entries.hasNext()) {
        entries.next();
        files.push_back({entries.filePath(), 0, entries.fileInfo().size()});
    }
    std::sort(files.begin(), files.end(),
              [](const FileStretch& left, const FileStretch& right) { return left.path < right.path; });
    return files;
}

} // namespace Kiv::Cli
