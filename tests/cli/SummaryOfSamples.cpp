// What stats and gaps count: values, extremes and the lengths between samples.

#include "DurationText.h"
#include "Errors.h"
#include "SamplingIntervals.h"
#include "SeriesSummary.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <random>

namespace Kiv::Cli
{
namespace
{

using Analytics::Value;
using ::testing::ElementsAre;

SamplingIntervals intervalsOf(const std::vector<qint64>& timestampsMs)
{
    SamplingIntervals intervals;
    for (const qint64 ms : timestampsMs)
        intervals.add(ms);
    return intervals;
}

TSFileColumns doubles(std::vector<double> values)
{
    TSFileColumns block;
    for (std::size_t i = 0; i < values.size(); ++i)
        block.timestamps.push_back(static_cast<qint64>(i) * 1000);
    block.doubles = std::move(values);
    return block;
}

TEST(SamplingLengths, HaveAMedianThatOccurs)
{
    EXPECT_EQ(20, intervalsOf({0, 10, 30, 60}).medianMs());
    EXPECT_EQ(10, intervalsOf({0, 10, 30}).medianMs()) << "the lower one of two";
    EXPECT_EQ(std::nullopt, intervalsOf({5}).medianMs());
}

TEST(SamplingLengths, AreOrderedByFrequency)
{
    EXPECT_THAT(intervalsOf({0, 10, 20, 25, 30, 130}).mostFrequent(2),
                ElementsAre(SamplingLength{5, 2}, SamplingLength{10, 2}));
}

TEST(SamplingLengths, AreRoundedWhenTheyAreTooMany)
{
    SamplingIntervals intervals(100);
    qint64 ms = 0;
    for (qint64 i = 1; i <= 100'000; ++i)
        intervals.add(ms += i);
    EXPECT_EQ(99'999, intervals.count());
    EXPECT_EQ(2, intervals.leastMs()) << "exact";
    EXPECT_EQ(100'000, intervals.greatestMs()) << "exact";
    EXPECT_NEAR(50'000, static_cast<double>(*intervals.medianMs()), 1000);
    EXPECT_LE(intervals.mostFrequent(1000).size(), 101u);
}

TEST(Summaries, TellWhereTheFirstOfEqualExtremesIs)
{
    SeriesSummary summary(SeriesSummary::Percentiles::Wanted);
    summary.add(doubles({5, 1, 7, 1, 7}), false);
    EXPECT_EQ(Value::ofDouble(1), summary.least().value);
    EXPECT_EQ(1000, summary.least().timestampMs);
    EXPECT_EQ(2000, summary.greatest().timestampMs);
    EXPECT_EQ(5, summary.percentile(50));
}

TEST(Summaries, CountNullsAndNaNOnly)
{
    TSFileColumns block = doubles({1, std::numeric_limits<double>::quiet_NaN(), 3});
    block.isNull = {1, 0, 0};
    SeriesSummary summary(SeriesSummary::Percentiles::Wanted);
    summary.add(block, false);
    EXPECT_EQ(3, summary.recordCount());
    EXPECT_EQ(2, summary.nullCount());
    EXPECT_EQ(3, summary.statistics().mean());
}

TEST(Summaries, DoNotRoundGreatIntegers)
{
    constexpr qint64 kBig = std::numeric_limits<qint64>::max();
    TSFileColumns block;
    block.kind = TSFileColumns::Kind::Integers;
    block.timestamps = {1, 2, 3};
    block.integers = {kBig - 1, kBig, kBig - 2};
    SeriesSummary summary(SeriesSummary::Percentiles::None);
    summary.add(block, false);
    EXPECT_EQ(kBig, summary.greatest().value.bitsOfInteger());
    EXPECT_EQ(kBig - 2, summary.least().value.bitsOfInteger());
    SeriesSummary unsignedSummary(SeriesSummary::Percentiles::None);
    block.integers = {-1, 0, 1};
    unsignedSummary.add(block, true);
    EXPECT_EQ(1, unsignedSummary.greatest().timestampMs);
}

TEST(Summaries, RefuseMoreValuesThanCanBeOrdered)
{
    SeriesSummary summary(SeriesSummary::Percentiles::Wanted, 2);
    EXPECT_THROW(summary.add(doubles({1, 2, 3}), false), CommandError);
    SeriesSummary without(SeriesSummary::Percentiles::None, 2);
    without.add(doubles({1, 2, 3}), false);
    EXPECT_EQ(3, without.recordCount());
}

TEST(Durations, ReadBackWhatTheyAreWrittenAs)
{
    const QString option = QStringLiteral("--max-gap");
    for (const qint64 ms : {1LL, 500LL, 1000LL, 90'000LL, 3'600'000LL, 604'800'000LL, 1001LL})
        EXPECT_EQ(ms, parseDuration(option, durationText(ms)));
    for (const char* text : {"", "0", "ms", "-1ms", "1.5h", "month", "0ms"})
        EXPECT_THROW(parseDuration(option, QLatin1String(text)), CommandError) << text;
}

} // namespace
} // namespace Kiv::Cli
