#pragma once

// Owns the reading of a range: raw in blocks of bounded size, by intervals in one request.

#include "RecordPrinter.h"
#include "Series.h"
#include "TimeText.h"

namespace Kiv::Cli
{

struct RangeQuery {
    TimeBound from;
    TimeBound to;
    QString method;          ///< checked; empty for the engine's own choice
    qint64 interval = 0;     ///< seconds, a calendar code, or 0 for raw records
    bool alignRange = false; ///< move both ends to interval boundaries
    qint64 limit = 0;        ///< most rows wanted, 0 for all
};

/// Prints the result of a query, at most `limit` rows.
/// \throws CommandError when the query cannot be answered
void printRange(const Series& series, const RangeQuery& query, RecordPrinter& printer);

} // namespace Kiv::Cli
