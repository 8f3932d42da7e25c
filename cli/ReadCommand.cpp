#include "Commands.h"
#include "PointCount.h"
#include "RangeQuery.h"
#include "SharedOptions.h"
#include "WideRows.h"

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
    std::optional<qint64> points;
    bool isWide = false;
    bool withLate = false;
    bool withOverwritten = false;
};

RangeQuery makeQuery(const Arguments& arguments)
{
    RangeQuery query;
    query.range = parseTimeRange(arguments.range);
    constexpr qint64 kAnyInterval = 3600; // Of another one only what is wrong matters.
    query.request =
        arguments.points ? requestForPoints(arguments.request, kAnyInterval) : makeRequest(arguments.request);
    if (arguments.limit) {
        checkLimit(*arguments.limit);
        query.limit = *arguments.limit;
    }
    query.withLate = arguments.withLate;
    query.withOverwritten = arguments.withOverwritten;
    return query;
}

/// \return the number of rows
qint64 printLong(const std::vector<Series>& all, const Arguments& arguments, const RangeQuery& query,
                 OutputFormat format)
{
    RecordPrinter printer(format);
    if (query.withLate || query.withOverwritten)
        printer.showKinds();
    prepareForSeries(printer, all, query.request);
    for (const Series& series : all) {
        Interpolate::DataRecord first;
        if (series.first(first)) {
            printer.setSeries(series.path);
            RangeQuery own = query;
            if (arguments.points)
                own.request = requestForPoints(
                    arguments.request,
                    intervalForPoints(series, query.range, arguments.request, *arguments.points));
            printRange(series, own, printer);
        } else if (all.size() == 1) {
            failWithoutRecords(series);
        } else {
            printWarning(QStringLiteral("%1 holds no records").arg(series.path));
        }
    }
    printer.finish();
    return printer.recordCount();
}

void checkOptions(const Arguments& arguments)
{
    const auto refuse = [](const char* one, const char* other) {
        throw CommandError(ExitCode::Usage,
                           QStringLiteral("%1 and %2 exclude each other; leave one of them out")
                               .arg(QLatin1String(one), QLatin1String(other)));
    };
    if (arguments.isWide && (arguments.withLate || arguments.withOverwritten))
        refuse("--wide", arguments.withLate ? "--late" : "--overwritten");
    if (arguments.isWide && arguments.points)
        refuse("--wide", "--points");
    if (arguments.points && arguments.request.every)
        refuse("--points", "--every");
    constexpr qint64 kLeastPoints = 3;
    if (arguments.points && *arguments.points < kLeastPoints)
        throw CommandError(ExitCode::Usage,
                           QStringLiteral("--points: %1 is too few; give 3 or more").arg(*arguments.points));
}

ExitCode printSeries(const Arguments& arguments, const RangeQuery& query, OutputFormat format)
{
    const std::vector<Series> all = openAllSeries(arguments.record.series);
    const qint64 rowCount =
        arguments.isWide ? printWide(all, query, format) : printLong(all, arguments, query, format);
    if (rowCount > 0)
        return ExitCode::Good;
    printMessage(
        QStringLiteral("nothing found from %1 to %2")
            .arg(QString::fromStdString(arguments.range.from), QString::fromStdString(arguments.range.to)));
    return ExitCode::NothingFound;
}

ExitCode runRead(const Arguments& arguments)
{
    checkOptions(arguments);
    const RangeQuery query = makeQuery(arguments);
    return printTo(arguments.record.output,
                   [&](OutputFormat format) { return printSeries(arguments, query, format); });
}

constexpr const char* kFooter = R"(
Methods of the engine: prevnext, prev, next, minmax, min, max, sum, meana, meang, meanh, means (arithmetic,
geometric, harmonic, quadratic mean), median, mode, count. Options behind one: linear, align, fill, fillnull,
average. Differences: diff, diffctrupcleaned. Words may be run together (prevnextlinearfill) or separated
by blanks or commas. Without --method an interval gives linear values; without --every records are raw.
Further methods, alone: twa, twa-linear (time-weighted mean), integral, integral-linear (value times
seconds), first, last, delta, range, mean, stddev, stddev-pop, var, var-pop, percentile:N, in-state:V
(seconds), transitions, most-frequent. Without --every these give one result for the whole range.

A result carries the time of its interval's end, with --shift of its start; prev, next, prevnext, min, max,
minmax and sum keep the time of the record unless linear, align, --max-gap or a --fill other than engine and
none is given, and --shift moves that time by an interval, too. A null result is - in a table, empty in CSV,
null in JSON. In JSON, NaN and infinities are the strings "nan", "inf" and "-inf".

With --tz the days, weeks, months, quarters, half-years and years of --every are the zone's own, daylight
saving time included, and every one that the range touches is complete. Without it they are counted from
--from, and a last interval that the range covers only in part gives no result without --align-range.
Filters look at the results, each by its value and the end of its interval (in --tz), also with --shift; not
at the records that an interval is made of. To choose among these put the filter into a pass:
--pass '@raw where value>0'.

--late adds the records of the series that were written late during the range, --overwritten the old values
of records of the range, with the time of the overwriting; rows then name their kind.

Examples:
  kivts read data/plant --from 2024-05 --to 2024-05 --output may.csv
  kivts read data/plant --every 1h --method meana --limit 24
  kivts read data/meter --tz Europe/Berlin --every day --method diffctrupcleanedsumalign --from lastmonth
  kivts read data/plant --pass '@raw where weekdays=mon-fri' --every 1h --method twa --fill null
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
    parser
        ->add_option("--points", arguments->points,
                     "About N rows, at most: the records when there are no more, else results of the\n"
                     "shortest round interval that does, means unless --method says another")
        ->type_name("N");
    parser->add_flag("--wide", arguments->isWide,
                     "Several series side by side, one row per timestamp with a column for each");
    parser->footer(kFooter);
    return {parser, [arguments] { return runRead(*arguments); }};
}

} // namespace Kiv::Cli
