#pragma once

// Owns what can be told of the files beside record files that hold values of variable length.

#include "SeriesFiles.h"

#include <vector>

namespace Kiv::Cli
{

/// Whether the value that lies behind all others of a record file is there in full: where a file of values was cut off,
/// it is the first one to miss.
/// \throws CommandError (file error)
bool isLastValueReadable(const Series& series, const SeriesFile& file);

/// Reads the whole series.
/// \return for each record file the bytes of its values that no record points to
std::vector<qint64> deadBytes(const Series& series, const SeriesFiles& files);

} // namespace Kiv::Cli
