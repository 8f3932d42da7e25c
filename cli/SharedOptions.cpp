#include "SharedOptions.h"

#include "Errors.h"
#include "OutputFile.h"
#include "ProgramModel.h"
#include "SeriesLock.h"
#include "Sidecar.h"
#include "Terminal.h"
#include "TimeText.h"

#include <CLI/CLI.hpp>

#include <QFileInfo>

namespace Kiv::Cli
{

namespace
{

CLI::Option* addSeriesOption(CLI::App& parser, SeriesOptions& options, const char* description)
{
    CLI::Option* const type =
        parser.add_option("--type", options.typeWord, "Value type, when series.json does not tell it");
    offerWords(*type->type_name("TYPE"), typeWords());
    return parser.add_option("SERIES", options.paths, description)->required()->type_name("");
}

} // namespace

void addSeriesOptions(CLI::App& parser, SeriesOptions& options)
{
    addSeriesOption(parser, options, "Base directory of the series; several may be given");
}

void addOneSeriesOption(CLI::App& parser, SeriesOptions& options)
{
    addSeriesOption(parser, options, "Base directory of the series")->expected(1);
}

void addOutputOptions(CLI::App& parser, OutputOptions& options)
{
    CLI::Option* const format =
        parser.add_option("--format", options.formatWord,
                          "table, csv, tsv, json or ndjson (default: by the ending of --output's file,\n"
                          "else table on a terminal and csv elsewhere)");
    offerWords(*format->type_name("FORMAT"), formatWords());
    parser
        .add_option("--output", options.path,
                    "Write to FILE instead of standard output; it changes only when all went well")
        ->type_name("FILE");
}

void addJsonOption(CLI::App& parser, OutputOptions& options)
{
    parser.add_flag("--json", options.isJson, "The same as --format json");
}

void addRecordOptions(CLI::App& parser, RecordOptions& options)
{
    addSeriesOptions(parser, options.series);
    addOutputOptions(parser, options.output);
}

void addRangeOptions(CLI::App& parser, RangeOptions& options)
{
    CLI::Option* const from =
        parser.add_option("--from", options.from,
                          "Start of the range, inclusive: 2024, 2024-05, 2024-05-17T13:45:12, now-7d,\n"
                          "today, lastmonth, first, ... (default first); see kivts --help");
    offerWords(*from->type_name("T"), timeWords());
    CLI::Option* const to = parser.add_option(
        "--to", options.to, "End of the range, inclusive; of a year, month or day its end (default last)");
    offerWords(*to->type_name("T"), timeWords());
}

void addLockOption(CLI::App& parser)
{
    parser.add_flag_callback("--no-lock", &SeriesLock::disable,
                             "Write although another kivts may be writing to the series");
}

Series openSeries(const SeriesOptions& options)
{
    return openSeries(QString::fromStdString(options.paths.front()),
                      QString::fromStdString(options.typeWord));
}

std::vector<Series> openAllSeries(const SeriesOptions& options)
{
    std::vector<Series> all;
    QStringList seen;
    for (const std::string& path : options.paths) {
        all.push_back(openSeries(QString::fromStdString(path), QString::fromStdString(options.typeWord)));
        const QString place = QFileInfo(all.back().path).canonicalFilePath();
        if (seen.contains(place))
            throw CommandError(ExitCode::Usage,
                               QStringLiteral("SERIES: %1 is given twice").arg(all.back().path));
        seen += place;
    }
    return all;
}

void prepareForSeries(RecordPrinter& printer, const std::vector<Series>& all, const Request& request)
{
    if (all.size() == 1) {
        const Sidecar sidecar = Sidecar::load(all.front().path);
        printer.describe(resultUnit(request, sidecar.unit()), sidecar.description());
        return;
    }
    QString longest;
    for (const Series& series : all) {
        if (textWidth(series.path) > textWidth(longest))
            longest = series.path;
    }
    printer.showSeries(longest);
}

ExitCode printTo(const OutputOptions& options, const std::function<ExitCode(OutputFormat format)>& print)
{
    const std::string json = "json";
    if (options.isJson && !options.formatWord.empty() && options.formatWord != json)
        throw CommandError(ExitCode::Usage,
                           QStringLiteral("--json: --format asks for something else; leave one of them out"));
    OutputFile file(QString::fromStdString(options.path));
    const ExitCode code =
        print(parseOutputFormat(QString::fromStdString(options.isJson ? json : options.formatWord)));
    file.keep();
    return code;
}

TimeRange parseTimeRange(const RangeOptions& options)
{
    const TimeRange range{
        parseTimeBound(QStringLiteral("--from"), QString::fromStdString(options.from), RangeEnd::From),
        parseTimeBound(QStringLiteral("--to"), QString::fromStdString(options.to), RangeEnd::To)};
    if (!range.from.isSymbolic && !range.to.isSymbolic && range.from.value > range.to.value)
        throw CommandError(ExitCode::Usage,
                           QStringLiteral("--from: %1 lies after --to %2")
                               .arg(formatTime(range.from.value), formatTime(range.to.value)));
    return range;
}

} // namespace Kiv::Cli
