#pragma once

// Owns the printing of a range: block by block what comes in columns or raw, everything else in one request.

#include "RecordPrinter.h"
#include "Request.h"
#include "Series.h"
#include "TimeBound.h"

namespace Kiv::Cli
{

struct RangeQuery {
    TimeRange range;
    Request request;
    qint64 limit = 0;             ///< most rows wanted of the range itself, 0 for all
    bool withLate = false;        ///< also the records that were written late during the range
    bool withOverwritten = false; ///< also the old values of overwritten records of the range
};

/// The number of rows that --limit asks for.
/// \throws CommandError
void checkLimit(qint64 limit);

/// Prints the result of a query, at most `limit` rows, then what the companions know.
/// \throws CommandError when the query cannot be answered
void printRange(const Series& series, const RangeQuery& query, RecordPrinter& printer);

} // namespace Kiv::Cli
