// Holds the reading of stored series for a reduction.

#include "analytics/SeriesReduction.h"

#include "support/SeriesForTest.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>

namespace Kiv::Analytics
{
namespace
{

using namespace Testing;

constexpr qint64 kHour = 3'600'000;
constexpr qint64 kDay = 24 * kHour;

std::vector<Interval> steps(qint64 fromMs, qint64 stepMs, int count)
{
    std::vector<Interval> intervals;
    for (int i = 0; i < count; ++i)
        intervals.push_back({fromMs + i * stepMs, fromMs + (i + 1) * stepMs, fromMs + (i + 1) * stepMs});
    return intervals;
}

std::string reducedTexts(TSFileStorage& storage, const char* method, const std::vector<Interval>& intervals,
                         qint64 maxGapMs = 0)
{
    std::string texts;
    IntervalList list(intervals);
    EXPECT_TRUE(reduceSeries(storage, Method::parse(QString::fromLatin1(method)).value(), list, maxGapMs,
                             [&texts](const Result& result) {
                                 texts += (texts.empty() ? "" : " ") + result.value.text().toStdString();
                                 return true;
                             }));
    return texts;
}

TEST(SeriesReduction, TakesTheSampleBeforeFromAnEarlierYear)
{
    SeriesDirectory directory;
    TSFileStorage storage(directory.base(), QMetaType::Double, kNoSizeLimit);
    ASSERT_TRUE(storage.writeDataRecords(
        recordsOf({{utc(2004, 3, 1), 5}, {utc(2024, 5, 17, 12), 1}, {utc(2024, 5, 18, 6), 7}}), false,
        false));
    EXPECT_EQ(reducedTexts(storage, "twa", steps(utc(2024, 5, 16), kDay, 3)), "5 3 1");
    EXPECT_EQ(reducedTexts(storage, "transitions", steps(utc(2024, 5, 16), kDay, 4)), "0 1 1 null");
    EXPECT_EQ(reducedTexts(storage, "first", steps(utc(2024, 5, 16), kDay, 4)), "null 1 7 null");
}

TEST(SeriesReduction, KnowsNothingBeforeTheFirstSampleAndBehindTheLast)
{
    SeriesDirectory directory;
    TSFileStorage storage(directory.base(), QMetaType::Double, kNoSizeLimit);
    const qint64 start = utc(2024, 5, 17);
    ASSERT_TRUE(
        storage.writeDataRecords(recordsOf({{start + kHour, 2}, {start + 3 * kHour, 2}}), false, false));
    EXPECT_EQ(reducedTexts(storage, "integral", steps(start - kDay, kDay, 3)), "null 14400 null");
}

TEST(SeriesReduction, OfAnEmptySeriesHasNoValues)
{
    SeriesDirectory directory;
    TSFileStorage storage(directory.base(), QMetaType::Double, kNoSizeLimit);
    EXPECT_EQ(reducedTexts(storage, "twa", steps(0, kDay, 2)), "null null");
    EXPECT_EQ(reducedTexts(storage, "twa", {}), "");
}

TEST(SeriesReduction, ReadsTimesThatTheStoreTakesForOthers)
{
    SeriesDirectory directory;
    TSFileStorage storage(directory.base(), QMetaType::Double, kNoSizeLimit);
    ASSERT_TRUE(storage.writeDataRecords(recordsOf({{-4, 1}, {-3, 2}, {-2, 4}, {-1, 8}, {0, 16}, {5, 32}}),
                                         false, false));
    for (const qint64 start : {-4, -3, -2, -1, 0}) {
        const double sum = 32.0 - static_cast<double>(1 << (start + 4));
        EXPECT_EQ(reducedTexts(storage, "sum", {{start, 1, 1}}), Value::ofDouble(sum).text().toStdString())
            << start;
    }
    EXPECT_EQ(reducedTexts(storage, "transitions", {{-2, 1, 1}}), "3");
    EXPECT_EQ(reducedTexts(storage, "sum", {{-4, -2, 1}}), "3");
}

TEST(SeriesReduction, DoesNotRoundIntegers)
{
    constexpr qulonglong kGreatest = std::numeric_limits<qulonglong>::max();
    SeriesDirectory directory;
    TSFileStorage storage(directory.base(), QMetaType::ULongLong, kNoSizeLimit);
    const qint64 start = utc(2024, 5, 17);
    ASSERT_TRUE(storage.writeDataRecords({{start - 1, QVariant(kGreatest)},
                                          {start, QVariant(kGreatest - 1)},
                                          {start + 2000, QVariant(qulonglong{3})},
                                          {start + 5000, QVariant(qulonglong{3})}},
                                         false, false));
    const std::vector<Interval> hour = steps(start, kHour, 1);
    EXPECT_EQ(reducedTexts(storage, "first", hour), "18446744073709551614");
    EXPECT_EQ(reducedTexts(storage, "transitions", hour), "2");
    EXPECT_EQ(reducedTexts(storage, "in-state:18446744073709551614", hour), "2");
    EXPECT_EQ(reducedTexts(storage, "in-state:18446744073709551615", hour), "0");
    EXPECT_EQ(reducedTexts(storage, "in-state:3", hour), "3");
}

TEST(SeriesReduction, OfStatesOfABool)
{
    SeriesDirectory directory;
    TSFileStorage storage(directory.base(), QMetaType::Bool, kNoSizeLimit);
    const qint64 start = utc(2024, 5, 17);
    ASSERT_TRUE(storage.writeDataRecords(
        {{start, QVariant(true)}, {start + 1500, QVariant(false)}, {start + 4000, QVariant(true)}}, false,
        false));
    EXPECT_EQ(reducedTexts(storage, "in-state:true", steps(start, kHour, 1)), "1.5");
    EXPECT_EQ(reducedTexts(storage, "last", steps(start, kHour, 1)), "1");
}

TEST(SeriesReduction, ReadsAcrossBlocks)
{
    SeriesDirectory directory;
    TSFileStorage storage(directory.base(), QMetaType::Double, kNoSizeLimit);
    const qint64 start = utc(2024, 5, 17);
    constexpr int kCount = 150'000;
    TSFileColumns columns;
    for (int i = 0; i < kCount; ++i) {
        columns.timestamps.push_back(start + i * qint64{1000});
        columns.doubles.push_back(i % 2);
    }
    ASSERT_TRUE(storage.writeDataColumns(columns, false, false));
    EXPECT_EQ(reducedTexts(storage, "integral", steps(start, kCount * qint64{1000}, 1)), "74999");
    EXPECT_EQ(reducedTexts(storage, "transitions", steps(start, kCount * qint64{1000}, 1)), "149999");
}

TEST(SeriesReduction, RefusesSeriesThatItCannotRead)
{
    for (const QMetaType::Type type : {QMetaType::Float, QMetaType::QString}) {
        SeriesDirectory directory;
        TSFileStorage storage(directory.base(), type, kNoSizeLimit);
        IntervalList intervals(steps(0, kDay, 1));
        EXPECT_FALSE(reduceSeries(storage, Method(), intervals, 0, [](const Result&) {
            ADD_FAILURE();
            return true;
        }));
    }
}

TEST(LastSampleBefore, IsTheLastOneOfAnEarlierFileWhenItsOwnFileBeginsLater)
{
    SeriesDirectory directory;
    TSFileStorage storage(directory.base(), QMetaType::Double, kNoSizeLimit);
    ASSERT_TRUE(storage.writeDataRecords(
        recordsOf({{utc(2019, 1, 1), 1}, {utc(2021, 7, 1), 2}, {utc(2024, 7, 1), 3}}), false, false));
    EXPECT_EQ(lastSampleBefore(storage, utc(2024, 2, 1))->timestamp, utc(2021, 7, 1));
    EXPECT_EQ(lastSampleBefore(storage, utc(2024, 7, 1))->timestamp, utc(2021, 7, 1));
    EXPECT_EQ(lastSampleBefore(storage, utc(2024, 7, 1) + 1)->timestamp, utc(2024, 7, 1));
    EXPECT_EQ(lastSampleBefore(storage, utc(2030))->timestamp, utc(2024, 7, 1));
    EXPECT_EQ(lastSampleBefore(storage, utc(2019, 1, 1)), std::nullopt);
    EXPECT_EQ(lastSampleBefore(storage, utc(1960)), std::nullopt);
}

TEST(LastSampleBefore, PassesOverFilesWithoutAWholeRecord)
{
    SeriesDirectory directory;
    TSFileStorage storage(directory.base(), QMetaType::Double, kNoSizeLimit);
    ASSERT_TRUE(storage.writeDataRecords(recordsOf({{utc(2019, 1, 1), 1}}), false, false));
    writeFile(directory.base() + QStringLiteral("D/2021"), QByteArray(5, '\0'));
    EXPECT_EQ(lastSampleBefore(storage, utc(2022))->timestamp, utc(2019, 1, 1));
}

TEST(LastSampleBefore, IsFoundInEveryDepthOfTheTree)
{
    std::mt19937 random(7);
    for (const QMetaType::Type type :
         {QMetaType::Double, QMetaType::LongLong, QMetaType::Short, QMetaType::Bool}) {
        SeriesDirectory directory;
        TSFileStorage storage(directory.base(), type, 200);
        Samples samples;
        qint64 timestampMs = utc(1969, 12, 30);
        for (int i = 0; i < 400; ++i) {
            timestampMs += 1 + static_cast<qint64>(random() % (random() % 10 == 0 ? 5'000'000 : 3'000));
            samples.emplace_back(timestampMs, i % 2);
        }
        ASSERT_TRUE(storage.writeDataRecords(recordsOf(samples), false, false));
        for (int i = 0; i < 300; ++i) {
            const qint64 askedMs =
                samples[random() % samples.size()].first + static_cast<qint64>(random() % 5) - 2;
            const auto behind = std::lower_bound(samples.begin(), samples.end(), Sample{askedMs, -1.0});
            const std::optional<Record> found = lastSampleBefore(storage, askedMs);
            ASSERT_EQ(found.has_value(), behind != samples.begin()) << askedMs;
            if (found) {
                EXPECT_EQ(found->timestamp, (behind - 1)->first) << askedMs;
                EXPECT_EQ(found->value.toDouble(), (behind - 1)->second) << askedMs;
            }
        }
    }
}

} // namespace
} // namespace Kiv::Analytics
