#include "RequestIntervals.h"

#include "Zone.h"

#include <algorithm>
#include <array>
#include <limits>

namespace Kiv::Cli
{

using Analytics::LabelAt;

bool isByLocalCalendar(const Request& request)
{
    return request.param.interval < 0 && !programZone().isUtc();
}

qint64 longestIntervalMs(qint64 interval)
{
    constexpr std::array<qint64, 7> kDays = {0, 1, 7, 31, 92, 184, 366};
    constexpr qint64 kMsPerDay = 86'400'000;
    constexpr qint64 kMaxSeconds = 10'000 * 366 * (kMsPerDay / 1000);
    if (interval >= 0)
        return std::min(interval, kMaxSeconds) * 1000;
    return kDays[interval >= -6 ? static_cast<std::size_t>(-interval) : 1] * kMsPerDay;
}

qint64 saturatedSum(qint64 timestampMs, qint64 lengthMs)
{
    using Limits = std::numeric_limits<qint64>;
    if (lengthMs > 0)
        return timestampMs > Limits::max() - lengthMs ? Limits::max() : timestampMs + lengthMs;
    return timestampMs < Limits::min() - lengthMs ? Limits::min() : timestampMs + lengthMs;
}

std::unique_ptr<Analytics::Intervals> intervalsOf(const Request& request, const TimeRange& range,
                                                  const ResolvedRange& resolved)
{
    const LabelAt labelAt = request.shift ? LabelAt::Start : LabelAt::End;
    if (request.param.interval == 0) {
        const qint64 endMs = resolved.toMs + 1;
        std::vector<Analytics::Interval> all;
        if (resolved.fromMs < endMs)
            all.push_back({resolved.fromMs, endMs, request.shift ? resolved.fromMs : endMs});
        return std::make_unique<Analytics::IntervalList>(std::move(all));
    }
    // What lies before the first record has no results, as with the engine.
    if (isByLocalCalendar(request))
        return std::make_unique<Analytics::CalendarIntervals>(
            programZone().timeZone(), Analytics::periodOfInterval(request.param.interval).value(),
            std::max(resolved.fromMs, resolved.firstRecordMs), resolved.toMs, labelAt);
    return std::make_unique<Analytics::EngineIntervals>(request.param, range.from.value, range.to.value,
                                                        resolved.firstRecordMs, resolved.lastRecordMs,
                                                        labelAt);
}

} // namespace Kiv::Cli
