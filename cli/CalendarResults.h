#pragma once

// Owns the engine's results by the periods of a zone's own calendar, daylight saving time included.

#include "Request.h"
#include "ResolvedRange.h"

#include <vector>

namespace Kiv::Cli
{

/// One exact read per period. With a difference word or earlier passes the differences or results of the whole range are
/// read at once and then reduced period by period, so that the difference across a boundary is counted.
/// \param request  one that isByLocalCalendar(), checked for the series and the range
/// \param limit    most results that are needed, 0 for all; there may be more
std::vector<Interpolate::DataRecord> readByLocalCalendar(const Series& series, const Request& request,
                                                         const TimeRange& range,
                                                         const ResolvedRange& resolved, qint64 limit);

} // namespace Kiv::Cli
