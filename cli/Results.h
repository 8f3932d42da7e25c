#pragma once

// Owns the results of a request: what is refused, what the engine gives, and what the program adds to it, the
// filling and the exact limit.

#include "Request.h"
#include "Series.h"
#include "TimeBound.h"

#include <unordered_map>
#include <vector>

namespace Kiv::Cli
{

/// Refuses an end that the store would take for one of its symbols.
/// \throws CommandError (usage)
void checkExactBounds(const TimeRange& range);

/// Refuses what the engine cannot do with a series and range, or not within memory and time.
/// \param limit  most results wanted, 0 for all
/// \throws CommandError (usage)
void checkRequest(const Series& series, const Request& request, const TimeRange& range, qint64 limit);

/// What the companion series know of a range.
struct CompanionResults {
    std::vector<Interpolate::DataRecord> late;
    std::unordered_map<qint64, QVariant> overwritten;
};

/// The results of a checked request, at most `limit` of them unless that is 0.
/// \param companions  may be null
std::vector<Interpolate::DataRecord> readResults(const Series& series, const Request& request,
                                                 const TimeRange& range, qint64 limit,
                                                 CompanionResults* companions = nullptr);

} // namespace Kiv::Cli
