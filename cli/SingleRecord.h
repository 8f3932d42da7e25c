#pragma once

// Owns what the commands for one record share.

#include "Commands.h"
#include "SharedOptions.h"

#include <functional>

namespace Kiv::Cli
{

/// Looks one record up in an open series; false when there is none.
using RecordLookUp = std::function<bool(const Series& series, Interpolate::DataRecord& record)>;

/// Opens the series and prints the record of each.
/// \throws CommandError (nothing found) when there is one series, which holds no records
ExitCode printSingleRecord(const RecordOptions& options, const RecordLookUp& lookUp);

} // namespace Kiv::Cli
