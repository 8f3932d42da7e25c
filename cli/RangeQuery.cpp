#include "RangeQuery.h"

#include "Errors.h"
#include "RawRange.h"

#include <algorithm>
#include <limits>
#include <map>
#include <vector>

namespace Kiv::Cli
{

namespace
{

// Results of intervals are held in memory, about 50 bytes each.
constexpr qint64 kMaxResultCount = 10'000'000;

void checkBound(const QString& option, const TimeBound& bound)
{
    if (!isExactBound(bound))
        throw CommandError(
            ExitCode::Usage,
            QStringLiteral("%1: %2 cannot be an end of this request; move it to %3 or %4")
                .arg(option, formatTime(bound.value), formatTime(kBeforeSymbols), formatTime(kAfterSymbols)));
}

qint64 resolved(const TimeBound& bound, qint64 firstMs, qint64 lastMs)
{
    if (!bound.isSymbolic)
        return bound.value;
    return bound.value == kFirstRecord ? firstMs : lastMs;
}

/// Filling gives a result for every interval, which may be many times the records.
void checkResultCount(const Series& series, const RangeQuery& query)
{
    Interpolate::DataRecord first;
    Interpolate::DataRecord last;
    const bool isBounded =
        query.limit > 0 && query.request.passes.empty() &&
        !query.request.param.method.contains(QLatin1String("fillnull"), Qt::CaseInsensitive);
    if (!query.request.fillsEmptyIntervals() || isBounded || !series.first(first) || !series.last(last))
        return;
    constexpr qint64 kSecondsPerDay = 86'400;
    const qint64 interval = query.request.param.interval;
    const qint64 intervalMs = (interval > 0 ? interval : kSecondsPerDay) * 1000;
    const qint64 lengthMs = resolved(query.range.to, first.timestamp, last.timestamp) -
                            resolved(query.range.from, first.timestamp, last.timestamp);
    if (lengthMs / intervalMs > kMaxResultCount)
        throw CommandError(
            ExitCode::Usage,
            QStringLiteral("--every: the range holds %1 intervals, more than %2 can be filled at "
                           "once; narrow the range or take longer intervals")
                .arg(QString::number(lengthMs / intervalMs), QString::number(kMaxResultCount)));
}

bool isWithin(qint64 rowCount, qint64 limit)
{
    return limit == 0 || rowCount < limit;
}

void printRaw(const Series& series, const RangeQuery& query, RecordPrinter& printer)
{
    visitRaw(series, query.request, query.range, [&](const Interpolate::DataRecord& record) {
        printer.print(record);
        return isWithin(printer.recordCount(), query.limit);
    });
}

void printOverwritten(const std::unordered_map<qint64, QVariant>& overwritten, RecordPrinter& printer)
{
    const std::map<qint64, QVariant> inOrder(overwritten.begin(), overwritten.end());
    for (const auto& [timestampMs, history] : inOrder) {
        std::map<qint64, QVariant> oldValues;
        const QVariantMap values = history.toMap();
        for (auto entry = values.begin(); entry != values.end(); ++entry)
            oldValues.emplace(entry.key().toLongLong(), entry.value());
        for (const auto& [overwrittenAtMs, value] : oldValues)
            printer.print({timestampMs, value}, RowKind::Overwritten, overwrittenAtMs);
    }
}

int engineLimit(qint64 limit)
{
    return static_cast<int>(std::min<qint64>(limit, std::numeric_limits<int>::max()));
}

/// The engine closes its last interval even after the limit, and with earlier passes it knows no limit.
void cutToLimit(qint64 limit, std::vector<Interpolate::DataRecord>& results)
{
    if (limit > 0 && static_cast<qint64>(results.size()) > limit)
        results.resize(static_cast<std::size_t>(limit));
}

void printWithCompanions(const Series& series, const RangeQuery& query, RecordPrinter& printer)
{
    std::vector<Interpolate::DataRecord> results;
    std::vector<Interpolate::DataRecord> late;
    std::unordered_map<qint64, QVariant> overwritten;
    series.readWithCompanions(query.request, query.range.from.value, query.range.to.value, results,
                              engineLimit(query.limit), query.withLate ? &late : nullptr,
                              query.withOverwritten ? &overwritten : nullptr);
    finishFill(query.request.param, query.request.fill, results);
    cutToLimit(query.limit, results);
    for (const Interpolate::DataRecord& result : results)
        printer.print(result);
    for (const Interpolate::DataRecord& record : late)
        printer.print(record, RowKind::Late);
    printOverwritten(overwritten, printer);
}

} // namespace

void checkLimit(qint64 limit)
{
    if (limit < 1)
        throw CommandError(ExitCode::Usage,
                           QStringLiteral("--limit: %1 is no number of rows above 0").arg(limit));
}

void checkRequest(const Series& series, const Request& request, const TimeRange& range)
{
    checkBound(QStringLiteral("--from"), range.from);
    checkBound(QStringLiteral("--to"), range.to);
    const bool isByIntervals =
        request.param.interval != 0 ||
        std::any_of(request.passes.begin(), request.passes.end(),
                    [](const Interpolate::InterpolateParam& pass) { return pass.interval != 0; });
    if (isByIntervals && isVariableLength(series.type))
        throw CommandError(
            ExitCode::Usage,
            QStringLiteral("--every: %1 holds values of type %2, which have no arithmetic; read it "
                           "without --every and --method")
                .arg(series.path, series.type.word));
}

std::vector<Interpolate::DataRecord> readResults(const Series& series, const Request& request,
                                                 const TimeRange& range, qint64 limit)
{
    std::vector<Interpolate::DataRecord> results;
    series.read(request, range.from.value, range.to.value, results, engineLimit(limit));
    finishFill(request.param, request.fill, results);
    cutToLimit(limit, results);
    return results;
}

void printRange(const Series& series, const RangeQuery& query, RecordPrinter& printer)
{
    const bool withCompanions = query.withLate || query.withOverwritten;
    if (query.request.isPlainRaw() && !withCompanions) {
        printRaw(series, query, printer);
        return;
    }
    checkRequest(series, query.request, query.range);
    if (query.request.param.interval != 0)
        checkResultCount(series, query);
    if (withCompanions) {
        printWithCompanions(series, query, printer);
        return;
    }
    for (const Interpolate::DataRecord& result : readResults(series, query.request, query.range, query.limit))
        printer.print(result);
}

} // namespace Kiv::Cli
