#include "SeriesLock.h"

#include "Errors.h"

#include <QElapsedTimer>
#include <QFile>
#include <QThread>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>
#include <utility>

namespace Kiv::Cli
{

namespace
{

bool& isDisabled()
{
    static bool disabled = false;
    return disabled;
}

QString systemError()
{
    return QString::fromLocal8Bit(std::strerror(errno));
}

/// \return false when somebody else holds it for longer than anybody wants to wait
bool waitForLock(int file)
{
    constexpr qint64 kPatienceMs = 500;
    constexpr unsigned long kBetweenMs = 20;
    QElapsedTimer elapsed;
    elapsed.start();
    while (::flock(file, LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK && errno != EINTR)
            return false;
        if (elapsed.elapsed() > kPatienceMs) {
            errno = EWOULDBLOCK;
            return false;
        }
        QThread::msleep(kBetweenMs);
    }
    return true;
}

/// The first line of the lock's file.
QString holder(int file)
{
    char text[32] = {};
    const ssize_t length = ::pread(file, text, sizeof text - 1, 0);
    const QString pid = QString::fromLatin1(text, static_cast<int>(length > 0 ? length : 0)).trimmed();
    return pid.isEmpty() ? QStringLiteral("another process") : QStringLiteral("process %1").arg(pid);
}

void writeHolder(int file)
{
    const QByteArray pid = QByteArray::number(::getpid()) + '\n';
    // Only a hint for who is refused: a full disk must not keep anybody from deleting.
    static_cast<void>(::ftruncate(file, 0) == 0 &&
                      ::pwrite(file, pid.constData(), static_cast<std::size_t>(pid.size()), 0) > 0);
}

} // namespace

SeriesLock::SeriesLock(const QString& basePath)
{
    const QString path = basePath + u'/' + fileName();
    m_file = ::open(QFile::encodeName(path).constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    if (isDisabled()) {
        // Who may not create the file cannot empty the directory either.
        if (m_file >= 0)
            ::close(std::exchange(m_file, -1));
        return;
    }
    if (m_file < 0)
        throw CommandError(
            ExitCode::FileError,
            QStringLiteral(
                "cannot write to %1: its lock %2 cannot be opened: %3; let this user write there, or "
                "write without the lock: --no-lock")
                .arg(basePath, fileName(), systemError()));
    if (waitForLock(m_file)) {
        writeHolder(m_file);
        return;
    }
    const bool isHeld = errno == EWOULDBLOCK;
    const QString text =
        isHeld ? QStringLiteral(
                     "%1 is being written to by %2; wait for it to end, or write all the same: --no-lock")
                     .arg(basePath, holder(m_file))
               : QStringLiteral("cannot lock %1: %2; to write without the lock give --no-lock")
                     .arg(path, systemError());
    ::close(std::exchange(m_file, -1));
    throw CommandError(isHeld ? ExitCode::Refused : ExitCode::FileError, text);
}

SeriesLock::~SeriesLock()
{
    if (m_file < 0)
        return;
    // Nobody holds it any longer.
    static_cast<void>(::ftruncate(m_file, 0) == 0);
    ::close(m_file);
}

SeriesLock::SeriesLock(SeriesLock&& other) noexcept : m_file(std::exchange(other.m_file, -1)) {}

void SeriesLock::disable()
{
    isDisabled() = true;
}

QString SeriesLock::fileName()
{
    return QStringLiteral(".kivts.lock");
}

} // namespace Kiv::Cli
