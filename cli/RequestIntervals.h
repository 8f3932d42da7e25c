#pragma once

// Owns the intervals of a request: the engine's, or the periods of the program's zone.

#include "Request.h"
#include "ResolvedRange.h"

#include "analytics/Intervals.h"

#include <memory>

namespace Kiv::Cli
{

/// Whether days, weeks and so on are those of a zone with a calendar of its own. The engine knows only UTC with an
/// offset.
bool isByLocalCalendar(const Request& request);

/// Every interval that gives a result, in time order. A request without an interval has the range as its only one.
std::unique_ptr<Analytics::Intervals> intervalsOf(const Request& request, const TimeRange& range,
                                                  const ResolvedRange& resolved);

/// \param interval  as in a request: seconds, a calendar word below 0, or 0 for none
/// \return the length of the longest such interval; no more than the calendar has years for
qint64 longestIntervalMs(qint64 interval);

/// A time moved by a length, at most to the ends of 64 bits.
qint64 saturatedSum(qint64 timestampMs, qint64 lengthMs);

} // namespace Kiv::Cli
