#include "PointCount.h"

#include "Errors.h"
#include "MethodText.h"
#include "RawRange.h"
#include "ResolvedRange.h"

#include <algorithm>
#include <array>
#include <string>

namespace Kiv::Cli
{

namespace
{

constexpr qint64 kMinute = 60;
constexpr qint64 kHour = 60 * kMinute;
constexpr qint64 kDay = 24 * kHour;

/// Seconds, each dividing a day or made of days.
constexpr std::array<qint64, 24> kRoundIntervals = {
    1,          2,           5,           10,           15,           30,
    kMinute,    2 * kMinute, 5 * kMinute, 10 * kMinute, 15 * kMinute, 30 * kMinute,
    kHour,      2 * kHour,   3 * kHour,   4 * kHour,    6 * kHour,    8 * kHour,
    12 * kHour, kDay,        2 * kDay,    7 * kDay,     14 * kDay,    28 * kDay};

qint64 roundInterval(qint64 lengthMs, qint64 count)
{
    constexpr qint64 kMsPerSecond = 1000;
    // The range begins and ends inside an interval.
    const auto fits = [&](qint64 seconds) { return lengthMs / (seconds * kMsPerSecond) + 2 <= count; };
    const auto found = std::find_if(kRoundIntervals.begin(), kRoundIntervals.end(), fits);
    if (found != kRoundIntervals.end())
        return *found;
    const qint64 years = lengthMs / kMsPerSecond / kDay / 365 / std::max<qint64>(count - 2, 1) + 1;
    return years * 365 * kDay;
}

/// Whether each interval has two results.
bool isDouble(const RequestOptions& options)
{
    const Request request = requestForPoints(options, kDay);
    if (request.analysis)
        return false;
    const EngineMethod method = understoodMethod(request.param);
    return (method.methodWord == QLatin1String("minmax") && !method.average) ||
           (method.methodWord == QLatin1String("prevnext") && !method.linear);
}

/// \return how many intervals have that many results
qint64 intervalCount(const RequestOptions& options, qint64 count)
{
    constexpr qint64 kLeastOfTwo = 4;
    if (!isDouble(options))
        return count;
    if (count < kLeastOfTwo)
        throw CommandError(
            ExitCode::Usage,
            QStringLiteral("--points: %1 is too few for two results an interval; give %2 or more")
                .arg(count)
                .arg(kLeastOfTwo));
    return count / 2;
}

} // namespace

std::optional<qint64> intervalForPoints(const Series& series, const TimeRange& range,
                                        const RequestOptions& options, qint64 count)
{
    const std::optional<ResolvedRange> resolved = resolveRange(series, range);
    if (!resolved || countRecords(series, range) <= count)
        return std::nullopt;
    if (isVariableLength(series.type))
        throw CommandError(
            ExitCode::Usage,
            QStringLiteral("--points: %1 holds values of type %2, which have no arithmetic; take --limit")
                .arg(series.path, series.type.word));
    const qint64 fromMs = std::max(resolved->fromMs, resolved->firstRecordMs);
    const qint64 toMs = std::min(resolved->toMs, resolved->lastRecordMs);
    return roundInterval(std::max<qint64>(toMs - fromMs, 0), intervalCount(options, count));
}

Request requestForPoints(const RequestOptions& options, std::optional<qint64> intervalSeconds)
{
    RequestOptions chosen = options;
    if (intervalSeconds) {
        chosen.every = std::to_string(*intervalSeconds);
        // With both the engine leaves the first interval out.
        chosen.alignRange = !options.shift;
        if (!chosen.method && !chosen.templateName)
            chosen.method = "meana";
    } else {
        chosen = {};
        chosen.passes = options.passes;
        chosen.filters = options.filters;
    }
    return makeRequest(chosen);
}

} // namespace Kiv::Cli
