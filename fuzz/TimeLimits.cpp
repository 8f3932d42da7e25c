// Requests at the ends of 64-bit time: nothing overflows, and with a limit on the results nothing runs on for ever.
// Input: dice of the request.

#include "properties/EngineDriver.h"
#include "support/FuzzInput.h"
#include "support/SeamsForTest.h"

#include <algorithm>
#include <array>
#include <limits>

using namespace Kiv;
using namespace Kiv::Testing;

namespace
{

constexpr qint64 kMax = std::numeric_limits<qint64>::max();
constexpr qint64 kMin = std::numeric_limits<qint64>::min();

qint64 anyTime(Dice& dice)
{
    const std::array<qint64, 7> anchors{
        kMin, kMax, 0, -62'167'219'200'000, 253'402'300'800'000, kMax / 1000, 1'700'000'000'000};
    const qint64 anchor = dice.pick(anchors);
    const std::array<qint64, 5> reaches{0, 3, 100'000, 40'000'000'000, kMax / 2};
    const qint64 reach = dice.pick(reaches);
    const qint64 lowest = anchor < kMin + reach ? kMin : anchor - reach;
    const qint64 highest = anchor > kMax - reach ? kMax : anchor + reach;
    return dice.between(lowest, highest);
}

qint64 anyInterval(Dice& dice)
{
    const std::array<qint64, 8> lengths{1,           900,  86'400, 31'536'000, 1'000'000'000'000,
                                        kMax / 1000, kMax, kMin};
    return dice.chance(50) ? dice.between(-7, 1) : dice.pick(lengths);
}

/// Nulls are not counted against a limit, so a request may well fill all of its range: intervals as long as they
/// must be for that to end.
qint64 longEnough(const EngineCase& engineCase)
{
    constexpr qint64 kMostIntervals = 5000;
    constexpr qint64 kDaySeconds = 86'400;
    const auto [earliest, latest] =
        std::minmax({engineCase.start, engineCase.end, engineCase.nowMs, engineCase.series.front().timestamp,
                     engineCase.series.back().timestamp});
    const qint64 leastSeconds = (latest / 1000 - earliest / 1000) / kMostIntervals + 1;
    const qint64 interval = engineCase.param.interval;
    return interval > 0                 ? std::max(interval, leastSeconds)
           : leastSeconds > kDaySeconds ? leastSeconds
                                        : interval;
}

EngineCase anyCase(Dice& dice)
{
    EngineCase engineCase;
    engineCase.param.method = randomMethodString(dice);
    engineCase.param.interval = anyInterval(dice);
    engineCase.param.alignStartEndTimestamp = dice.chance(40);
    const std::array<qint32, 4> offsets{0, 60, std::numeric_limits<qint32>::max(),
                                        std::numeric_limits<qint32>::min()};
    engineCase.param.offsetMinFromUTC = dice.pick(offsets);
    engineCase.start = anyTime(dice);
    engineCase.end = anyTime(dice);
    engineCase.nowMs = 1'700'000'000'000;
    engineCase.shiftIntervalForward = dice.chance(30);
    engineCase.limit = static_cast<int>(dice.between(1, 20));
    for (qint64 i = dice.between(1, 8); i > 0; --i)
        engineCase.series.emplace_back(anyTime(dice), static_cast<double>(dice.between(1, 1'000'000)));
    std::sort(engineCase.series.begin(), engineCase.series.end());
    engineCase.param.interval = longEnough(engineCase);
    return engineCase;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t sizeBytes)
{
    FuzzInput input(bytes, sizeBytes);
    Dice dice(input.takeRest().toStdString());
    const EngineCase engineCase = anyCase(dice);
    const SeamsForTest clock;
    const LogCapture log;
    EngineTrace trace;
    int limit = engineCase.limit;
    Interpolate engine(engineCase.param, {}, engineCase.start, engineCase.end,
                       engineCase.series.front().timestamp, engineCase.series.back().timestamp, &trace.output,
                       QMetaType::Double, engineCase.shiftIntervalForward, limit, false);
    driveEngine(engine, engineCase, trace.output, trace);
    const auto isCounted = [](const Interpolate::DataRecord& record) { return !record.value.isNull(); };
    // After the limit is reached, closing the last interval may give its results once more.
    if (std::count_if(trace.output.begin(), trace.output.end(), isCounted) > engineCase.limit + 2)
        expectNone("more results than asked for", describe(engineCase) + "got " +
                                                      std::to_string(trace.output.size()) + ", the last " +
                                                      describe(trace.output.back()));
    return 0;
}
