#pragma once

// Owns the walk over the results of a request in columns, in constant memory however many they are.

#include "Request.h"
#include "SafeRange.h"
#include "Series.h"

#include "TSFileColumns.h"

#include <functional>

namespace Kiv::Cli
{

/// Whether the columns tell all about the results of a request: those of floats and of values of variable length
/// do not, nor 64-bit integers that were computed, nor those that the program fills.
bool comeInColumns(const Series& series, const Request& request);

/// Hands the results to the visitor in blocks, until that answers false.
/// \param request  plain raw, or checked for the series and the range
/// \param limit    most results that the engine needs to give, 0 for all; there may be more
void visitColumns(const Series& series, const Request& request, const TimeRange& range, qint64 limit,
                  const std::function<bool(const TSFileColumns& block)>& visit);

} // namespace Kiv::Cli
