#include "Commands.h"
#include "RangeQuery.h"
#include "SharedOptions.h"

#include <CLI/CLI.hpp>

#include <memory>

namespace Kiv::Cli
{

namespace
{

struct Arguments {
    RecordOptions record;
    RangeOptions range;
    RequestOptions request;
    std::optional<qint64> limit;
    bool withLate = false;
    bool withOverwritten = false;
};

RangeQuery makeQuery(const Arguments& arguments)
{
    RangeQuery query;
    query.range = parseTimeRange(arguments.range);
    query.request = makeRequest(arguments.request);
    if (arguments.limit) {
        checkLimit(*arguments.limit);
        query.limit = *arguments.limit;
    }
    query.withLate = arguments.withLate;
    query.withOverwritten = arguments.withOverwritten;
    return query;
}

ExitCode runRead(const Arguments& arguments)
{
    const RangeQuery query = makeQuery(arguments);
    RecordPrinter printer(parseOutputFormat(QString::fromStdString(arguments.record.formatWord)));
    if (query.withLate || query.withOverwritten)
        printer.showKinds();
    const Series series = openSeries(arguments.record.series);
    Interpolate::DataRecord first;
    if (!series.first(first))
        failWithoutRecords(series);
    printRange(series, query, printer);
    printer.finish();
    if (printer.recordCount() > 0)
        return ExitCode::Good;
    printMessage(
        QStringLiteral("nothing found from %1 to %2")
            .arg(QString::fromStdString(arguments.range.from), QString::fromStdString(arguments.range.to)));
    return ExitCode::NothingFound;
}

constexpr const char* kFooter = R"(
Methods: prevnext, prev, next, minmax, min, max, sum, meana, meang, meanh, means (arithmetic, geometric,
harmonic, quadratic mean), median, mode, count. Options behind a method: linear, align, fill, fillnull,
average. Differences: diff, diffctrupcleaned. Words may be run together (prevnextlinearfill) or separated
by blanks or commas. Without --method an interval gives linear values; without --every records are raw.
A result carries the time of its interval's end, with --shift of its start; prev, next, prevnext, min, max,
minmax and sum keep the time of the record unless linear, align or a --fill other than engine and none is
given. A null result is - in a table, empty in CSV, null in JSON. In JSON, NaN and infinities are the
strings "nan", "inf" and "-inf".

A last interval that the range covers only in part gives no result without --align-range. Filters look at
the results, each by its value and the end of its interval (UTC), also with --shift; not at the records that
an interval is made of. To choose among these put the filter into a pass: --pass '@raw where value>0'.

--late adds the records of the series that were written late during the range, --overwritten the old values
of records of the range, with the time of the overwriting; rows then name their kind.

Examples:
  kivts read data/plant --from 2024-05-01 --to 2024-05-31T23:59:59 --format csv
  kivts read data/plant --every 1h --method meana --limit 24
  kivts read data/meter --every day --align-range --method diffctrupcleanedsumalign
  kivts read data/plant --pass '@raw where weekdays=mon-fri' --every 1h --method meana --fill null
)";

} // namespace

Command addReadCommand(CLI::App& program)
{
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* const parser = program.add_subcommand("read", "Print a range of a series, raw or by intervals");
    addRecordOptions(*parser, arguments->record);
    addRangeOptions(*parser, arguments->range);
    addRequestOptions(*parser, arguments->request);
    parser->add_flag("--late", arguments->withLate, "Also print what was written late during the range");
    parser->add_flag("--overwritten", arguments->withOverwritten,
                     "Also print the old values of the range that were overwritten");
    parser->add_option("--limit", arguments->limit, "Print at most N rows of the range itself")
        ->type_name("N");
    parser->footer(kFooter);
    return {parser, [arguments] { return runRead(*arguments); }};
}

} // namespace Kiv::Cli
