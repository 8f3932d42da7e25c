#pragma once

// Owns the judgement whether the end of a series was deleted.

#include <QtGlobal>

#include <optional>
#include <vector>

namespace Kiv::Cli
{

/// A writer that splits a file removes it and writes its records again, the oldest first: for a moment the series ends
/// earlier. Only what stays away was deleted.
class ShrunkEnd
{
public:
    enum class Verdict { Whole, InDoubt, Deleted };

    static constexpr qint64 kSettleMs = 2000;

    /// Nothing stands for a series without records.
    /// \param knownMs  timestamp of the last record that was seen
    /// \param lastMs   timestamp of the last record that is there now
    /// \param nowMs    milliseconds on a clock that never goes back
    Verdict judge(std::optional<qint64> knownMs, std::optional<qint64> lastMs, qint64 nowMs);

    /// Where the series ended when it had been deleted: what lies behind was written since.
    std::optional<qint64> deletedFromMs() const { return m_deletedFromMs; }

private:
    struct End {
        std::optional<qint64> lastMs;
        qint64 sinceMs = 0;
    };

    std::vector<End> m_ends; ///< each one earlier than that before it, and seen later
    std::optional<qint64> m_deletedFromMs;
};

} // namespace Kiv::Cli
