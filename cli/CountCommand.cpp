#include "Commands.h"
#include "Companions.h"
#include "Errors.h"
#include "RawRange.h"
#include "ResultColumns.h"
#include "Results.h"
#include "RowPrinter.h"
#include "SharedOptions.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <functional>
#include <memory>

namespace Kiv::Cli
{

namespace
{

struct Arguments {
    SeriesOptions series;
    RangeOptions range;
    RequestOptions request;
    OutputOptions output;
    std::optional<std::string> companion;
};

qint64 countCompanions(const Series& series, const Request& request, const TimeRange& range,
                       const std::vector<Companion>& companions)
{
    if (!request.isPlainRaw() || !request.param.filterParams.empty())
        throw CommandError(
            ExitCode::Usage,
            QStringLiteral("--companion: companion series hold raw records only; leave the method, "
                           "the intervals and the filters out"));
    checkExactBounds(range);
    qint64 count = 0;
    for (const Companion& companion : companions)
        count += series.storage->getCountInt({}, {}, range.from.value, range.to.value, companion.marker);
    return count;
}

qint64 countRows(const Series& series, const Request& request, const TimeRange& range)
{
    if (request.isPlainRaw() && request.param.filterParams.empty())
        return countRecords(series, range);
    if (!request.isPlainRaw())
        checkRequest(series, request, range, 0);
    qint64 count = 0;
    if (comeInColumns(series, request)) {
        visitColumns(series, request, range, 0, [&count](const TSFileColumns& block) {
            count += static_cast<qint64>(block.size());
            return true;
        });
        return count;
    }
    if (!request.isPlainRaw())
        return static_cast<qint64>(readResults(series, request, range, 0).size());
    visitRaw(series, request, range, [&count](const Interpolate::DataRecord&) {
        ++count;
        return true;
    });
    return count;
}

/// Prints the count of each series; that of a single one as a bare number unless a format is asked for.
ExitCode printCounts(const std::vector<Series>& all, bool isBare, OutputFormat format,
                     const std::function<qint64(const Series& series)>& count)
{
    RowPrinter printer(format, {{QStringLiteral("series")}, {QStringLiteral("count"), CellKind::Number}});
    qint64 total = 0;
    for (const Series& series : all) {
        const qint64 recordCount = count(series);
        if (isBare)
            std::printf("%lld\n", static_cast<long long>(recordCount));
        else
            printer.print({series.path, recordCount});
        total += recordCount;
    }
    if (!isBare)
        printer.finish();
    return total > 0 ? ExitCode::Good : ExitCode::NothingFound;
}

ExitCode runCount(const Arguments& arguments)
{
    const TimeRange range = parseTimeRange(arguments.range);
    const Request request = makeRequest(arguments.request);
    std::vector<Companion> companions;
    if (arguments.companion)
        companions = parseCompanions(QString::fromStdString(*arguments.companion));
    const std::vector<Series> all = openAllSeries(arguments.series);
    const bool isBare = all.size() == 1 && !arguments.output.hasFormat();
    return printTo(arguments.output, [&](OutputFormat format) {
        return printCounts(all, isBare, format, [&](const Series& series) {
            return arguments.companion ? countCompanions(series, request, range, companions)
                                       : countRows(series, request, range);
        });
    });
}

constexpr const char* kFooter = R"(
Without --every the records of the range are counted, whole files by their size; with it the rows that read
would print, which reads them. Of one series the bare number is printed unless a format is given.

Examples:
  kivts count data/plant --from 2024-05-01 --to 2024-05-31T23:59:59.999
  kivts count data/plant --every 1d --method max --filter 'value>90'
)";

} // namespace

Command addCountCommand(CLI::App& program)
{
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* const parser = program.add_subcommand("count", "Count the records or results of a range");
    addSeriesOptions(*parser, arguments->series);
    addRangeOptions(*parser, arguments->range);
    addRequestOptions(*parser, arguments->request);
    addOutputOptions(*parser, arguments->output);
    addJsonOption(*parser, arguments->output);
    parser
        ->add_option("--companion", arguments->companion,
                     "Count in the series beside this one instead: late (by the time of the late\n"
                     "write), history (of overwritten values), or both")
        ->type_name("late,history");
    parser->footer(kFooter);
    return {parser, [arguments] { return runCount(*arguments); }};
}

} // namespace Kiv::Cli
