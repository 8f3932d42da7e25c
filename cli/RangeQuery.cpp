#include "RangeQuery.h"

#include "Errors.h"
#include "OverwriteHistory.h"
#include "Progress.h"
#include "RawRange.h"
#include "RequestIntervals.h"
#include "ResultColumns.h"
#include "Results.h"

#include <algorithm>
#include <limits>
#include <map>
#include <vector>

namespace Kiv::Cli
{

namespace
{

/// \return 0 when nobody knows without reading
qint64 expectedRows(const Series& series, const RangeQuery& query)
{
    if (!query.request.isPlainRaw() || query.request.hasFilters() ||
        !Progress::isWanted(Progress::Where::BesideOutput))
        return 0;
    const qint64 recordCount = countRecords(series, query.range);
    return query.limit > 0 ? std::min(query.limit, recordCount) : recordCount;
}

void printRaw(const Series& series, const RangeQuery& query, RecordPrinter& printer)
{
    qint64 count = 0;
    Progress progress(QStringLiteral("row"), expectedRows(series, query), Progress::Where::BesideOutput);
    visitRaw(series, query.request, query.range, [&](const Interpolate::DataRecord& record) {
        printer.print(record);
        progress.update(++count);
        return count != query.limit;
    });
}

/// At most `limit` results, also where the engine gives more.
void printColumns(const Series& series, const RangeQuery& query, qint64 engineLimit, RecordPrinter& printer)
{
    qint64 missingCount = query.limit > 0 ? query.limit : std::numeric_limits<qint64>::max();
    qint64 printedCount = 0;
    Progress progress(QStringLiteral("row"), expectedRows(series, query), Progress::Where::BesideOutput);
    visitColumns(series, query.request, query.range, engineLimit, [&](const TSFileColumns& block) {
        const qint64 count = std::min(missingCount, static_cast<qint64>(block.size()));
        printer.print(block, static_cast<std::size_t>(count), series.type.metaType);
        missingCount -= count;
        printedCount += count;
        progress.update(printedCount);
        return missingCount > 0;
    });
}

void printOverwritten(const std::unordered_map<qint64, QVariant>& overwritten, RecordPrinter& printer)
{
    const std::map<qint64, QVariant> inOrder(overwritten.begin(), overwritten.end());
    for (const auto& [timestampMs, history] : inOrder) {
        for (const auto& [overwrittenAtMs, value] : oldValuesOf(history))
            printer.print({timestampMs, value}, RowKind::Overwritten, overwrittenAtMs);
    }
}

void checkCompanionQuery(const RangeQuery& query)
{
    if (query.request.analysis || isByLocalCalendar(query.request) || query.request.maxGapMs > 0)
        throw CommandError(
            ExitCode::Usage,
            QStringLiteral("%1 goes with the records and the engine's own methods and "
                           "intervals only; leave one of the two out")
                .arg(query.withLate ? QStringLiteral("--late") : QStringLiteral("--overwritten")));
    if (query.request.hasFilters() || query.request.hasDifference())
        throw CommandError(
            ExitCode::Usage,
            QStringLiteral("%1 shows values as they were stored, to which filters and differences do not "
                           "apply; leave one of the two out")
                .arg(query.withLate ? QStringLiteral("--late") : QStringLiteral("--overwritten")));
}

void printCompanions(const RangeQuery& query, const CompanionResults& companions, RecordPrinter& printer)
{
    if (query.withLate) {
        for (const Interpolate::DataRecord& record : companions.late)
            printer.print(record, RowKind::Late);
    }
    if (query.withOverwritten)
        printOverwritten(companions.overwritten, printer);
}

} // namespace

void checkLimit(qint64 limit)
{
    if (limit < 1)
        throw CommandError(ExitCode::Usage,
                           QStringLiteral("--limit: %1 is no number of rows above 0").arg(limit));
}

void printRange(const Series& series, const RangeQuery& query, RecordPrinter& printer)
{
    const bool withCompanions = query.withLate || query.withOverwritten;
    const bool isInColumns = !withCompanions && comeInColumns(series, query.request);
    if (query.request.isPlainRaw() && !withCompanions) {
        // Without a limit of its own the engine holds no more than a block.
        if (isInColumns)
            printColumns(series, query, 0, printer);
        else
            printRaw(series, query, printer);
        return;
    }
    if (withCompanions)
        checkCompanionQuery(query);
    checkRequest(series, query.request, query.range, query.limit);
    if (isInColumns) {
        printColumns(series, query, query.limit, printer);
        return;
    }
    CompanionResults companions;
    for (const Interpolate::DataRecord& result :
         readResults(series, query.request, query.range, query.limit, withCompanions ? &companions : nullptr))
        printer.print(result);
    printCompanions(query, companions, printer);
}

} // namespace Kiv::Cli
