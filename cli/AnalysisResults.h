#pragma once

// Owns the results of the methods that the engine has not.

#include "Request.h"
#include "ResolvedRange.h"

#include <vector>

namespace Kiv::Cli
{

/// A result for every interval of which something is known; one that is filled here has a null for each of the others.
/// \param request  with an analysis, checked for the series
/// \param limit    greatest number of results, 0 for all; of no account where they are filled or filtered afterwards
std::vector<Interpolate::DataRecord> readAnalysis(const Series& series, const Request& request,
                                                  const TimeRange& range, const ResolvedRange& resolved,
                                                  qint64 limit = 0);

} // namespace Kiv::Cli
