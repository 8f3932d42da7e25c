#pragma once

// Owns the walk over the samples of any request and series as numbers in columns.

#include "Request.h"
#include "Series.h"
#include "TimeBound.h"

#include "TSFileColumns.h"

#include <functional>

namespace Kiv::Cli
{

/// Hands the results to the visitor in blocks, until that answers false. Constant memory, but for float series and for
/// what the program fills itself. Values of variable length come as nulls.
/// \throws CommandError when the request cannot be answered for the series
void visitSamples(const Series& series, const Request& request, const TimeRange& range,
                  const std::function<bool(const TSFileColumns& block)>& visit);

/// Entry of a block as a number; NaN where it is null.
/// \param isUnsigned  whether the series' integers are
double numberAt(const TSFileColumns& block, std::size_t index, bool isUnsigned);

inline bool isUnsignedSeries(const Series& series)
{
    return series.type.metaType == QMetaType::ULongLong;
}

} // namespace Kiv::Cli
