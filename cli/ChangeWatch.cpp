#include "ChangeWatch.h"

#include "Errors.h"
#include "Interrupt.h"

#include <QElapsedTimer>
#include <QFile>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

namespace Kiv::Cli
{

namespace
{

constexpr qint64 kUsualPollMs = 1000;
constexpr std::uint32_t kEvents = IN_CLOSE_WRITE | IN_CREATE | IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE |
                                  IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;

/// Lets signals through only while it sleeps, so that none gets lost between a look for it and the sleep.
void sleepUntilReady(int file, std::optional<qint64> timeoutMs)
{
    constexpr qint64 kMsPerSecond = 1000;
    constexpr long kNsPerMs = 1'000'000;
    sigset_t blocked;
    sigset_t usual;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGINT);
    sigaddset(&blocked, SIGTERM);
    sigprocmask(SIG_BLOCK, &blocked, &usual);
    if (!isInterrupted()) {
        timespec time{};
        time.tv_sec = static_cast<time_t>(timeoutMs.value_or(0) / kMsPerSecond);
        time.tv_nsec = static_cast<long>(timeoutMs.value_or(0) % kMsPerSecond) * kNsPerMs;
        // A file of -1 is never ready.
        pollfd ready{file, POLLIN, 0};
        ::ppoll(&ready, 1, timeoutMs ? &time : nullptr, &usual);
    }
    sigprocmask(SIG_SETMASK, &usual, nullptr);
}

} // namespace

ChangeWatch::ChangeWatch(std::optional<qint64> pollMs) : m_pollMs(pollMs)
{
    if (m_pollMs)
        return;
    m_file = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (m_file < 0)
        startPolling(std::strerror(errno));
}

ChangeWatch::~ChangeWatch()
{
    if (m_file >= 0)
        ::close(m_file);
}

void ChangeWatch::startPolling(const char* reason)
{
    printWarning(QStringLiteral("the kernel does not tell of changes (%1); looking every second")
                     .arg(QString::fromLocal8Bit(reason)));
    m_pollMs = kUsualPollMs;
    if (m_file >= 0)
        ::close(m_file);
    m_file = -1;
    m_watches.clear();
}

void ChangeWatch::setDirectories(const QStringList& directories)
{
    if (m_pollMs)
        return;
    QSet<int> watches;
    for (const QString& directory : directories) {
        // Always anew: another directory may have taken the place of one that was removed.
        const int watch = ::inotify_add_watch(m_file, QFile::encodeName(directory).constData(), kEvents);
        if (watch >= 0) {
            watches += watch;
        } else if (errno != ENOENT && errno != ENOTDIR) {
            startPolling(std::strerror(errno));
            return;
        }
    }
    for (const int watch : m_watches - watches)
        ::inotify_rm_watch(m_file, watch);
    m_watches = watches;
}

/// \return whether one of the events that came says that records may have changed
bool ChangeWatch::takeEvents() const
{
    constexpr std::size_t kBufferSize = 16 * 1024;
    alignas(inotify_event) char buffer[kBufferSize];
    bool isChange = false;
    for (;;) {
        const ssize_t size = ::read(m_file, buffer, kBufferSize);
        if (size <= 0)
            return isChange;
        for (const char* place = buffer; place < buffer + size;) {
            const auto* const event = reinterpret_cast<const inotify_event*>(place);
            // A file that was just created has nothing in it; it will be closed.
            const bool isEmptyFile = (event->mask & IN_CREATE) != 0 && (event->mask & IN_ISDIR) == 0;
            const bool isOwnDoing = (event->mask & IN_IGNORED) != 0;
            isChange = isChange || !(isEmptyFile || isOwnDoing);
            place += sizeof(inotify_event) + event->len;
        }
    }
}

bool ChangeWatch::wait(std::optional<qint64> timeoutMs)
{
    QElapsedTimer elapsed;
    elapsed.start();
    for (;;) {
        throwIfInterrupted();
        std::optional<qint64> restMs = timeoutMs;
        if (restMs) {
            *restMs -= elapsed.elapsed();
            if (*restMs <= 0)
                return false;
        }
        if (m_pollMs)
            restMs = std::min(restMs.value_or(*m_pollMs), *m_pollMs);
        sleepUntilReady(m_file, restMs);
        throwIfInterrupted();
        const bool isPollTime = m_pollMs && elapsed.elapsed() >= *m_pollMs;
        if (isPollTime || (!m_pollMs && takeEvents()))
            return true;
    }
}

} // namespace Kiv::Cli
