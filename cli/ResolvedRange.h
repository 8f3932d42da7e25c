#pragma once

// Owns a range with its symbols replaced by timestamps.

#include "Series.h"
#include "TimeBound.h"

#include <optional>

namespace Kiv::Cli
{

struct ResolvedRange {
    // Both inclusive.
    qint64 fromMs = 0;
    qint64 toMs = 0;
    // Of the whole series.
    qint64 firstRecordMs = 0;
    qint64 lastRecordMs = 0;
};

/// \return the time that it stands for beside these records
qint64 resolveTime(const TimeBound& time, qint64 firstRecordMs, qint64 lastRecordMs);

/// \return nothing where a series without records would have to tell
std::optional<qint64> resolveTime(const Series& series, const TimeBound& time);

/// \return nothing for a series without records
std::optional<ResolvedRange> resolveRange(const Series& series, const TimeRange& range);

} // namespace Kiv::Cli
