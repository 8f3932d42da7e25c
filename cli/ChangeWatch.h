#pragma once

// Owns the waiting for changes in directories.

#include <QSet>
#include <QStringList>
#include <QtGlobal>

#include <optional>

namespace Kiv::Cli
{

/// Sleeps until somebody closes a file that was written, or creates, moves or removes something in one of the
/// directories. Where the kernel cannot tell, it looks at intervals instead.
class ChangeWatch
{
public:
    /// \param pollMs  wake up at this interval without asking the kernel; nothing asks it
    explicit ChangeWatch(std::optional<qint64> pollMs);
    ~ChangeWatch();

    ChangeWatch(const ChangeWatch&) = delete;
    ChangeWatch& operator=(const ChangeWatch&) = delete;

    /// Replaces the directories. What happens behind this call wakes the next wait().
    void setDirectories(const QStringList& directories);

    /// \param timeoutMs  nothing waits without end
    /// \return false when the time was over
    /// \throws CommandError when the command is interrupted
    bool wait(std::optional<qint64> timeoutMs);

    bool isPolling() const { return m_pollMs.has_value(); }

private:
    void startPolling(const char* reason);
    bool takeEvents() const;

    std::optional<qint64> m_pollMs;
    int m_file = -1; ///< of the kernel's events
    QSet<int> m_watches;
};

} // namespace Kiv::Cli
