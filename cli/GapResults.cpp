#include "GapResults.h"

#include "Interrupt.h"
#include "MethodText.h"
#include "RawRange.h"
#include "RequestIntervals.h"
#include "ResultColumns.h"

#include "analytics/Holes.h"
#include "analytics/SeriesReduction.h"

#include <algorithm>

namespace Kiv::Cli
{

namespace
{

using Analytics::Hole;
using Analytics::Interval;

/// The holes that touch a range, with the records around it.
std::vector<Hole> holesAround(const Series& series, qint64 maxGapMs, qint64 fromMs, qint64 toMs)
{
    std::vector<Hole> holes;
    Analytics::Holes finder(maxGapMs, [&holes](const Hole& hole) {
        holes.push_back(hole);
        return true;
    });
    TimeRange range{{fromMs, false}, {kLastRecord, true}};
    if (isFloat(series.type)) {
        range.from = {kFirstRecord, true};
        visitRaw(series, {}, range, [&](const Interpolate::DataRecord& record) {
            finder.take(record.timestamp);
            return record.timestamp <= toMs;
        });
        return holes;
    }
    if (const auto before = Analytics::lastSampleBefore(*series.storage, fromMs))
        finder.take(before->timestamp);
    visitColumns(series, {}, range, 0, [&](const TSFileColumns& block) {
        finder.take(block.timestamps);
        return block.timestamps.empty() || block.timestamps.back() <= toMs;
    });
    return holes;
}

/// How much of a hole a method's result says nothing about.
enum class Reach {
    Interval,     ///< only an interval without records, which something was filled into
    Between,      ///< also a boundary between the two records
    BetweenAndAt, ///< and one at the second of them, where the value before is the first one's
};

Reach reachOf(const Request& request)
{
    if (request.analysis)
        return Reach::Interval;
    const EngineMethod method = understoodMethod(request.param);
    static const QStringList kPointMethods = {QStringLiteral("prev"), QStringLiteral("next"),
                                              QStringLiteral("prevnext")};
    if (!kPointMethods.contains(method.methodWord))
        return Reach::Interval;
    return method.linear || method.methodWord == QLatin1String("next") ? Reach::Between : Reach::BetweenAndAt;
}

bool isForgotten(const Interval& interval, const Hole& hole, Reach reach)
{
    if (reach == Reach::Interval)
        return hole.startMs < interval.startMs && interval.endMs <= hole.endMs;
    return hole.startMs < interval.endMs &&
           (interval.endMs < hole.endMs || (reach == Reach::BetweenAndAt && interval.endMs == hole.endMs));
}

} // namespace

void forgetHoles(const Series& series, const Request& request, const TimeRange& range,
                 const ResolvedRange& resolved, std::vector<Interpolate::DataRecord>& results)
{
    if (results.empty())
        return;
    // Stepped through and not collected: there may be many more of them than results.
    const std::unique_ptr<Analytics::Intervals> intervals = intervalsOf(request, range, resolved);
    std::optional<Interval> interval = intervals->next();
    if (!interval)
        return;
    // No interval ends later: both ends of a range may move to boundaries.
    const qint64 endMs = saturatedSum(resolved.toMs, 2 * longestIntervalMs(request.param.interval));
    const std::vector<Hole> holes = holesAround(series, request.maxGapMs, interval->startMs, endMs);
    const Reach reach = reachOf(request);
    auto hole = holes.begin();
    for (Interpolate::DataRecord& result : results) {
        // The second result of an interval lies a millisecond behind its label.
        while (interval && interval->labelMs < result.timestamp - 1) {
            throwIfInterrupted();
            interval = intervals->next();
        }
        if (!interval)
            return;
        while (hole != holes.end() && hole->endMs < interval->endMs)
            ++hole;
        if (hole == holes.end())
            return;
        if (isForgotten(*interval, *hole, reach))
            result.value = QVariant();
    }
}

} // namespace Kiv::Cli
