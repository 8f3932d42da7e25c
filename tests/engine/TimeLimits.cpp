// The ends of 64-bit time: everything saturates, and nothing runs on for ever.

#include "EngineForTest.h"
#include "internal/CivilTime.h"
#include "support/SeamsForTest.h"

#include <gmock/gmock.h>

#include <limits>

using namespace Kiv;
using namespace Kiv::Testing;

namespace
{

constexpr qint64 kMax = std::numeric_limits<qint64>::max();
constexpr qint64 kMin = std::numeric_limits<qint64>::min();

EngineRequest endlessRequest(const char* method, qint64 interval, qint64 start, qint64 end)
{
    EngineRequest result;
    result.param = param(method, interval);
    result.start = start;
    result.end = end;
    result.series = {{kMin, QVariant(1.0)}, {kMax, QVariant(2.0)}};
    return result;
}

TEST(TimeLimits, SteppingSaturates)
{
    for (qint64 interval : {qint64(1), qint64(86'400), kMax, qint64(-1), qint64(-2), qint64(-3), qint64(-4),
                            qint64(-5), qint64(-6), qint64(-7)}) {
        EngineUnderTest engine(endlessRequest("prev", interval, 0, 0));
        qint64 highest = kMax - 5;
        engine->incTimestampByInterval(highest);
        EXPECT_EQ(highest, kMax) << interval;
        engine->incTimestampByInterval(highest);
        EXPECT_EQ(highest, kMax) << interval;
        if (interval == -7)
            continue;
        qint64 lowest = kMin + 5;
        engine->decTimestampByInterval(lowest);
        EXPECT_EQ(lowest, kMin) << interval;
    }
}

TEST(TimeLimits, SecondsBecomeMillisecondsSaturated)
{
    EXPECT_EQ(EngineUnderTest(endlessRequest("prev", kMax, 0, 0))->intervalMs, kMax);
}

TEST(TimeLimits, AligningSaturates)
{
    for (qint64 interval : {-1, -2, -3, -4, -5, -6}) {
        EngineRequest wide = endlessRequest("prev", interval, 0, 0);
        wide.param.offsetMinFromUTC = std::numeric_limits<qint32>::max();
        EngineUnderTest engine(wide);
        EXPECT_EQ(engine->alignSpecialStartTimestamp(kMin), kMin) << interval;
        wide.param.offsetMinFromUTC = std::numeric_limits<qint32>::min();
        EngineUnderTest east(wide);
        EXPECT_EQ(east->alignSpecialStartTimestamp(kMax), kMax) << interval;
    }
}

TEST(TimeLimits, AStepThatCannotMoveForwardEndsTheRange)
{
    EngineUnderTest engine(endlessRequest("prev", 10, 0, 0));
    engine->intervalStart = kMax - 1;
    engine->intervalEnd = kMax;
    try {
        engine->incIntervalNextTimestamp();
        FAIL() << "nothing was thrown";
    } catch (const std::out_of_range& exception) {
        EXPECT_STREQ(exception.what(), "End reached");
    }
}

class WholeTime : public ::testing::TestWithParam<const char*>
{
};

TEST_P(WholeTime, IsReadWithoutRunningOn)
{
    LogCapture log;
    for (qint64 interval :
         {qint64(1), qint64(10), kMax / 1000, qint64(-1), qint64(-3), qint64(-6), qint64(-7)}) {
        EngineRequest wide = endlessRequest(GetParam(), interval, kMin, kMax);
        EngineUnderTest engine(wide);
        const qint64 before = Internal::steppedIntervalCount();
        engine.settleRange();
        for (qint64 timestamp : {kMin, kMin + 1, qint64(-1), qint64(0), qint64(1), kMax - 1, kMax, kMax})
            EXPECT_TRUE(engine->handleNextRawRecord({timestamp, QVariant(1.0)}));
        engine->finalize();
        EXPECT_LT(Internal::steppedIntervalCount() - before, 2000);
    }
    EXPECT_THAT(log.texts(), ::testing::Each(::testing::StartsWith("4 Interval double value is")));
}

std::string methodName(const ::testing::TestParamInfo<const char*>& info)
{
    return info.param;
}

INSTANTIATE_TEST_SUITE_P(Methods, WholeTime,
                         ::testing::Values("prev", "prevalign", "next", "prevnext", "prevlinear", "min",
                                           "max", "minmax", "minmaxaverage", "sum", "sumlinear", "meana",
                                           "meang", "meanh", "means", "median", "mode", "count", "diffsum",
                                           "diffctrupcleanedsum"),
                         methodName);

TEST(TimeLimits, AFilledRangeEndsWhereTimeEnds)
{
    EngineRequest wide = endlessRequest("prev align fill", 10, kMax - 25'000, kMax);
    EngineUnderTest engine(wide);
    ASSERT_TRUE(engine.settleRange());
    EXPECT_TRUE(engine->handleNextRawRecord({kMax - 30'000, QVariant(1.0)}));
    EXPECT_TRUE(engine->handleNextRawRecord({kMax, QVariant(2.0)}));
    engine->finalize();
    ASSERT_GE(engine.output.size(), 4U);
    EXPECT_EQ(engine.output[0].timestamp, kMax - 25'000);
    EXPECT_EQ(engine.output[2].timestamp, kMax - 5'000);
    EXPECT_EQ(engine.output[3].timestamp, kMax);
}

TEST(TimeLimits, AFastCountSaturates)
{
    EngineUnderTest engine(endlessRequest("prevnextfill", 1, kMin, kMax));
    engine.settleRange();
    EXPECT_GT(engine->getFastCount(), 0);
    EngineUnderTest months(endlessRequest("meanafill", -3, kMin, kMax));
    months.settleRange();
    EXPECT_GT(months->getFastCount(), 7'000'000'000);
}

TEST(TimeLimits, AnExtremeSecondResultStaysInTime)
{
    EngineUnderTest engine(endlessRequest("prevnext align", 10, kMax - 5, kMax));
    ASSERT_TRUE(engine.settleRange());
    EXPECT_EQ(engine->lastResultTs, kMax);
    EXPECT_TRUE(engine->handleNextRawRecord({kMax, QVariant(1.0)}));
    EXPECT_TRUE(engine->handleNextRawRecord({kMax, QVariant(1.0)}));
    for (const Record& record : engine.output)
        EXPECT_GE(record.timestamp, kMax - 5);
}

} // namespace
