#include "Results.h"

#include "AnalysisResults.h"
#include "CalendarResults.h"
#include "Errors.h"
#include "GapResults.h"
#include "MethodText.h"
#include "RequestIntervals.h"
#include "SafeRange.h"
#include "TimeText.h"

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
    if (pass.interval == 0)
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
    const std::optional<ResolvedRange> resolved = resolveRange(series, range);
    if (!resolved)
        return;
    const qint64 lengthMs = resolved->toMs - resolved->fromMs;
    // The engine counts neither nulls nor what a filter drops against a limit, and with earlier passes nothing.
    const bool isBounded = limit > 0 && request.passes.empty() && !request.hasFilters() &&
                           !isFilledHere(request.fill) && !understoodMethod(request.param).fillNull;
    const bool isFilled =
        request.analysis ? isFilledHere(request.fill) : understoodMethod(request.param).fill;
    // The program's own methods look at every interval, and its own calendar reads each.
    const bool visitsAll = request.analysis || isByLocalCalendar(request) || request.maxGapMs > 0;
    if (isFilled && !isBounded)
        checkResultCount(request.param, lengthMs, kMaxResultCount);
    else if (visitsAll)
        checkResultCount(request.param, lengthMs, kMaxPassResultCount);
    for (const Interpolate::InterpolateParam& pass : request.passes) {
        if (understoodMethod(pass).fill)
            checkResultCount(pass, lengthMs, kMaxPassResultCount);
    }
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

/// Whether an interval of which nothing is known has a null.
bool keepsNulls(const Request& request)
{
    if (request.analysis || request.fill != FillChoice::Engine)
        return isFilledHere(request.fill);
    return understoodMethod(request.param).fillNull;
}

void dropNulls(Records& results)
{
    const auto isNull = [](const Interpolate::DataRecord& result) { return result.value.isNull(); };
    results.erase(std::remove_if(results.begin(), results.end(), isNull), results.end());
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
        request.param.interval != 0 || request.analysis ||
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
    const std::optional<ResolvedRange> resolved = resolveRange(series, range);
    if (!resolved)
        return results;
    // By a local calendar the program fills some periods, too.
    const bool isFinishedHere =
        request.isFinishedHere() || (isByLocalCalendar(request) && request.hasFilters());
    Request engineRequest = request;
    // What is filled, filtered and cut afterwards must all be there.
    if (isFinishedHere)
        engineRequest.param.filterParams.clear();
    const qint64 engineLimit = isFinishedHere ? 0 : limit;
    if (request.analysis)
        results = readAnalysis(series, request, range, *resolved, limit);
    else if (isByLocalCalendar(request))
        results = readByLocalCalendar(series, engineRequest, range, *resolved, engineLimit);
    else
        series.readWithCompanions(
            engineRequest, range.from.value, range.to.value, results,
            static_cast<int>(std::min<qint64>(engineLimit, std::numeric_limits<int>::max())),
            companions ? &companions->late : nullptr, companions ? &companions->overwritten : nullptr);
    if (isFinishedHere) {
        finishFill(request.param, request.fill, results);
        if (request.maxGapMs > 0 && request.param.interval != 0)
            forgetHoles(series, request, range, *resolved, results);
        if (!keepsNulls(request) && (request.analysis || request.maxGapMs > 0))
            dropNulls(results);
        filterHere(request.param, results);
    }
    cutToLimit(limit, results);
    return results;
}

} // namespace Kiv::Cli
