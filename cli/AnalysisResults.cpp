#include "AnalysisResults.h"

#include "Interrupt.h"
#include "PassSamples.h"
#include "Progress.h"
#include "RawRange.h"
#include "RequestIntervals.h"

#include "analytics/SeriesReduction.h"

namespace Kiv::Cli
{

namespace
{

using Records = std::vector<Interpolate::DataRecord>;

QVariant variantOf(const Analytics::Value& value)
{
    switch (value.kind()) {
    case Analytics::Value::Kind::Double:
        return value.toDouble();
    case Analytics::Value::Kind::Signed:
        return value.bitsOfInteger();
    case Analytics::Value::Kind::Unsigned:
        return static_cast<quint64>(value.bitsOfInteger());
    case Analytics::Value::Kind::Null:
        break;
    }
    return {};
}

/// Float series and results of earlier passes do not come in blocks of columns.
void reduceRecords(const Series& series, const Request& request, const TimeRange& range,
                   const ResolvedRange& resolved, Analytics::Reducer& reducer)
{
    const auto take = [&reducer](const Interpolate::DataRecord& record) {
        return reducer.take(record.timestamp, Analytics::Value::fromVariant(record.value));
    };
    if (request.passes.empty())
        visitRaw(series, {}, {{kFirstRecord, true}, {kLastRecord, true}}, take);
    else
        visitPasses(series, request, range, resolved, take);
    reducer.finish();
}

} // namespace

std::vector<Interpolate::DataRecord> readAnalysis(const Series& series, const Request& request,
                                                  const TimeRange& range, const ResolvedRange& resolved,
                                                  qint64 limit)
{
    Records results;
    const std::unique_ptr<Analytics::Intervals> intervals = intervalsOf(request, range, resolved);
    Progress progress(QStringLiteral("interval"), 0, Progress::Where::BesideOutput);
    const bool keepsNulls = isFilledHere(request.fill);
    const bool isLimited = limit > 0 && !keepsNulls && request.param.filterParams.empty();
    qint64 visitedCount = 0;
    const auto keep = [&](const Analytics::Result& result) {
        progress.update(++visitedCount);
        // Between samples that lie far apart there may be many more intervals than there is memory for.
        if (keepsNulls || !result.value.isNull())
            results.emplace_back(result.interval.labelMs, variantOf(result.value));
        return !isInterrupted() && !(isLimited && static_cast<qint64>(results.size()) >= limit);
    };
    const Analytics::Method& method = *request.analysis;
    if (isFloat(series.type) || !request.passes.empty()) {
        Analytics::Reducer reducer(method, *intervals, request.maxGapMs, keep);
        reduceRecords(series, request, range, resolved, reducer);
    } else {
        Analytics::reduceSeries(*series.storage, method, *intervals, request.maxGapMs, keep);
    }
    throwIfInterrupted();
    return results;
}

} // namespace Kiv::Cli
