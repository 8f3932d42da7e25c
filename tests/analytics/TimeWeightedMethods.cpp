// Holds the methods that reckon with the time between samples, by examples.

#include "ReductionForTest.h"

#include <gtest/gtest.h>

namespace Kiv::Analytics
{
namespace
{

TEST(TimeWeightedMean, HoldsThePreviousValue)
{
    // 2 for 4 s, then 8 for 6 s.
    EXPECT_EQ(valuesOf("twa", {0, 10'000}, doubles({{0, 2}, {4000, 8}, {10'000, 99}})), "5.6");
}

TEST(TimeWeightedMean, LinearFollowsTheLine)
{
    // From 2 to 8 in 4 s, then up to 20 in 6 s.
    EXPECT_EQ(valuesOf("twa-linear", {0, 10'000}, doubles({{0, 2}, {4000, 8}, {10'000, 20}})), "10.4");
}

TEST(TimeWeightedMean, TakesTheSampleBeforeAndTheFirstOneBehind)
{
    const TestSamples samples = doubles({{-1000, 1}, {3000, 5}});
    EXPECT_EQ(valuesOf("twa", {0, 2000}, samples), "1");
    EXPECT_EQ(valuesOf("twa-linear", {0, 2000}, samples), "3");
    EXPECT_EQ(valuesOf("twa-linear", {0, 1000, 2000}, samples), "2.5 3.5");
}

TEST(TimeWeightedMean, CoversTheKnownPartOnly)
{
    // Nothing is known before 4 s and behind 8 s.
    EXPECT_EQ(valuesOf("twa", {0, 10'000, 20'000}, doubles({{4000, 3}, {8000, 5}})), "3 null");
    EXPECT_EQ(valuesOf("twa-linear", {0, 10'000, 20'000}, doubles({{4000, 3}, {8000, 5}})), "4 null");
}

TEST(TimeWeightedMean, OfOneSampleIsUnknown)
{
    EXPECT_EQ(valuesOf("twa", {0, 10'000}, doubles({{4000, 3}})), "null");
    EXPECT_EQ(valuesOf("integral", {0, 10'000}, doubles({{4000, 3}})), "null");
    EXPECT_EQ(valuesOf("in-state:3", {0, 10'000}, doubles({{4000, 3}})), "null");
}

TEST(TimeWeightedMean, OfEqualValuesIsTheValue)
{
    TestSamples samples;
    for (qint64 timeMs = 0; timeMs < 100'000; timeMs += 37)
        samples.emplace_back(timeMs, Value::ofDouble(0.1));
    EXPECT_EQ(valuesOf("twa", {13, 7001, 20'000}, samples), "0.1 0.1");
    EXPECT_EQ(valuesOf("twa-linear", {13, 7001, 20'000}, samples), "0.1 0.1");
}

TEST(Integral, IsValueTimesSeconds)
{
    const TestSamples samples = doubles({{0, 2}, {4000, 8}, {10'000, 20}});
    EXPECT_EQ(valuesOf("integral", {0, 10'000}, samples), "56");
    EXPECT_EQ(valuesOf("integral-linear", {0, 10'000}, samples), "104");
    EXPECT_EQ(valuesOf("integral", {0, 2000, 6000, 12'000}, samples), "4 20 32");
}

TEST(InState, IsTheTimeOfTheHeldValue)
{
    const TestSamples samples = doubles({{0, 1}, {2000, 0}, {3500, 1}, {9000, 0}, {10'000, 0}});
    EXPECT_EQ(valuesOf("in-state:1", {0, 4000, 8000, 12'000}, samples), "2.5 4 1");
    EXPECT_EQ(valuesOf("in-state:0", {0, 4000, 8000, 12'000}, samples), "1.5 0 1");
    EXPECT_EQ(valuesOf("in-state:7", {0, 4000}, samples), "0");
}

TEST(InState, TellsNeighbouringIntegersApart)
{
    const TestSamples samples = {{0, Value::ofSigned(9'007'199'254'740'993)},
                                 {1000, Value::ofSigned(9'007'199'254'740'992)},
                                 {4000, Value::ofSigned(0)}};
    EXPECT_EQ(valuesOf("in-state:9007199254740993", {0, 4000}, samples), "1");
    EXPECT_EQ(valuesOf("in-state:9007199254740992", {0, 4000}, samples), "3");
}

TEST(Transitions, CountChangesFromTheSampleBeforeOn)
{
    const TestSamples samples = doubles({{-5, 1}, {2, 0}, {4, 0}, {6, 1}, {10, 0}, {40, 0}});
    EXPECT_EQ(valuesOf("transitions", {0, 10, 20, 30, 40}, samples), "2 1 0 0");
}

TEST(Transitions, DoNotCountTheFirstSampleOfASeries)
{
    EXPECT_EQ(valuesOf("transitions", {0, 10, 20}, doubles({{3, 1}, {12, 1}})), "0 0");
}

TEST(Transitions, OfASampleThatNothingIsKnownAroundAreUnknown)
{
    const std::vector<qint64> times = {0, 10, 20, 30, 40};
    EXPECT_EQ(valuesOf("transitions", {0, 10, 20}, doubles({{3, 1}})), "null null");
    const TestSamples samples = doubles({{0, 1}, {2, 2}, {15, 3}, {30, 4}, {31, 5}});
    for (const char* method : {"in-state:7", "integral", "twa"})
        EXPECT_EQ(valuesOf(method, {10, 20, 30}, samples, 5), "null null") << method;
    EXPECT_EQ(valuesOf("transitions", times, samples, 5), "1 null null 1");
}

TEST(Transitions, AreKnownWhereOnlyTheSampleBeforeIs)
{
    EXPECT_EQ(valuesOf("transitions", {0, 10, 20}, doubles({{5, 1}, {10, 2}})), "0 1");
}

TEST(Holes, CountNoTime)
{
    // 2 for 4 s, then nothing for 20 s, then 8 for 6 s.
    const TestSamples samples = doubles({{0, 2}, {4000, 2}, {24'000, 8}, {30'000, 8}});
    EXPECT_EQ(valuesOf("integral", {0, 30'000}, samples, 10'000), "56");
    EXPECT_EQ(valuesOf("integral-linear", {0, 30'000}, samples, 10'000), "56");
    EXPECT_EQ(valuesOf("twa", {0, 30'000}, samples, 10'000), "5.6");
    EXPECT_EQ(valuesOf("in-state:2", {0, 10'000, 20'000, 30'000}, samples, 10'000), "4 null 0");
    EXPECT_EQ(valuesOf("transitions", {0, 10'000, 20'000, 30'000}, samples, 10'000), "0 null 0");
}

TEST(Holes, AreLongerThanTheLimit)
{
    const TestSamples samples = doubles({{0, 2}, {4000, 4}});
    EXPECT_EQ(valuesOf("twa", {0, 4000}, samples, 4000), "2");
    EXPECT_EQ(valuesOf("twa", {0, 4000}, samples, 3999), "null");
}

TEST(Nulls, EndTheHeldValue)
{
    const TestSamples samples = {
        {0, Value::ofDouble(2)}, {4000, kNull}, {6000, Value::ofDouble(8)}, {9000, Value::ofDouble(8)}};
    EXPECT_EQ(valuesOf("integral", {0, 10'000}, samples), "32");
    EXPECT_EQ(valuesOf("in-state:2", {0, 5000, 10'000}, samples), "4 0");
    EXPECT_EQ(valuesOf("transitions", {0, 10'000}, samples), "0");
}

TEST(Nulls, HaveNoLineOnEitherSide)
{
    const TestSamples samples = {
        {0, Value::ofDouble(2)}, {4000, kNull}, {6000, Value::ofDouble(8)}, {9000, Value::ofDouble(10)}};
    EXPECT_EQ(valuesOf("integral-linear", {0, 5000, 10'000}, samples), "null 27");
}

TEST(TimeWeightedMean, OfALocalDayWeighsItsHours)
{
    // The day of 23 hours in Berlin: 1 until 12:00 local time, 11 hours behind midnight, then 0.
    const qint64 start = 1'711'839'600'000;
    constexpr qint64 kHour = 3'600'000;
    CalendarIntervals days(QTimeZone("Europe/Berlin"), Period::Day, start, start, LabelAt::Start);
    std::vector<Result> results;
    Reducer reducer(methodOf("twa"), days, 0, [&results](const Result& result) {
        results.push_back(result);
        return true;
    });
    reducer.take(start - kHour, Value::ofDouble(1));
    reducer.take(start + 11 * kHour, Value::ofDouble(0));
    EXPECT_FALSE(reducer.take(start + 23 * kHour, Value::ofDouble(7)));
    ASSERT_EQ(results.size(), 1U);
    EXPECT_DOUBLE_EQ(results[0].value.toDouble(), 11.0 / 23.0);
    EXPECT_EQ(results[0].interval.endMs, start + 23 * kHour);
    EXPECT_EQ(results[0].sampleCount, 1);
}

} // namespace
} // namespace Kiv::Analytics
