// Holds the methods that see samples only, and what the reducer promises about every method, by examples.

#include "ReductionForTest.h"

#include <gtest/gtest.h>

#include <limits>

namespace Kiv::Analytics
{
namespace
{

constexpr qint64 kGreatest = std::numeric_limits<qint64>::max();
constexpr qint64 kLeast = std::numeric_limits<qint64>::min();
constexpr quint64 kGreatestUnsigned = std::numeric_limits<quint64>::max();

/// An hour of eight samples, one before it and one behind.
const TestSamples kEight =
    doubles({{-1, 100}, {0, 2}, {1, 4}, {2, 4}, {3, 4}, {4, 5}, {5, 5}, {6, 7}, {7, 9}, {10, 100}});

std::string valueOfEight(const std::string& method)
{
    return valuesOf(method, {0, 10}, kEight);
}

TEST(SampleMethods, OfEightSamples)
{
    EXPECT_EQ(valueOfEight("first"), "2");
    EXPECT_EQ(valueOfEight("last"), "9");
    EXPECT_EQ(valueOfEight("delta"), "7");
    EXPECT_EQ(valueOfEight("range"), "7");
    EXPECT_EQ(valueOfEight("var-pop"), "4");
    EXPECT_EQ(valueOfEight("stddev-pop"), "2");
    EXPECT_EQ(valueOfEight("var"), "4.571428571428571");
    EXPECT_EQ(valueOfEight("stddev"), "2.138089935299395");
    EXPECT_EQ(valueOfEight("percentile:50"), "4.5");
    EXPECT_EQ(valueOfEight("percentile:90"), "7.6");
    EXPECT_EQ(valueOfEight("most-frequent"), "4");
    EXPECT_EQ(valueOfEight("mean"), "5");
    EXPECT_EQ(valueOfEight("min"), "2");
    EXPECT_EQ(valueOfEight("max"), "9");
    EXPECT_EQ(valueOfEight("sum"), "40");
    EXPECT_EQ(valueOfEight("count"), "8");
}

TEST(SampleMethods, OfOneSample)
{
    const TestSamples one = doubles({{5, 3.5}});
    for (const char* method :
         {"first", "last", "percentile:10", "most-frequent", "mean", "min", "max", "sum"})
        EXPECT_EQ(valuesOf(method, {0, 10}, one), "3.5") << method;
    for (const char* method : {"delta", "range", "var-pop", "stddev-pop"})
        EXPECT_EQ(valuesOf(method, {0, 10}, one), "0") << method;
    for (const char* method : {"var", "stddev"})
        EXPECT_EQ(valuesOf(method, {0, 10}, one), "null") << method;
}

TEST(SampleMethods, OfNoSampleHaveNoValue)
{
    for (const QString& name : Method::names()) {
        std::string method = name.toStdString();
        method = method.ends_with(":N") ? "percentile:50" : method.ends_with(":V") ? "in-state:1" : method;
        EXPECT_EQ(valuesOf(method, {0, 10, 20}, {}), "null null") << method;
        EXPECT_EQ(valuesOf(method, {0, 10, 20}, {{5, kNull}}), "null null") << method;
    }
}

TEST(SampleMethods, PassOverNulls)
{
    const TestSamples samples = {
        {0, kNull}, {1, Value::ofDouble(4)}, {2, kNull}, {3, Value::ofDouble(6)}, {4, kNull}};
    EXPECT_EQ(valuesOf("first", {0, 10}, samples), "4");
    EXPECT_EQ(valuesOf("last", {0, 10}, samples), "6");
    EXPECT_EQ(valuesOf("mean", {0, 10}, samples), "5");
    EXPECT_EQ(valuesOf("count", {0, 10}, samples), "2");
}

TEST(SampleMethods, OfSeveralMostFrequentValuesTheLowestWins)
{
    EXPECT_EQ(valuesOf("most-frequent", {0, 10}, doubles({{0, 7}, {1, 3}, {2, 7}, {3, 5}, {4, 3}})), "3");
}

TEST(SampleMethods, DoNotRoundIntegers)
{
    const TestSamples samples = {{0, Value::ofSigned(kGreatest)},
                                 {1, Value::ofSigned(kGreatest - 1)},
                                 {2, Value::ofSigned(kGreatest - 1)}};
    EXPECT_EQ(valuesOf("first", {0, 10}, samples), "9223372036854775807");
    EXPECT_EQ(valuesOf("last", {0, 10}, samples), "9223372036854775806");
    EXPECT_EQ(valuesOf("min", {0, 10}, samples), "9223372036854775806");
    EXPECT_EQ(valuesOf("max", {0, 10}, samples), "9223372036854775807");
    EXPECT_EQ(valuesOf("delta", {0, 10}, samples), "-1");
    EXPECT_EQ(valuesOf("range", {0, 10}, samples), "1");
    EXPECT_EQ(valuesOf("most-frequent", {0, 10}, samples), "9223372036854775806");
    EXPECT_EQ(valuesOf("transitions", {0, 10}, samples), "1");
}

TEST(SampleMethods, OfUnsignedIntegersKnowTheirUpperHalf)
{
    const TestSamples samples = {{0, Value::ofUnsigned(1)}, {1, Value::ofUnsigned(kGreatestUnsigned)}};
    EXPECT_EQ(valuesOf("max", {0, 10}, samples), "18446744073709551615");
    EXPECT_EQ(valuesOf("min", {0, 10}, samples), "1");
    EXPECT_EQ(valuesOf("mean", {0, 10}, samples), "9223372036854775808");
}

TEST(SampleMethods, GiveADoubleWhereADifferenceExceedsAnInteger)
{
    const TestSamples samples = {{0, Value::ofSigned(kGreatest)}, {1, Value::ofSigned(kLeast)}};
    const std::vector<Result> delta = reduced(methodOf("delta"), intervalsBetween({0, 10}), samples);
    EXPECT_EQ(delta[0].value.kind(), Value::Kind::Double);
    EXPECT_EQ(delta[0].value.toDouble(), -0x1p64);
    EXPECT_EQ(reduced(methodOf("range"), intervalsBetween({0, 10}), samples)[0].value.toDouble(), 0x1p64);
}

TEST(Reducer, CountsTheKnownSamplesOfEachInterval)
{
    const TestSamples samples = {
        {-1, Value::ofDouble(1)}, {0, Value::ofDouble(1)},  {5, kNull},
        {9, Value::ofDouble(1)},  {20, Value::ofDouble(1)}, {30, Value::ofDouble(1)}};
    std::string counts;
    for (const Result& result : reduced(methodOf("twa"), intervalsBetween({0, 10, 20, 30}), samples))
        counts += std::to_string(result.sampleCount) + ' ';
    EXPECT_EQ(counts, "2 0 1 ");
}

TEST(Reducer, IncludesTheStartAndExcludesTheEnd)
{
    EXPECT_EQ(valuesOf("sum", {0, 10, 20}, doubles({{0, 1}, {9, 2}, {10, 4}, {19, 8}, {20, 16}})), "3 12");
}

TEST(Reducer, PassesOverTimeBetweenIntervals)
{
    std::string values;
    for (const Result& result : reduced(methodOf("integral"), {{0, 2000, 0}, {5000, 6000, 5000}},
                                        doubles({{0, 1}, {1000, 2}, {3000, 50}, {5500, 4}, {9000, 0}})))
        values += result.value.text().toStdString() + ' ';
    EXPECT_EQ(values, "3 27 ");
}

TEST(Reducer, HandsOutAResultAsSoonAsItIsComplete)
{
    int visits = 0;
    IntervalList intervals(intervalsBetween({0, 10, 20}));
    Reducer reducer(methodOf("mean"), intervals, 0, [&visits](const Result&) { return ++visits > 0; });
    EXPECT_TRUE(reducer.take(5, Value::ofDouble(1)));
    EXPECT_EQ(visits, 0);
    EXPECT_TRUE(reducer.take(10, Value::ofDouble(1)));
    EXPECT_EQ(visits, 1);
    EXPECT_FALSE(reducer.take(20, Value::ofDouble(1)));
    EXPECT_EQ(visits, 2);
    reducer.finish();
    EXPECT_EQ(visits, 2);
}

TEST(Reducer, EndsWithTheVisitorsInterest)
{
    int visits = 0;
    IntervalList intervals(intervalsBetween({0, 10, 20, 30}));
    Reducer reducer(methodOf("mean"), intervals, 0, [&visits](const Result&) { return ++visits < 2; });
    EXPECT_TRUE(reducer.take(10, Value::ofDouble(1)));
    EXPECT_FALSE(reducer.take(25, Value::ofDouble(1)));
    EXPECT_FALSE(reducer.take(35, Value::ofDouble(1)));
    reducer.finish();
    EXPECT_EQ(visits, 2);
}

TEST(Reducer, WithoutIntervalsWantsNoSample)
{
    IntervalList none({});
    Reducer reducer(methodOf("mean"), none, 0, [](const Result&) { return true; });
    EXPECT_FALSE(reducer.take(0, Value::ofDouble(1)));
}

TEST(Reducer, TakesSamplesOfOneTimestamp)
{
    EXPECT_EQ(valuesOf("integral", {0, 2000}, doubles({{0, 1}, {1000, 2}, {1000, 3}, {2000, 4}})), "4");
    EXPECT_EQ(valuesOf("integral-linear", {0, 2000}, doubles({{0, 1}, {1000, 3}, {1000, 5}, {2000, 7}})),
              "8");
}

TEST(Reducer, TakesColumnsOfEachKind)
{
    TSFileColumns block;
    block.kind = TSFileColumns::Kind::Integers;
    block.timestamps = {0, 1, 2};
    block.integers = {-1, 5, 0};
    block.isNull = {0, 0, 1};
    for (const Integers integers : {Integers::Signed, Integers::Unsigned}) {
        std::string value;
        IntervalList intervals(intervalsBetween({0, 10}));
        Reducer reducer(methodOf("max"), intervals, 0, [&value](const Result& result) {
            value = result.value.text().toStdString();
            return true;
        });
        EXPECT_TRUE(reducer.take(block, integers));
        reducer.finish();
        EXPECT_EQ(value, integers == Integers::Signed ? "5" : "18446744073709551615");
    }
}

} // namespace
} // namespace Kiv::Analytics
