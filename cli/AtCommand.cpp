#include "Commands.h"
#include "RawRange.h"
#include "ResolvedRange.h"
#include "SharedOptions.h"
#include "TimeBound.h"

#include "analytics/SeriesReduction.h"

#include <CLI/CLI.hpp>

#include <memory>
#include <optional>

namespace Kiv::Cli
{

namespace
{

struct Arguments {
    RecordOptions record;
    bool withBefore = false;
    bool withAfter = false;

    bool wantsNeighbours() const { return withBefore || withAfter; }
};

/// The record at a time and its neighbours, as far as there are any.
struct Neighbours {
    std::optional<Interpolate::DataRecord> before;
    std::optional<Interpolate::DataRecord> at;
    std::optional<Interpolate::DataRecord> after;

    void take(const Interpolate::DataRecord& record, qint64 timestampMs)
    {
        if (record.timestamp < timestampMs)
            before = record;
        else if (record.timestamp == timestampMs)
            at = record;
        else
            after = record;
    }
};

Neighbours findNeighbours(const Series& series, qint64 timestampMs)
{
    Neighbours found;
    TimeRange range{{timestampMs, false}, {kLastRecord, true}};
    // Float files are read in sequence, anything else is searched for what lies before.
    if (isFloat(series.type))
        range.from = {kFirstRecord, true};
    else
        found.before = Analytics::lastSampleBefore(*series.storage, timestampMs);
    visitRaw(series, {}, range, [&](const Interpolate::DataRecord& record) {
        found.take(record, timestampMs);
        return !found.after;
    });
    return found;
}

CommandError nothingAt(const Series& series, const Arguments& arguments, qint64 timestampMs)
{
    const QString time = formatTime(timestampMs);
    if (!arguments.wantsNeighbours())
        return {ExitCode::NothingFound,
                QStringLiteral("%1 holds no record at exactly %2; --before and --after show "
                               "its neighbours")
                    .arg(series.path, time)};
    const QString where = arguments.withBefore && arguments.withAfter ? QStringLiteral("around")
                          : arguments.withBefore                      ? QStringLiteral("at or before")
                                                                      : QStringLiteral("at or after");
    return {ExitCode::NothingFound, QStringLiteral("%1 holds no record %2 %3").arg(series.path, where, time)};
}

/// \return false when nothing was found
bool printAt(const Series& series, const Arguments& arguments, qint64 timestampMs, RecordPrinter& printer)
{
    Neighbours found;
    if (arguments.wantsNeighbours()) {
        found = findNeighbours(series, timestampMs);
    } else {
        Interpolate::DataRecord record;
        if (series.at(timestampMs, record))
            found.at = record;
    }
    const qint64 countBefore = printer.recordCount();
    if (found.before && arguments.withBefore)
        printer.print(*found.before);
    if (found.at)
        printer.print(*found.at);
    if (found.after && arguments.withAfter)
        printer.print(*found.after);
    return printer.recordCount() > countBefore;
}

ExitCode runAt(const Arguments& arguments, const TimeBound& time)
{
    return printTo(arguments.record.output, [&](OutputFormat format) {
        RecordPrinter printer(format);
        const std::vector<Series> all = openAllSeries(arguments.record.series);
        prepareForSeries(printer, all);
        for (const Series& series : all) {
            printer.setSeries(series.path);
            const std::optional<qint64> timestampMs = resolveTime(series, time);
            if (timestampMs && printAt(series, arguments, *timestampMs, printer))
                continue;
            if (all.size() > 1)
                printWarning(timestampMs ? nothingAt(series, arguments, *timestampMs).text()
                                         : QStringLiteral("%1 holds no records").arg(series.path));
            else if (timestampMs)
                throw nothingAt(series, arguments, *timestampMs);
            else
                failWithoutRecords(series);
        }
        printer.finish();
        return printer.recordCount() > 0 ? ExitCode::Good : ExitCode::NothingFound;
    });
}

/// The last of the words is the time, the others are series.
QString takeTime(SeriesOptions& options)
{
    QString text = QString::fromStdString(options.paths.back());
    options.paths.pop_back();
    return text;
}

} // namespace

Command addAtCommand(CLI::App& program)
{
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* const parser =
        program.add_subcommand("at", "Print the record at exactly one time, or its neighbours");
    addRecordOptions(*parser, arguments->record);
    constexpr int kSeriesAndTime = 2;
    parser->get_option("SERIES")
        ->expected(kSeriesAndTime, CLI::detail::expected_max_vector_size)
        ->description("Base directory of the series; several may be given, then T:\n"
                      "the time, see kivts --help; of a year, month or day its start");
    parser->add_flag("--before", arguments->withBefore, "Also print the last record before that time");
    parser->add_flag("--after", arguments->withAfter, "Also print the first record after that time");
    parser->footer("\nA negative number of milliseconds stands behind --.\n"
                   "\nExamples:\n"
                   "  kivts at data/plant 2024-05-17T13:45:12Z\n"
                   "  kivts at data/plant 2024-05-17 --before --after\n");
    return {parser, [arguments] {
                const QString text = takeTime(arguments->record.series);
                return runAt(*arguments, parseTimeBound(QStringLiteral("T"), text, RangeEnd::From));
            }};
}

} // namespace Kiv::Cli
