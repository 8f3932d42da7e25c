#include "OutputFile.h"

#include "Errors.h"

#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Kiv::Cli
{

namespace
{

struct Target {
    QString path;
    const char* option = nullptr;
};

/// Of the one that there is.
Target& storedTarget()
{
    static Target target;
    return target;
}

CommandError fileError(const char* option, const QString& path)
{
    return {ExitCode::FileError,
            QStringLiteral("%1: cannot write %2: %3")
                .arg(QLatin1String(option), path, QString::fromLocal8Bit(std::strerror(errno)))};
}

bool isRegularOrNew(const QByteArray& path)
{
    struct stat status {
    };
    return ::stat(path.constData(), &status) != 0 || S_ISREG(status.st_mode);
}

/// Where a chain of symbolic links ends, so that the links stay; the path itself when nothing is there yet.
QByteArray placeOf(const QString& path)
{
    const QString place = QFileInfo(path).canonicalFilePath();
    return QFile::encodeName(place.isEmpty() ? path : place);
}

/// What replaces a file is open to nobody else than the file was.
bool copyMode(const QByteArray& from, int file)
{
    constexpr mode_t kPermissions = 07777;
    struct stat status {
    };
    return ::stat(from.constData(), &status) != 0 || ::fchmod(file, status.st_mode & kPermissions) == 0;
}

} // namespace

OutputFile::OutputFile(const QString& path, const char* option) : m_option(option)
{
    if (path.isEmpty() || path == QLatin1String("-"))
        return;
    const QByteArray name = placeOf(path);
    const bool isPlaced = isRegularOrNew(name);
    const QByteArray written = isPlaced ? name + ".part" + QByteArray::number(::getpid()) : name;
    const int flags = O_WRONLY | O_CLOEXEC | (isPlaced ? O_CREAT | O_TRUNC : 0);
    const int file = ::open(written.constData(), flags, 0666);
    if (file < 0)
        throw fileError(option, path);
    if (isPlaced)
        m_partialPath = written;
    std::fflush(stdout);
    const bool isInPlace = (!isPlaced || copyMode(name, file)) && ::dup2(file, STDOUT_FILENO) >= 0;
    const int error = errno;
    ::close(file);
    if (!isInPlace) {
        errno = error;
        const CommandError failure = fileError(option, path);
        discard();
        throw failure;
    }
    m_path = path;
    m_place = name;
    storedTarget() = {path, option};
}

OutputFile::~OutputFile()
{
    std::fflush(stdout);
    discard();
    storedTarget() = {};
}

void OutputFile::keep()
{
    flushOutput();
    if (m_partialPath.isEmpty())
        return;
    if (::fsync(STDOUT_FILENO) != 0 || std::rename(m_partialPath.constData(), m_place.constData()) != 0)
        throw fileError(m_option, m_path);
    m_partialPath.clear();
}

void OutputFile::discard()
{
    if (!m_partialPath.isEmpty())
        std::remove(m_partialPath.constData());
}

const char* OutputFile::openOption()
{
    return storedTarget().option;
}

QString OutputFile::openPath()
{
    return storedTarget().path;
}

} // namespace Kiv::Cli
