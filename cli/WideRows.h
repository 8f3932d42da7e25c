#pragma once

// Owns the printing of several series side by side: one row for every timestamp that one of them has.

#include "OutputFormat.h"
#include "RangeQuery.h"

namespace Kiv::Cli
{

/// Prints the results of a query of each series in a column of its own, empty where it has none. Raw records are read
/// side by side in blocks; other results are held.
/// \throws CommandError when the query cannot be answered
/// \return the number of rows
qint64 printWide(const std::vector<Series>& all, const RangeQuery& query, OutputFormat format);

} // namespace Kiv::Cli
