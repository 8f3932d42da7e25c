#include "Commands.h"
#include "DurationText.h"
#include "RangeQuery.h"
#include "ResolvedRange.h"
#include "RowPrinter.h"
#include "SampleStream.h"
#include "SamplingIntervals.h"
#include "SharedOptions.h"

#include "analytics/Holes.h"

#include <CLI/CLI.hpp>

#include <cmath>
#include <memory>
#include <optional>

namespace Kiv::Cli
{

namespace
{

constexpr qint64 kUsualMedians = 10;

struct Arguments {
    SeriesOptions series;
    RangeOptions range;
    OutputOptions output;
    std::optional<std::string> longerThan;
    bool withEdges = false;
    std::optional<qint64> limit;
};

struct Query {
    TimeRange range;
    std::optional<qint64> longerThanMs;
    bool withEdges = false;
    qint64 limit = 0; ///< 0 for none
};

Query makeQuery(const Arguments& arguments)
{
    Query query;
    query.range = parseTimeRange(arguments.range);
    query.withEdges = arguments.withEdges;
    if (arguments.longerThan)
        query.longerThanMs =
            parseDuration(QStringLiteral("--longer-than"), QString::fromStdString(*arguments.longerThan));
    if (arguments.limit) {
        checkLimit(*arguments.limit);
        query.limit = *arguments.limit;
    }
    if (query.withEdges && query.range.from.isRecord() && query.range.to.isRecord())
        throw CommandError(
            ExitCode::Usage,
            QStringLiteral("--edges: a range from the first to the last record has no holes at its "
                           "ends; add --from or --to"));
    return query;
}

/// The time of an end of the range; nothing for the first and the last record.
std::optional<qint64> edgeOf(const TimeBound& bound)
{
    return bound.isRecord() ? std::nullopt : std::optional(resolveTime(bound, 0, 0));
}

/// The holes of one series.
class GapSearch
{
public:
    GapSearch(const Series& series, const Query& query) : m_series(series), m_query(query) {}

    /// Reads the range for its sampling interval. To be called first.
    void measure()
    {
        SamplingIntervals intervals;
        visitSamples(m_series, {}, m_query.range, [&intervals](const TSFileColumns& block) {
            for (const qint64 timestampMs : block.timestamps)
                intervals.add(timestampMs);
            return true;
        });
        m_medianMs = intervals.medianMs();
    }

    /// The greatest distance that is no hole; nothing when it should come from a sampling interval and there is none.
    std::optional<qint64> thresholdMs() const
    {
        if (m_query.longerThanMs)
            return m_query.longerThanMs;
        // Of intervals of no length every other one would be a hole.
        return m_medianMs && *m_medianMs > 0 ? std::optional(kUsualMedians * *m_medianMs) : std::nullopt;
    }

    /// Hands the holes out in order, up to the limit.
    void visitHoles(
        const std::function<void(const Analytics::Hole& hole, const QVariant& missingCount)>& visit) const
    {
        if (!thresholdMs())
            return;
        qint64 count = 0;
        Analytics::Holes holes(*thresholdMs(), [&](const Analytics::Hole& hole) {
            visit(hole, missingIn(hole));
            return ++count != m_query.limit;
        });
        feedEdge(m_query.range.from, holes);
        bool isWanted = true;
        visitSamples(m_series, {}, m_query.range, [&](const TSFileColumns& block) {
            isWanted = holes.take(block.timestamps);
            return isWanted;
        });
        if (isWanted)
            feedEdge(m_query.range.to, holes);
    }

private:
    void feedEdge(const TimeBound& bound, Analytics::Holes& holes) const
    {
        const std::optional<qint64> edgeMs = m_query.withEdges ? edgeOf(bound) : std::nullopt;
        if (edgeMs)
            holes.take(*edgeMs);
    }

    QVariant missingIn(const Analytics::Hole& hole) const
    {
        if (!m_medianMs || *m_medianMs <= 0)
            return {};
        const double lengthMs = static_cast<double>(hole.endMs) - static_cast<double>(hole.startMs);
        return qMax<qint64>(0, std::llround(lengthMs / static_cast<double>(*m_medianMs)) - 1);
    }

    const Series& m_series;
    const Query& m_query;
    std::optional<qint64> m_medianMs;
};

void explainThreshold(const Series& series, const Query& query, const GapSearch& search)
{
    if (query.longerThanMs)
        return;
    if (!search.thresholdMs()) {
        printWarning(
            QStringLiteral("%1 has no sampling interval here to measure holes by; give --longer-than")
                .arg(series.path));
        return;
    }
    printMessage(QStringLiteral("%1: holes longer than %2, ten times the median sampling interval")
                     .arg(series.path, durationText(*search.thresholdMs())));
}

std::vector<RowColumn> makeColumns(bool withSeries)
{
    std::vector<RowColumn> columns = {{QStringLiteral("from"), CellKind::Time},
                                      {QStringLiteral("to"), CellKind::Time},
                                      {QStringLiteral("seconds"), CellKind::Number},
                                      {QStringLiteral("missing"), CellKind::Number}};
    if (withSeries)
        columns.insert(columns.begin(), {QStringLiteral("series"), CellKind::Text});
    return columns;
}

QVariantList makeRow(const Analytics::Hole& hole, const QVariant& missingCount)
{
    constexpr double kMsPerSecond = 1000.0;
    const double lengthMs = static_cast<double>(hole.endMs) - static_cast<double>(hole.startMs);
    return {hole.startMs, hole.endMs, lengthMs / kMsPerSecond, missingCount};
}

ExitCode printGaps(const Arguments& arguments, OutputFormat format)
{
    const Query query = makeQuery(arguments);
    const std::vector<Series> all = openAllSeries(arguments.series);
    RowPrinter printer(format, makeColumns(all.size() > 1));
    for (const Series& series : all) {
        GapSearch search(series, query);
        search.measure();
        explainThreshold(series, query, search);
        search.visitHoles([&](const Analytics::Hole& hole, const QVariant& missingCount) {
            QVariantList row = makeRow(hole, missingCount);
            if (all.size() > 1)
                row.prepend(series.path);
            printer.print(row);
        });
    }
    printer.finish();
    if (printer.rowCount() > 0)
        return ExitCode::Good;
    printMessage(QStringLiteral("no holes found"));
    return ExitCode::NothingFound;
}

constexpr const char* kFooter = R"(
A row tells the last record before a hole, the first one after it, the seconds between them, and how many
records are missing when the median sampling interval of the range goes on through the hole. With --edges
the ends of the range count as records. The range is read twice.

Examples:
  kivts gaps data/plant --from 2024-05-01 --to 2024-05-31
  kivts gaps data/plant data/other --longer-than 15m --from now-7d --to now --edges
)";

} // namespace

Command addGapsCommand(CLI::App& program)
{
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* const parser = program.add_subcommand("gaps", "List the holes between the records of a range");
    addSeriesOptions(*parser, arguments->series);
    addOutputOptions(*parser, arguments->output);
    addRangeOptions(*parser, arguments->range);
    parser
        ->add_option("--longer-than", arguments->longerThan,
                     "What counts as a hole: 90s, 15m, 1h, 1d, ... (default: ten times the median\n"
                     "sampling interval of the range)")
        ->type_name("LENGTH");
    parser->add_flag("--edges", arguments->withEdges,
                     "Also the holes from --from to the first record and from the last one to --to");
    parser->add_option("--limit", arguments->limit, "Print at most N holes of each series")->type_name("N");
    parser->footer(kFooter);
    return {parser, [arguments] {
                return printTo(arguments->output,
                               [&](OutputFormat format) { return printGaps(*arguments, format); });
            }};
}

} // namespace Kiv::Cli
