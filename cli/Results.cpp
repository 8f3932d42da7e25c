#include "Results.h"

#include "Errors.h"
#include "MethodText.h"
#include "RawRange.h"

#include <algorithm>
#include <array>
#include <limits>

namespace Kiv::Cli
{

namespace
{

using Records = std::vector<Interpolate::DataRecord>;

// Results are held in memory, about 50 bytes each; those of earlier passes only take time.
constexpr qint64 kMaxResultCount = 10'000'000;
constexpr qint64 kMaxPassResultCount = 1'000'000'000;

void checkExactBound(const QString& option, const TimeBound& bound)
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

/// Of calendar intervals the shortest ones.
qint64 intervalSeconds(qint64 interval)
{
    constexpr std::array<qint64, 7> kDays = {1, 1, 7, 28, 90, 181, 365};
    constexpr qint64 kSecondsPerDay = 86'400;
    if (interval > 0)
        return interval;
    const bool isKnown = interval >= -6;
    return kDays[isKnown ? static_cast<std::size_t>(-interval) : 0] * kSecondsPerDay;
}

/// Filling gives a result for every interval, which may be many times the records.
void checkResultCount(const Interpolate::InterpolateParam& pass, qint64 lengthMs, qint64 maxCount)
{
    if (pass.interval == 0 || !understoodMethod(pass).fill)
        return;
    const qint64 count = lengthMs / 1000 / intervalSeconds(pass.interval);
    if (count > maxCount)
        throw CommandError(
            ExitCode::Usage,
            QStringLiteral("--every: the range holds %1 intervals, more than %2 can be filled at "
                           "once; narrow the range or take longer intervals")
                .arg(QString::number(count), QString::number(maxCount)));
}

void checkResultCounts(const Series& series, const Request& request, const TimeRange& range, qint64 limit)
{
    Interpolate::DataRecord first;
    Interpolate::DataRecord last;
    if (!series.first(first) || !series.last(last))
        return;
    const qint64 lengthMs = resolved(range.to, first.timestamp, last.timestamp) -
                            resolved(range.from, first.timestamp, last.timestamp);
    // The engine counts neither nulls nor what a filter drops against a limit, and with earlier passes nothing.
    const bool isBounded = limit > 0 && request.passes.empty() && !request.hasFilters() &&
                           !isFilledHere(request.fill) && !understoodMethod(request.param).fillNull;
    if (!isBounded)
        checkResultCount(request.param, lengthMs, kMaxResultCount);
    for (const Interpolate::InterpolateParam& pass : request.passes)
        checkResultCount(pass, lengthMs, kMaxPassResultCount);
}

/// Filters after filling, so that a filled value counts like any other. A null passes no comparison.
void filterHere(const Interpolate::InterpolateParam& param, Records& results)
{
    if (param.filterParams.empty())
        return;
    int limit = 0;
    Interpolate filter(param, {}, 0, 0, 0, 0, nullptr, QMetaType::Double, false, limit, false);
    const auto isComparison = [](const Interpolate::FilterParam& condition) {
        return !condition.valueCompare.isEmpty();
    };
    Interpolate::InterpolateParam withoutComparisons = param;
    auto& conditions = withoutComparisons.filterParams;
    conditions.erase(std::remove_if(conditions.begin(), conditions.end(), isComparison), conditions.end());
    Interpolate nullFilter(withoutComparisons, {}, 0, 0, 0, 0, nullptr, QMetaType::Double, false, limit,
                           false);
    const auto isDropped = [&](const Interpolate::DataRecord& result) {
        return !(result.value.isNull() ? nullFilter : filter).filterMatch(result);
    };
    results.erase(std::remove_if(results.begin(), results.end(), isDropped), results.end());
}

/// The engine closes its last interval even after the limit, and with earlier passes it knows no limit.
void cutToLimit(qint64 limit, Records& results)
{
    if (limit > 0 && static_cast<qint64>(results.size()) > limit)
        results.resize(static_cast<std::size_t>(limit));
}

} // namespace

void checkExactBounds(const TimeRange& range)
{
    checkExactBound(QStringLiteral("--from"), range.from);
    checkExactBound(QStringLiteral("--to"), range.to);
}

void checkRequest(const Series& series, const Request& request, const TimeRange& range, qint64 limit)
{
    checkExactBounds(range);
    const bool isByIntervals =
        request.param.interval != 0 ||
        std::any_of(request.passes.begin(), request.passes.end(),
                    [](const Interpolate::InterpolateParam& pass) { return pass.interval != 0; });
    if (isVariableLength(series.type) && (isByIntervals || request.hasDifference()))
        throw CommandError(ExitCode::Usage,
                           QStringLiteral("%1: %2 holds values of type %3, which have no arithmetic; read it "
                                          "without --every and --method")
                               .arg(isByIntervals ? QStringLiteral("--every") : QStringLiteral("--method"),
                                    series.path, series.type.word));
    checkResultCounts(series, request, range, limit);
}

std::vector<Interpolate::DataRecord> readResults(const Series& series, const Request& request,
                                                 const TimeRange& range, qint64 limit,
                                                 CompanionResults* companions)
{
    Records results;
    Request engineRequest = request;
    qint64 engineLimit = limit;
    if (isFilledHere(request.fill)) {
        // What is filled, filtered and cut afterwards must all be there.
        engineRequest.param.filterParams.clear();
        engineLimit = 0;
    }
    series.readWithCompanions(
        engineRequest, range.from.value, range.to.value, results,
        static_cast<int>(std::min<qint64>(engineLimit, std::numeric_limits<int>::max())),
        companions ? &companions->late : nullptr, companions ? &companions->overwritten : nullptr);
    if (isFilledHere(request.fill)) {
        finishFill(request.param, request.fill, results);
        filterHere(request.param, results);
    }
    cutToLimit(limit, results);
    return results;
}

} // namespace Kiv::Cli
