#pragma once

// Owns what a method that the program applies sees behind earlier passes: their results, also those beyond the range
// that its intervals reach to.

#include "Request.h"
#include "ResolvedRange.h"

#include <functional>

namespace Kiv::Cli
{

/// Hands the results of the request's earlier passes to the visitor, in time order, from the last one before the first
/// interval on, until it answers false or nothing behind the first one after the intervals can concern them. Passes
/// that only filter records take no memory.
/// \param request  with earlier passes
void visitPasses(const Series& series, const Request& request, const TimeRange& range,
                 const ResolvedRange& resolved,
                 const std::function<bool(const Interpolate::DataRecord& sample)>& visit);

} // namespace Kiv::Cli
