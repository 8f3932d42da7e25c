#include "SharedOptions.h"

#include "Errors.h"

#include <CLI/CLI.hpp>

namespace Kiv::Cli
{

void addSeriesOptions(CLI::App& parser, SeriesOptions& options)
{
    parser.add_option("SERIES", options.series, "Base directory of the series")->required()->type_name("");
    parser.add_option("--type", options.typeWord, "Value type, when series.json does not tell it")
        ->type_name("TYPE");
}

void addRecordOptions(CLI::App& parser, RecordOptions& options)
{
    addSeriesOptions(parser, options.series);
    parser
        .add_option("--format", options.formatWord,
                    "table, csv or json (default: table on a terminal, else csv)")
        ->type_name("FORMAT");
}

void addRangeOptions(CLI::App& parser, RangeOptions& options)
{
    parser
        .add_option("--from", options.from,
                    "Start of the range, inclusive: ISO 8601 (UTC without zone), @seconds,\n"
                    "milliseconds, first, last or now (default first)")
        ->type_name("T");
    parser.add_option("--to", options.to, "End of the range, inclusive (default last)")->type_name("T");
}

Series openSeries(const SeriesOptions& options)
{
    return openSeries(QString::fromStdString(options.series), QString::fromStdString(options.typeWord));
}

TimeRange parseTimeRange(const RangeOptions& options)
{
    const TimeRange range{parseTimeBound(QStringLiteral("--from"), QString::fromStdString(options.from)),
                          parseTimeBound(QStringLiteral("--to"), QString::fromStdString(options.to))};
    if (!range.from.isSymbolic && !range.to.isSymbolic && range.from.value > range.to.value)
        throw CommandError(ExitCode::Usage,
                           QStringLiteral("--from: %1 lies after --to %2")
                               .arg(formatTime(range.from.value), formatTime(range.to.value)));
    return range;
}

} // namespace Kiv::Cli
