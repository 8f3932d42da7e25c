#pragma once

// Owns the walk over the raw records of a range in blocks of bounded size, exact at every end.

#include "Request.h"
#include "SafeRange.h"
#include "Series.h"

#include <functional>
#include <optional>

namespace Kiv::Cli
{

/// Hands every record of the range that passes the request's filters to the visitor, until that answers false.
/// \param request  plain raw
void visitRaw(const Series& series, const Request& request, const TimeRange& range,
              const std::function<bool(const Interpolate::DataRecord& record)>& visit);

/// \return the first record that is not before a time
std::optional<Interpolate::DataRecord> firstRecordFrom(const Series& series, qint64 timestampMs);

/// \return how many records lie in the range; whole files are counted by their size
qint64 countRecords(const Series& series, const TimeRange& range);

} // namespace Kiv::Cli
