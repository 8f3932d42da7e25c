#pragma once

// Owns the judgement whether the end of a series was deleted.

#include <QtGlobal>

#include <optional>

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

    /// The earliest end since it was in doubt: what lies behind it was written since.
    std::optional<qint64> leastMs() const { return m_leastMs; }

private:
    std::optional<qint64> m_sinceMs; ///< when it was first found too short
    std::optional<qint64> m_leastMs;
};

} // namespace Kiv::Cli
