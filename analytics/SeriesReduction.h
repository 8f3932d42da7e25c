#pragma once

// Owns the reading of a stored series for a reduction: from the sample before the first interval to the first one behind
// the last.

#include "analytics/Reducer.h"

#include "TSFileStorage.h"

#include <optional>

namespace Kiv::Analytics
{

/// The last sample before a time, not of a float series. Costs one search in one file, however long the series is.
/// \return nothing when there is none. Files that cannot be opened are logged and skipped.
std::optional<Interpolate::DataRecord> lastSampleBefore(TSFileStorage& storage, qint64 timestampMs);

/// Reduces a stored series block by block.
/// \param maxGapMs  as for Reducer
/// \return false, with nothing visited, for a float series and for variable-length values, whose samples a Reducer
///         takes from the caller. Files that cannot be opened are logged and skipped.
bool reduceSeries(TSFileStorage& storage, const Method& method, Intervals& intervals, qint64 maxGapMs,
                  const ResultVisitor& visit);

} // namespace Kiv::Analytics
