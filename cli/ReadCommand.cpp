#include "Commands.h"
#include "MethodText.h"
#include "RangeQuery.h"

#include <CLI/CLI.hpp>

#include <memory>

namespace Kiv::Cli
{

namespace
{

struct Arguments {
    RecordOptions record;
    std::string from = "first";
    std::string to = "last";
    std::string method;
    std::string every;
    bool alignRange = false;
    qint64 limit = 0;
};

RangeQuery makeQuery(const Arguments& arguments, bool hasMethod, bool hasLimit)
{
    RangeQuery query;
    query.from = parseTimeBound(QStringLiteral("--from"), QString::fromStdString(arguments.from));
    query.to = parseTimeBound(QStringLiteral("--to"), QString::fromStdString(arguments.to));
    if (!query.from.isSymbolic && !query.to.isSymbolic && query.from.value > query.to.value)
        throw CommandError(ExitCode::Usage,
                           QStringLiteral("--from: %1 lies after --to %2")
                               .arg(formatTime(query.from.value), formatTime(query.to.value)));
    if (hasMethod)
        query.method = checkedMethod(QString::fromStdString(arguments.method));
    if (!arguments.every.empty())
        query.interval = parseInterval(QString::fromStdString(arguments.every));
    if (query.interval == 0 && (hasMethod || arguments.alignRange))
        throw CommandError(ExitCode::Usage, QStringLiteral("%1 needs an interval; add for example --every 1h")
                                                .arg(hasMethod ? QStringLiteral("--method")
                                                               : QStringLiteral("--align-range")));
    if (hasLimit && arguments.limit < 1)
        throw CommandError(ExitCode::Usage,
                           QStringLiteral("--limit: %1 is no number of rows above 0").arg(arguments.limit));
    query.alignRange = arguments.alignRange;
    query.limit = arguments.limit;
    return query;
}

ExitCode runRead(const Arguments& arguments, bool hasMethod, bool hasLimit)
{
    const RangeQuery query = makeQuery(arguments, hasMethod, hasLimit);
    RecordPrinter printer(parseOutputFormat(QString::fromStdString(arguments.record.formatWord)));
    const Series series = openSeries(QString::fromStdString(arguments.record.series),
                                     QString::fromStdString(arguments.record.typeWord));
    Interpolate::DataRecord first;
    if (!series.first(first))
        failWithoutRecords(series);
    printRange(series, query, printer);
    printer.finish();
    if (printer.recordCount() > 0)
        return ExitCode::Good;
    printMessage(QStringLiteral("nothing found from %1 to %2")
                     .arg(QString::fromStdString(arguments.from), QString::fromStdString(arguments.to)));
    return ExitCode::NothingFound;
}

constexpr const char* kFooter = R"(
Methods: prevnext, prev, next, minmax, min, max, sum, meana, meang, meanh, means (arithmetic, geometric,
harmonic, quadratic mean), median, mode, count. Options behind a method: linear, align, fill, fillnull,
average. Differences: diff, diffctrupcleaned. Words may be run together (prevnextlinearfill) or separated
by blanks or commas. Without --method an interval gives linear values; without --every records are raw.
A result carries the time of its interval's end; prev, next and prevnext keep the time of the record
unless linear or align is given. A null result is - in a table, empty in CSV, null in JSON. In JSON, NaN
and infinities are the strings "nan", "inf" and "-inf".

A last interval that the range covers only in part gives no result without --align-range.

Examples:
  kivts read data/plant --from 2024-05-01 --to 2024-05-31T23:59:59 --format csv
  kivts read data/plant --every 1h --method meana --limit 24
)";

} // namespace

Command addReadCommand(CLI::App& program)
{
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* const parser = program.add_subcommand("read", "Print a range of a series, raw or by intervals");
    addRecordOptions(*parser, arguments->record);
    parser
        ->add_option("--from", arguments->from,
                     "Start of the range, inclusive: ISO 8601 (UTC without zone), @seconds,\n"
                     "milliseconds, first, last or now (default first)")
        ->type_name("T");
    parser->add_option("--to", arguments->to, "End of the range, inclusive (default last)")->type_name("T");
    const CLI::Option* const method =
        parser
            ->add_option("--method", arguments->method, "What makes one result of an interval; needs --every")
            ->type_name("M");
    parser
        ->add_option("--every", arguments->every,
                     "Interval: 90s, 15m, 1h, 1d, 1w, plain seconds, or day, week, month,\n"
                     "quarter, halfyear, year of the calendar")
        ->type_name("INTERVAL");
    parser->add_flag("--align-range", arguments->alignRange,
                     "Move both ends of the range to interval boundaries");
    const CLI::Option* const limit =
        parser->add_option("--limit", arguments->limit, "Print at most N rows")->type_name("N");
    parser->footer(kFooter);
    return {parser, [arguments, method, limit] {
                return runRead(*arguments, method->count() > 0, limit->count() > 0);
            }};
}

} // namespace Kiv::Cli
