#pragma once

// Owns the choice of an interval for a wanted number of results.

#include "Request.h"
#include "Series.h"
#include "TimeBound.h"

#include <optional>

namespace Kiv::Cli
{

/// \return the shortest round interval, in seconds, whose results are no more than `count`; nothing when the records of
///         the range are no more than that
/// \param options  those of requestForPoints(), whose method may have two results an interval
/// \throws CommandError (usage) for a series whose values have no arithmetic, or too few points for two results
std::optional<qint64> intervalForPoints(const Series& series, const TimeRange& range,
                                        const RequestOptions& options, qint64 count);

/// The request with that interval, of arithmetic means unless it has a method; raw without one.
Request requestForPoints(const RequestOptions& options, std::optional<qint64> intervalSeconds);

} // namespace Kiv::Cli
