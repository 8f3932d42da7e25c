#pragma once

// Owns the options that several commands have.

#include "Series.h"
#include "TimeText.h"

#include <string>

namespace CLI
{
class App;
}

namespace Kiv::Cli
{

/// The options that name a series.
struct SeriesOptions {
    std::string series;
    std::string typeWord;
};

/// The options of every command that prints records of one series.
struct RecordOptions {
    SeriesOptions series;
    std::string formatWord;
};

/// The options that name a range.
struct RangeOptions {
    std::string from = "first";
    std::string to = "last";
};

void addSeriesOptions(CLI::App& parser, SeriesOptions& options);
void addRecordOptions(CLI::App& parser, RecordOptions& options);
void addRangeOptions(CLI::App& parser, RangeOptions& options);

/// Opens the series that the options name.
/// \throws CommandError
Series openSeries(const SeriesOptions& options);

/// \throws CommandError, also when the range ends before it begins
TimeRange parseTimeRange(const RangeOptions& options);

} // namespace Kiv::Cli
