#include "InputFile.h"

#include "Errors.h"
#include "Interrupt.h"

#include <QFile>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Kiv::Cli
{

namespace
{

QString systemError()
{
    return QString::fromLocal8Bit(std::strerror(errno));
}

bool isDirectory(int file)
{
    struct stat status {
    };
    return ::fstat(file, &status) == 0 && S_ISDIR(status.st_mode);
}

} // namespace

InputFile::InputFile(const QString& name)
{
    open(ReadOnly | Unbuffered);
    if (name == QLatin1String("-")) {
        m_file = STDIN_FILENO;
        m_isOwn = false;
        return;
    }
    // Not blocking: opening a pipe would wait for its writer, deaf to interrupts.
    m_file = ::open(QFile::encodeName(name).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (m_file < 0)
        throw CommandError(ExitCode::FileError,
                           QStringLiteral("cannot read %1: %2").arg(name, systemError()));
    if (isDirectory(m_file)) {
        ::close(m_file);
        throw CommandError(ExitCode::FileError, QStringLiteral("%1 is a directory; give a file").arg(name));
    }
}

InputFile::~InputFile()
{
    if (m_isOwn)
        ::close(m_file);
}

qint64 InputFile::readData(char* data, qint64 maxSizeBytes)
{
    while (waitForInput(m_file)) {
        const ssize_t sizeBytes = ::read(m_file, data, static_cast<std::size_t>(maxSizeBytes));
        if (sizeBytes >= 0)
            return sizeBytes;
        if (errno != EINTR && errno != EAGAIN) {
            m_failure = systemError();
            return -1;
        }
    }
    return 0;
}

qint64 InputFile::writeData(const char*, qint64)
{
    return -1;
}

} // namespace Kiv::Cli
