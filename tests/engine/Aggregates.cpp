// The methods that reduce all records of an interval.

#include "EngineForTest.h"
#include "support/SeamsForTest.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

using namespace Kiv;
using namespace Kiv::Testing;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace
{

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

/// The result for one interval that holds the given values.
Texts overOneInterval(const char* method, const std::vector<QVariant>& values)
{
    Records series;
    for (size_t i = 0; i < values.size(); ++i)
        series.push_back({at(static_cast<double>(i) * 0.5), values[i]});
    series.push_back({at(20), QVariant(1.0)});
    return resultsOf(request(method, 10, 10, series));
}

/// Two records in the first interval, none in the next two, one in the fourth, one in the fifth.
Records gapSeries()
{
    return samples({{1, 4.0}, {7, 2.0}, {35, 8.0}, {41, 1.0}, {100, 0.0}});
}

Texts withGap(const char* method)
{
    EngineRequest gap = request(method, 10, 50, gapSeries());
    return resultsOf(gap);
}

TEST(Count, CountsTheRecordsOfAnInterval)
{
    EXPECT_THAT(overOneInterval("count", {1.0, QVariant(), QStringLiteral("x")}), ElementsAre("10:3"));
    EXPECT_THAT(withGap("count"), ElementsAre("10:2", "40:1", "50:1"));
    EXPECT_THAT(withGap("countfill"), ElementsAre("10:2", "20:0", "30:0", "40:1", "50:1"));
    EXPECT_THAT(withGap("countfillnull"), ElementsAre("10:2", "20:null", "30:null", "40:1", "50:1"));
}

TEST(Count, EmptyIntervalsBeforeTheFirstRecordAreFilledToo)
{
    EngineUnderTest engine(request("countfill", 10, 30, samples({{-100, 1.0}, {100, 1.0}})));
    ASSERT_TRUE(engine.settleRange());
    engine->handleNextRawRecord({at(25), QVariant(1.0)});
    EXPECT_THAT(texts(engine.output), ElementsAre("10:0", "20:0"));
}

TEST(Means, AreLabelledWithTheIntervalEnd)
{
    EXPECT_THAT(withGap("meana"), ElementsAre("10:3", "40:8", "50:1"));
    EXPECT_THAT(withGap("means fill"), ElementsAre("10:3.16227766016838", "20:0", "30:0", "40:8", "50:1"));
    EXPECT_THAT(withGap("meanh fillnull"),
                ElementsAre("10:2.66666666666667", "20:null", "30:null", "40:8", "50:1"));
}

TEST(Means, ArithmeticDividesTheSumByTheCount)
{
    EXPECT_THAT(overOneInterval("meana", {1.0, 2.0, 6.0}), ElementsAre("10:3"));
    EXPECT_THAT(overOneInterval("meana", {1.0, QVariant(), QStringLiteral("5")}), ElementsAre("10:2"));
}

TEST(Means, GeometricCountsAZeroLikeAOne)
{
    EXPECT_THAT(overOneInterval("meang", {0.0, 4.0}), ElementsAre("10:2"));
    EXPECT_THAT(overOneInterval("meang", {0.0}), ElementsAre("10:1"));
}

TEST(Means, GeometricReportsANegativeValueAsNaN)
{
    LogCapture log;
    EXPECT_THAT(overOneInterval("meang", {4.0, -1.0}), ElementsAre("10:0"));
    EXPECT_THAT(log.texts(), ElementsAre("4 Interval double value is NaN (TS:1000000010000"));
}

TEST(Means, HarmonicCountsAZeroButAddsNothing)
{
    EXPECT_THAT(overOneInterval("meanh", {2.0, 0.0}), ElementsAre("10:4"));
}

TEST(Means, HarmonicTakesReciprocalsThatCancelOutAsAnEmptyInterval)
{
    EXPECT_THAT(overOneInterval("meanh", {0.0}), IsEmpty());
    EXPECT_THAT(overOneInterval("meanh fill", {0.0}), ElementsAre("10:0"));
    EXPECT_THAT(overOneInterval("meanh fillnull", {0.0}), ElementsAre("10:null"));
    EXPECT_THAT(overOneInterval("meanh fillnull", {2.0, -2.0}), ElementsAre("10:null"));
}

TEST(Means, QuadraticIsTheRootOfTheMeanOfSquares)
{
    EXPECT_THAT(overOneInterval("means", {3.0, -3.0}), ElementsAre("10:3"));
}

TEST(MinMax, SingleExtremesKeepTheTimeOfTheirRecord)
{
    EXPECT_THAT(withGap("min"), ElementsAre("7:2", "35:8", "41:1"));
    EXPECT_THAT(withGap("max"), ElementsAre("1:4", "35:8", "41:1"));
    EXPECT_THAT(withGap("max align"), ElementsAre("10:4", "40:8", "50:1"));
}

TEST(MinMax, OfEqualExtremesTheEarliestRecordStays)
{
    EXPECT_THAT(overOneInterval("max", {1.0, 5.0, 5.0}), ElementsAre("0.5:5"));
    EXPECT_THAT(overOneInterval("min", {5.0, 1.0, 1.0}), ElementsAre("0.5:1"));
}

TEST(MinMax, EmptyIntervalsRepeatTheExtremeOneIntervalLengthApart)
{
    EXPECT_THAT(withGap("minfill"), ElementsAre("7:2", "17:2", "27:2", "35:8", "41:1"));
    EXPECT_THAT(withGap("maxfillnull"), ElementsAre("1:4", "11:null", "21:null", "35:8", "41:1"));
    EXPECT_THAT(withGap("minfillalign"), ElementsAre("10:2", "20:2", "30:2", "40:8", "50:1"));
}

TEST(MinMax, AnIntervalThatIsEmptyWhenClosedFillsNothing)
{
    for (const char* method : {"minfill", "maxfillnull"}) {
        EngineUnderTest engine(request(method, 10, 50, samples({{-100, 1.0}, {100, 1.0}})));
        ASSERT_TRUE(engine.settleRange());
        engine->handleNextRawRecord({at(45), QVariant(1.0)});
        EXPECT_THAT(engine.output, IsEmpty()) << method;
    }
}

TEST(MinMax, ANullRecordLeavesTheExtremeUnset)
{
    EXPECT_THAT(overOneInterval("min", {QVariant(), 5.0}), ElementsAre("0.5:5"));
    EXPECT_THAT(overOneInterval("max", {QVariant(), -5.0}), ElementsAre("0.5:-5"));
}

TEST(MinMax, ANullRecordThatBeatsTheExtremeUnsetsIt)
{
    // As a number it is 0, below 5; as the extreme it counts as none.
    EXPECT_THAT(overOneInterval("min", {5.0, QVariant()}), IsEmpty());
    EXPECT_THAT(overOneInterval("min", {5.0, QVariant(), 7.0}), ElementsAre("1:7"));
    EXPECT_THAT(overOneInterval("max", {5.0, QVariant()}), ElementsAre("0:5"));
}

TEST(MinMax, BothExtremesComeInTheOrderOfTheirTimes)
{
    EXPECT_THAT(overOneInterval("minmax", {5.0, 1.0, 9.0, 2.0}), ElementsAre("0.5:1", "1:9"));
    EXPECT_THAT(overOneInterval("minmax", {5.0, 9.0, 1.0, 2.0}), ElementsAre("0.5:9", "1:1"));
}

TEST(MinMax, AlignedTheMinimumComesFirst)
{
    EXPECT_THAT(overOneInterval("minmax align", {5.0, 9.0, 1.0}), ElementsAre("10:1", "10.001:9"));
}

TEST(MinMax, ASingleRecordGivesItsValueTwice)
{
    EXPECT_THAT(overOneInterval("minmax", {5.0}), ElementsAre("0:5", "0.001:5"));
    EXPECT_THAT(overOneInterval("minmax align", {5.0}), ElementsAre("10:5", "10.001:5"));
}

TEST(MinMax, TheAverageLiesAtTheTimeOfTheLaterExtreme)
{
    EXPECT_THAT(overOneInterval("minmax average", {1.0, 9.0, 2.0}), ElementsAre("0.5:5"));
    EXPECT_THAT(overOneInterval("minmax average", {9.0, 2.0, 1.0}), ElementsAre("1:5"));
    EXPECT_THAT(overOneInterval("minmax average align", {9.0, 1.0}), ElementsAre("10:5"));
    EXPECT_THAT(overOneInterval("minmax average", {5.0}), ElementsAre("0.001:5"));
}

TEST(MinMax, OnlyFurtherEmptyIntervalsAreFilledWithPairs)
{
    EXPECT_THAT(withGap("minmaxalignfill"), ElementsAre("10:2", "10.001:4", "20:0", "20.001:0", "30:0",
                                                        "30.001:0", "40:8", "40.001:8", "50:1", "50.001:1"));
    EXPECT_THAT(withGap("minmaxaveragealignfillnull"),
                ElementsAre("10:3", "20:null", "20.001:null", "30:null", "30.001:null", "40:8", "50:1"));
    EngineUnderTest engine(request("minmaxfill", 10, 50, samples({{-100, 1.0}, {100, 1.0}})));
    ASSERT_TRUE(engine.settleRange());
    engine->handleNextRawRecord({at(25), QVariant(1.0)});
    EXPECT_THAT(texts(engine.output), ElementsAre("20:0", "20.001:0"));
}

TEST(MinMax, NaNReplacesNoExtremeAndIsReplacedByNone)
{
    LogCapture log;
    EXPECT_THAT(overOneInterval("min", {5.0, kNaN, 3.0}), ElementsAre("1:3"));
    EXPECT_THAT(overOneInterval("max", {kNaN, 5.0}), ElementsAre("0:0"));
    EXPECT_EQ(log.lines.size(), 1U);
}

TEST(Sum, AddsUpPerIntervalAtTheTimeOfTheLastRecord)
{
    EXPECT_THAT(withGap("sum"), ElementsAre("7:6", "35:8", "41:1"));
    EXPECT_THAT(withGap("sumalign"), ElementsAre("10:6", "40:8", "50:1"));
}

TEST(Sum, FillsOfOneGapAllCarryTheTimeOfThePreviousRecord)
{
    EXPECT_THAT(withGap("sumfill"), ElementsAre("7:6", "7:0", "7:0", "35:8", "41:1"));
    EXPECT_THAT(withGap("sumfillnull"), ElementsAre("7:6", "7:null", "7:null", "35:8", "41:1"));
    EXPECT_THAT(withGap("sumalignfill"), ElementsAre("10:6", "20:0", "30:0", "40:8", "50:1"));
}

TEST(Sum, WithoutAPreviousRecordEmptyIntervalsAreLabelledWithTheirEnd)
{
    EngineUnderTest engine(request("sumfill", 10, 30, samples({{-100, 1.0}, {100, 1.0}})));
    ASSERT_TRUE(engine.settleRange());
    engine->handleNextRawRecord({at(25), QVariant(1.0)});
    EXPECT_THAT(texts(engine.output), ElementsAre("10:0", "20:0"));
}

TEST(Sum, AnEmptyIntervalKeepsTheSumWhenItIsFilledWithNull)
{
    const auto resultsFor = [](const char* method) {
        EngineUnderTest engine(request(method, 10, 30, samples({{-100, 1.0}, {100, 1.0}})));
        engine.settleRange();
        // A record before the first interval belongs to none.
        engine->handleNextRawRecord({at(-5), QVariant(2.0)});
        engine->handleNextRawRecord({at(12), QVariant(3.0)});
        engine->handleNextRawRecord({at(25), QVariant(4.0)});
        return texts(engine.output);
    };
    EXPECT_THAT(resultsFor("sumalign"), ElementsAre("20:5"));
    EXPECT_THAT(resultsFor("sumalignfill"), ElementsAre("10:2", "20:3"));
    EXPECT_THAT(resultsFor("sumalignfillnull"), ElementsAre("10:null", "20:5"));
}

TEST(Sum, AnIntervalAroundTheEpochCountsAsHoldingARecord)
{
    // "No previous record" is timestamp 0, which lies in every interval that starts at or before the epoch.
    EngineRequest epoch;
    epoch.param = param("sumfillnull");
    epoch.start = 10'000;
    epoch.end = 30'000;
    epoch.series = {{-100'000, QVariant(1.0)}, {100'000, QVariant(1.0)}};
    EngineUnderTest engine(epoch);
    ASSERT_TRUE(engine.settleRange());
    engine->handleNextRawRecord({25'000, QVariant(4.0)});
    ASSERT_EQ(engine.output.size(), 2U);
    EXPECT_EQ(engine.output[0].timestamp, 10'000);
    EXPECT_EQ(engine.output[0].value, QVariant(0.0));
    EXPECT_EQ(engine.output[1].timestamp, 20'000);
    EXPECT_TRUE(engine.output[1].value.isNull());
}

TEST(SumLinear, SplitsTheSumAtTheBoundaryInProportionToTime)
{
    // Between 5 and 15 the running sum grows from 10 to 20: half of the growth lies before 10.
    EXPECT_THAT(
        resultsOf(request("sumlinear", 10, 20, samples({{0, 0.0}, {5, 10.0}, {15, 10.0}, {25, 20.0}}))),
        ElementsAre("10:15", "20:15"));
}

TEST(SumLinear, EmptyIntervalsTakeTheirShareOnlyWhenFilled)
{
    const Records series = samples({{0, 0.0}, {5, 10.0}, {35, 30.0}, {45, 0.0}});
    EXPECT_THAT(resultsOf(request("sumlinear", 10, 30, series)), ElementsAre("10:15"));
    // What a result takes is subtracted from the sum, so the line of the next interval starts anew.
    const double first = (30.0 * 5000.0) / 30000.0 + 10.0;
    const double rest = 40.0 - first;
    const double second = ((rest - 10.0) * 15000.0) / 30000.0 + 10.0;
    EngineOutcome outcome = serve(request("sumlinearfill", 10, 20, series));
    ASSERT_EQ(outcome.output.size(), 2U);
    EXPECT_EQ(outcome.output[0].value.toDouble(), first);
    EXPECT_EQ(outcome.output[1].value.toDouble(), second);
    outcome = serve(request("sumlinearfillnull", 10, 30, series));
    EXPECT_THAT(texts(outcome.output), ElementsAre("10:15", "20:null", "30:null"));
}

TEST(Median, TakesTheMiddleOrTheMeanOfTheTwoInTheMiddle)
{
    EXPECT_THAT(overOneInterval("median", {10.0, 1.0, 3.0, 2.0}), ElementsAre("10:2.5"));
    EXPECT_THAT(overOneInterval("median", {10.0, 1.0, 2.0}), ElementsAre("10:2"));
    EXPECT_THAT(overOneInterval("median", {QVariant(), 1.0, QStringLiteral("x")}), ElementsAre("10:0"));
}

TEST(Median, FillsEmptyIntervals)
{
    EXPECT_THAT(withGap("median"), ElementsAre("10:3", "40:8", "50:1"));
    EXPECT_THAT(withGap("medianfill"), ElementsAre("10:3", "20:0", "30:0", "40:8", "50:1"));
    EXPECT_THAT(withGap("medianfillnull"), ElementsAre("10:3", "20:null", "30:null", "40:8", "50:1"));
}

TEST(Median, NaNComesLast)
{
    LogCapture log;
    EXPECT_THAT(overOneInterval("median", {kNaN, 3.0, 1.0}), ElementsAre("10:3"));
    EXPECT_THAT(overOneInterval("median", {3.0, kNaN, 1.0, kNaN, 2.0}), ElementsAre("10:3"));
    EXPECT_EQ(log.lines.size(), 0U);
    EXPECT_THAT(overOneInterval("median", {kNaN, kNaN, 1.0}), ElementsAre("10:0"));
    EXPECT_EQ(log.lines.size(), 1U);
}

/// Values of which many are equal, with zeros of both signs, infinities and NaN where they are wanted.
std::vector<double> randomValues(std::mt19937& random, bool withNaN)
{
    constexpr double kSpecial[] = {0.0, -0.0, kInfinity, -kInfinity, kNaN};
    const auto below = [&random](std::size_t count) { return random() % count; };
    const std::size_t specialCount = std::size(kSpecial) - (withNaN ? 0 : 1);
    const bool isPlain = below(2) == 0;
    std::vector<double> values(1 + below(100));
    for (double& value : values) {
        const double ordinary = (static_cast<double>(below(21)) - 10.0) * 0.3;
        value = isPlain || below(3) > 0 ? ordinary : kSpecial[below(specialCount)];
    }
    return values;
}

TEST(Median, IsTheMiddleOfTheSortedValuesBitForBit)
{
    LogCapture log;
    std::mt19937 random{7};
    for (int round = 0; round < 4000; ++round) {
        std::vector<double> values = randomValues(random, round % 4 == 0);
        Records series;
        for (std::size_t i = 0; i < values.size(); ++i)
            series.push_back({at(static_cast<double>(i) * 0.05), QVariant(values[i])});
        series.push_back({at(20), QVariant(1.0)});

        std::sort(values.begin(), values.end(),
                  [](double a, double b) { return std::isnan(b) ? !std::isnan(a) : a < b; });
        const std::size_t half = values.size() / 2;
        double expected = values.size() % 2 == 1 ? values[half] : (values[half - 1] + values[half]) * 0.5;
        // What is no number is a log line and a zero.
        if (!std::isfinite(expected))
            expected = 0.0;

        const Records output = serve(request("median", 10, 10, series)).output;
        ASSERT_EQ(output.size(), 1U);
        const double median = output.front().value.toDouble();
        ASSERT_EQ(median, expected) << "round " << round;
        ASSERT_EQ(std::signbit(median), std::signbit(expected)) << "round " << round;
    }
}

TEST(Mode, TakesTheLargestValueNotTheMostFrequent)
{
    EXPECT_THAT(overOneInterval("mode", {1.0, 1.0, 1.0, 5.0}), ElementsAre("10:5"));
    EXPECT_THAT(overOneInterval("mode", {-1.0, -3.0, -3.0}), ElementsAre("10:-1"));
}

TEST(Mode, FillsEmptyIntervals)
{
    EXPECT_THAT(withGap("mode"), ElementsAre("10:4", "40:8", "50:1"));
    EXPECT_THAT(withGap("modefill"), ElementsAre("10:4", "20:0", "30:0", "40:8", "50:1"));
    EXPECT_THAT(withGap("modefillnull"), ElementsAre("10:4", "20:null", "30:null", "40:8", "50:1"));
    EngineUnderTest engine(request("modefill", 10, 30, samples({{-100, 1.0}, {100, 1.0}})));
    ASSERT_TRUE(engine.settleRange());
    engine->handleNextRawRecord({at(25), QVariant(1.0)});
    EXPECT_THAT(texts(engine.output), ElementsAre("10:0", "20:0"));
}

TEST(Mode, AFirstNaNTakesInEveryOtherValue)
{
    LogCapture log;
    EXPECT_THAT(overOneInterval("mode", {kNaN, 3.0, 7.0}), ElementsAre("10:0"));
    EXPECT_EQ(log.lines.size(), 1U);
    EXPECT_THAT(overOneInterval("mode", {3.0, kNaN, 7.0}), ElementsAre("10:7"));
    EXPECT_EQ(log.lines.size(), 1U);
}

TEST(ValueLimit, TheMillionthValueOfAMedianEndsTheReadWithoutALine)
{
    LogCapture log;
    EngineUnderTest engine(request("median", 10, 30, samples({{0, 1.0}, {100, 1.0}})));
    ASSERT_TRUE(engine.settleRange());
    const QVariant value(1.0);
    for (int i = 0; i < 999'999; ++i)
        ASSERT_TRUE(engine->handleNextRawRecord({at(1), value}));
    EXPECT_EQ(engine->medianValues.size(), 999'999U);
    EXPECT_FALSE(engine->handleNextRawRecord({at(1), value}));
    EXPECT_TRUE(engine->medianValues.empty());
    EXPECT_EQ(engine.limit, 0);
    EXPECT_THAT(log.texts(), IsEmpty());
}

TEST(ValueLimit, TheMillionthDistinctValueOfAModeEndsTheReadWithoutALine)
{
    LogCapture log;
    EngineUnderTest engine(request("mode", 10, 30, samples({{0, 1.0}, {100, 1.0}})));
    ASSERT_TRUE(engine.settleRange());
    for (int i = 0; i < 999'999; ++i)
        engine->modeCounts.emplace_hint(engine->modeCounts.end(), static_cast<double>(i), 1);
    EXPECT_TRUE(engine->handleNextRawRecord({at(1), QVariant(5.0)}));
    EXPECT_EQ(engine->modeCounts[5.0], 2);
    EXPECT_FALSE(engine->handleNextRawRecord({at(1), QVariant(-5.0)}));
    EXPECT_TRUE(engine->modeCounts.empty());
    EXPECT_THAT(log.texts(), IsEmpty());
}

} // namespace
