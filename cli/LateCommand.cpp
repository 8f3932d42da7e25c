#include "Commands.h"
#include "ResolvedRange.h"
#include "RowPrinter.h"
#include "SafeRange.h"
#include "SharedOptions.h"
#include "Words.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <memory>

namespace Kiv::Cli
{

namespace
{

struct Arguments {
    SeriesOptions series;
    RangeOptions range;
    OutputOptions output;
    std::string by = "write";
};

struct LateWrite {
    qint64 writtenMs = 0;
    qint64 timestampMs = 0; ///< of the sample
};

/// What the range refers to, and the rows are sorted by.
enum class LateOrder { ByWrite, BySample };

qint64 keyOf(const LateWrite& write, LateOrder order)
{
    return order == LateOrder::ByWrite ? write.writtenMs : write.timestampMs;
}

LateOrder parseOrder(const QString& word)
{
    if (word == QLatin1String("write"))
        return LateOrder::ByWrite;
    if (word == QLatin1String("sample"))
        return LateOrder::BySample;
    throw unknownWord(QStringLiteral("--by"), word, {QStringLiteral("write"), QStringLiteral("sample")});
}

/// All of the log. It is read at once: many entries share a timestamp, between which no second read could begin.
std::vector<LateWrite> readLog(const Series& series)
{
    constexpr qint64 kSecondMs = 1000;
    std::vector<LateWrite> writes;
    const Series log = openCompanion(series, QStringLiteral("P"));
    if (!log.storage)
        return writes;
    std::vector<Interpolate::DataRecord> entries;
    log.read({}, kFirstRecord, kLastRecord, entries, 0);
    writes.reserve(entries.size());
    for (const Interpolate::DataRecord& entry : entries) {
        // The log knows seconds; the millisecond only tells entries apart.
        const qint64 millisecond = (entry.timestamp % kSecondMs + kSecondMs) % kSecondMs;
        writes.push_back({entry.timestamp - millisecond, entry.value.toLongLong()});
    }
    return writes;
}

std::vector<LateWrite> lateWritesOf(const Series& series, const TimeRange& range, LateOrder order)
{
    std::vector<LateWrite> writes = readLog(series);
    if (writes.empty())
        return writes;
    std::stable_sort(writes.begin(), writes.end(), [order](const LateWrite& a, const LateWrite& b) {
        return keyOf(a, order) < keyOf(b, order);
    });
    const qint64 firstMs = keyOf(writes.front(), order);
    const qint64 lastMs = keyOf(writes.back(), order);
    const qint64 from = resolveTime(range.from, firstMs, lastMs);
    const qint64 to = resolveTime(range.to, firstMs, lastMs);
    std::erase_if(writes, [&](const LateWrite& write) {
        return keyOf(write, order) < from || keyOf(write, order) > to;
    });
    return writes;
}

ExitCode printLateWrites(const std::vector<Series>& all, const TimeRange& range, LateOrder order,
                         OutputFormat format)
{
    std::vector<RowColumn> columns = {
        {QStringLiteral("written"), CellKind::Time},
        {QStringLiteral("timestamp"), CellKind::Time},
        {QStringLiteral("valueNow"), CellKind::Value, QStringLiteral("value now")}};
    if (all.size() > 1)
        columns.insert(columns.begin(), {QStringLiteral("series")});
    RowPrinter printer(format, columns);
    for (const Series& series : all) {
        for (const LateWrite& write : lateWritesOf(series, range, order)) {
            Interpolate::DataRecord record;
            const bool isThere =
                isStorableTimestamp(write.timestampMs) && series.at(write.timestampMs, record);
            QVariantList cells = {write.writtenMs, write.timestampMs, isThere ? record.value : QVariant()};
            if (all.size() > 1)
                cells.prepend(series.path);
            printer.print(cells);
        }
    }
    printer.finish();
    return printer.rowCount() > 0 ? ExitCode::Good : ExitCode::NothingFound;
}

ExitCode runLate(const Arguments& arguments)
{
    const LateOrder order = parseOrder(QString::fromStdString(arguments.by));
    const TimeRange range = parseTimeRange(arguments.range);
    const std::vector<Series> all = openAllSeries(arguments.series);
    const ExitCode code = printTo(
        arguments.output, [&](OutputFormat format) { return printLateWrites(all, range, order, format); });
    if (code == ExitCode::NothingFound)
        printMessage(QStringLiteral("nothing found; late writes are logged by import --note-late"));
    return code;
}

constexpr const char* kFooter = R"(
A row for each sample that was written when the series already reached beyond it, while such writes were
logged: the second of the write, the time of the sample, and its value of today, none when it was deleted
since. The range is that of the writes, with --by sample that of the samples; rows are sorted alike.

Examples:
  kivts late data/plant --from yesterday --to now
  kivts late data/plant --by sample --from 2024-05 --to 2024-05
)";

} // namespace

Command addLateCommand(CLI::App& program)
{
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* const parser = program.add_subcommand("late", "List what was written late, and when");
    addSeriesOptions(*parser, arguments->series);
    addRangeOptions(*parser, arguments->range);
    parser
        ->add_option("--by", arguments->by,
                     "What the range and the order of rows refer to: write or sample (default write)")
        ->type_name("WORD");
    addOutputOptions(*parser, arguments->output);
    addJsonOption(*parser, arguments->output);
    parser->footer(kFooter);
    return {parser, [arguments] { return runLate(*arguments); }};
}

} // namespace Kiv::Cli
