#pragma once

// Owns the options that several commands have.

#include "Errors.h"
#include "RecordPrinter.h"
#include "Series.h"
#include "TimeBound.h"

#include <functional>
#include <string>
#include <vector>

namespace CLI
{
class App;
}

namespace Kiv::Cli
{

/// The options that name a series, or several.
struct SeriesOptions {
    std::vector<std::string> paths;
    std::string typeWord;
};

/// The options of every command that prints rows.
struct OutputOptions {
    std::string formatWord;
    bool isJson = false; ///< --json
    std::string path;    ///< of the file instead of stdout

    bool hasFormat() const { return isJson || !formatWord.empty(); }
};

/// The options of every command that prints records.
struct RecordOptions {
    SeriesOptions series;
    OutputOptions output;
};

/// The options that name a range.
struct RangeOptions {
    std::string from = "first";
    std::string to = "last";
};

/// SERIES ... and --type
void addSeriesOptions(CLI::App& parser, SeriesOptions& options);

/// One SERIES and --type
void addOneSeriesOption(CLI::App& parser, SeriesOptions& options);

void addOutputOptions(CLI::App& parser, OutputOptions& options);
/// --json, beside the output options.
void addJsonOption(CLI::App& parser, OutputOptions& options);
void addRecordOptions(CLI::App& parser, RecordOptions& options);
void addRangeOptions(CLI::App& parser, RangeOptions& options);
/// --no-lock, which every command that writes to series has.
void addLockOption(CLI::App& parser);

/// Opens the series that the options name, the first of several.
/// \throws CommandError
Series openSeries(const SeriesOptions& options);

/// Opens all series that the options name, in their order.
/// \throws CommandError, also when one is named twice
std::vector<Series> openAllSeries(const SeriesOptions& options);

/// Tells the printer what it needs to know of the series that will come: their names when they are several, the unit
/// and the description of a single one.
/// \param request  what will be printed of them; raw records unless told
void prepareForSeries(RecordPrinter& printer, const std::vector<Series>& all, const Request& request = {});

/// Sends stdout where the options say while the printing goes on, then keeps what was printed.
/// \param print  returns the exit code; the file is kept whatever that is, unless it throws
/// \throws CommandError
ExitCode printTo(const OutputOptions& options, const std::function<ExitCode(OutputFormat format)>& print);

/// \throws CommandError, also when the range ends before it begins
TimeRange parseTimeRange(const RangeOptions& options);

} // namespace Kiv::Cli
