#include "CalendarResults.h"

#include "Interrupt.h"
#include "MethodText.h"
#include "PassSamples.h"
#include "PeriodMethod.h"
#include "Progress.h"
#include "RawRange.h"
#include "RequestIntervals.h"

#include "analytics/SeriesReduction.h"

#include <algorithm>

namespace Kiv::Cli
{

namespace
{

using Record = Interpolate::DataRecord;
using Records = std::vector<Record>;
using Analytics::Interval;

constexpr qint64 kMsPerSecond = 1000;

/// The request of one period: a fixed interval as long as the period, which ends where the period does.
Interpolate::InterpolateParam paramOf(const Request& request, const PeriodMethod& method,
                                      const Interval& period)
{
    Interpolate::InterpolateParam param = request.param;
    param.method = method.engineText();
    param.interval = (period.endMs - period.startMs) / kMsPerSecond;
    param.alignStartEndTimestamp = false;
    return param;
}

/// The results of the engine for one period, labelled with its end.
using PeriodReader = std::function<Records(const Interval& period)>;

/// Looks the records up in the store.
RecordLookUp lookUpIn(const Series& series)
{
    return {
        [&series](qint64 timestampMs) { return Analytics::lastSampleBefore(*series.storage, timestampMs); },
        [&series](qint64 timestampMs) { return firstRecordFrom(series, timestampMs); }};
}

Records::const_iterator placeOf(const Records& records, qint64 timestampMs)
{
    return std::lower_bound(
        records.begin(), records.end(), timestampMs,
        [](const Record& record, qint64 wantedMs) { return record.timestamp < wantedMs; });
}

/// Looks the records up among those that were read.
RecordLookUp lookUpIn(const Records& records)
{
    return {[&records](qint64 timestampMs) {
                const auto place = placeOf(records, timestampMs);
                return place == records.begin() ? std::nullopt : std::optional<Record>(*std::prev(place));
            },
            [&records](qint64 timestampMs) {
                const auto place = placeOf(records, timestampMs);
                return place == records.end() ? std::nullopt : std::optional<Record>(*place);
            }};
}

/// What the method reduces, with a neighbour on either side of the periods: records, their differences, results of
/// earlier passes.
Records readWhole(const Series& series, const Request& request, const TimeRange& range,
                  const ResolvedRange& resolved, qint64 endMs)
{
    Request before = request;
    Interpolate::InterpolateParam differences;
    differences.method = understoodMethod(request.param).differenceWord;
    before.passes.push_back(differences);
    Records records;
    visitPasses(series, before, range, resolved, [&](const Record& record) {
        records.push_back(record);
        return record.timestamp < endMs;
    });
    // The first record of all has none before it; read raw, the engine gives it a difference of 0 all the same.
    const bool hasNoneBefore = !differences.method.isEmpty() && request.passes.empty() && !records.empty() &&
                               records.front().timestamp == resolved.firstRecordMs;
    if (hasNoneBefore)
        records.erase(records.begin());
    return records;
}

/// Hands the records of one period to an engine, with the neighbours that its method asks for.
Records reducePeriod(const Series& series, const Interpolate::InterpolateParam& param, const Interval& period,
                     const Records& records)
{
    Records results;
    if (records.empty())
        return results;
    int limit = 0;
    Interpolate engine(param, {}, period.endMs, period.endMs, records.front().timestamp,
                       records.back().timestamp, &results, series.type.metaType, false, limit, false);
    const auto first = placeOf(records, period.startMs);
    const auto behind = placeOf(records, period.endMs);
    const auto wantedBefore =
        std::min<std::ptrdiff_t>(engine.needsPreviousDataRecords(), std::distance(records.begin(), first));
    qint64 fromMs = 0;
    qint64 toMs = 0;
    // A period without records has no results; what fills it is not the engine's.
    if (first == behind || !engine.getRange(fromMs, toMs))
        return results;
    const bool wantsNext = engine.needsDataRecordAfterRangeEnd() && behind != records.end();
    const auto end = wantsNext ? std::next(behind) : behind;
    for (auto record = std::prev(first, wantedBefore); record != end; ++record) {
        if (!engine.handleNextRawRecord(*record))
            break;
    }
    engine.finalize();
    return results;
}

/// Labels results with the start of their period, or moves the times that they keep by its length, as the engine does.
void shiftBack(const Interval& period, Records& results)
{
    for (Record& result : results)
        result.timestamp -= period.endMs - period.startMs;
}

Records resultsOf(const std::vector<Interval>& periods, const Request& request, const PeriodMethod& method,
                  const RecordLookUp& records, const PeriodReader& readPeriod, qint64 limit)
{
    Records results;
    QVariant latest;
    qint64 count = 0;
    Progress progress(QStringLiteral("interval"), 0, Progress::Where::BesideOutput);
    for (const Interval& period : periods) {
        throwIfInterrupted();
        Records own = method.isLine() ? method.lineResult(period, records) : readPeriod(period);
        if (own.empty() && method.fills() && !method.isLine())
            own = method.filling(period, records, latest);
        if (!own.empty())
            latest = own.back().value;
        if (request.shift)
            shiftBack(period, own);
        results.insert(results.end(), own.begin(), own.end());
        progress.update(++count);
        if (limit > 0 && static_cast<qint64>(results.size()) >= limit)
            break;
    }
    return results;
}

/// Every result is labelled with the end of one of the periods.
void shiftBackAll(const std::vector<Interval>& periods, Records& results)
{
    auto period = periods.begin();
    for (Record& result : results) {
        while (period->endMs < result.timestamp)
            ++period;
        result.timestamp = period->startMs;
    }
}

} // namespace

std::vector<Interpolate::DataRecord> readByLocalCalendar(const Series& series, const Request& request,
                                                         const TimeRange& range,
                                                         const ResolvedRange& resolved, qint64 limit)
{
    std::vector<Interval> periods;
    const std::unique_ptr<Analytics::Intervals> intervals = intervalsOf(request, range, resolved);
    while (const std::optional<Interval> period = intervals->next())
        periods.push_back(*period);
    if (periods.empty())
        return {};

    const PeriodMethod method(request.param, series.type.metaType);
    const bool hasDifference = !understoodMethod(request.param).differenceWord.isEmpty();
    // A period read alone would lose what an earlier record or pass has to do with it.
    const bool needsWhole =
        hasDifference || !request.passes.empty() || method.isSplitSum() || isFloat(series.type);
    if (!needsWhole) {
        const auto readPeriod = [&](const Interval& period) {
            Records results;
            Request exact = request;
            exact.shift = false;
            exact.param = paramOf(request, method, period);
            series.read(exact, period.endMs, period.endMs, results, 0);
            return results;
        };
        return resultsOf(periods, request, method, lookUpIn(series), readPeriod, limit);
    }
    const Records records = readWhole(series, request, range, resolved, periods.back().endMs);
    if (method.isSplitSum()) {
        Records results = method.splitSums(periods, records);
        if (request.shift)
            shiftBackAll(periods, results);
        return results;
    }
    const auto readPeriod = [&](const Interval& period) {
        return reducePeriod(series, paramOf(request, method, period), period, records);
    };
    return resultsOf(periods, request, method, lookUpIn(records), readPeriod, limit);
}

} // namespace Kiv::Cli
