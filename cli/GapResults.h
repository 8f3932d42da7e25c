#pragma once

// Owns what --max-gap does to results: nothing is held, filled or put on a line across a hole in the records.

#include "Request.h"
#include "ResolvedRange.h"

#include <vector>

namespace Kiv::Cli
{

/// Makes null what a method says about a time in a hole, and what fills an interval that lies in one as a whole.
/// \param request  one with a greatest gap and intervals, checked for the series
/// \param results  labelled with ends of intervals, or their starts when the request shifts
void forgetHoles(const Series& series, const Request& request, const TimeRange& range,
                 const ResolvedRange& resolved, std::vector<Interpolate::DataRecord>& results);

} // namespace Kiv::Cli
