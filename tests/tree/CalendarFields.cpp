// Milliseconds <-> calendar fields, held against Qt's calendar where that reaches, against known values and
// against themselves beyond.

#include "internal/CivilTime.h"
#include "support/SeriesForTest.h"

#include <QDate>

#include <gtest/gtest.h>

#include <limits>
#include <random>

namespace Kiv::Testing
{
namespace
{

using namespace Internal;

constexpr qint64 kMin = std::numeric_limits<qint64>::min();
constexpr qint64 kMax = std::numeric_limits<qint64>::max();
constexpr qint64 kJulianDayOfEpoch = 2'440'588;

/// Qt's calendar has no year 0: its year -1 is the year before year 1.
qint64 astronomicalYear(const QDate& date)
{
    return date.year() < 0 ? date.year() + 1 : date.year();
}

void expectSameDate(qint64 days)
{
    const QDate date = QDate::fromJulianDay(days + kJulianDayOfEpoch);
    const CivilDate civil = civilFromDays(days);
    ASSERT_EQ(civil.year, astronomicalYear(date)) << days;
    ASSERT_EQ(civil.month, date.month()) << days;
    ASSERT_EQ(civil.day, date.day()) << days;
    ASSERT_EQ(daysFromCivil(civil), days);
    ASSERT_EQ(dayOfWeek(days), date.dayOfWeek()) << days;
    ASSERT_EQ(daysInMonth(civil.year, civil.month), date.daysInMonth()) << days;
}

std::vector<qint64> timestampsOfAllMagnitudes()
{
    std::vector<qint64> timestamps = {kMin, kMin + 1, -1, 0, 1, kMax - 1, kMax};
    std::mt19937_64 random(20240517);
    for (int bits = 1; bits < 64; ++bits) {
        for (int i = 0; i < 40; ++i) {
            const qint64 value = static_cast<qint64>(random() >> (64 - bits));
            timestamps.push_back(value);
            timestamps.push_back(-value);
        }
    }
    return timestamps;
}

// --- Days ------------------------------------------------------------------------------------------------

TEST(CivilDays, EqualQtOnEveryDayFromYear1500To2600)
{
    for (qint64 days = -171'600; days < 230'500; ++days)
        ASSERT_NO_FATAL_FAILURE(expectSameDate(days));
}

TEST(CivilDays, EqualQtAroundYearZeroAndAtYear10000)
{
    for (qint64 days = -719'468 - 1000; days < -719'468 + 1000; ++days)
        ASSERT_NO_FATAL_FAILURE(expectSameDate(days));
    for (qint64 days = 2'932'897 - 1000; days < 2'932'897 + 1000; ++days)
        ASSERT_NO_FATAL_FAILURE(expectSameDate(days));
}

TEST(CivilDays, EqualQtOverAllOfIts64BitMilliseconds)
{
    for (const qint64 timestamp : timestampsOfAllMagnitudes())
        ASSERT_NO_FATAL_FAILURE(expectSameDate(daysFromMs(timestamp)));
}

TEST(CivilDays, RoundTowardsThePast)
{
    EXPECT_EQ(daysFromMs(0), 0);
    EXPECT_EQ(daysFromMs(-1), -1);
    EXPECT_EQ(daysFromMs(kMsPerDay - 1), 0);
    EXPECT_EQ(daysFromMs(kMsPerDay), 1);
    EXPECT_EQ(daysFromMs(-kMsPerDay), -1);
    EXPECT_EQ(daysFromMs(-kMsPerDay - 1), -2);
}

TEST(CivilDays, OfMonthsKnowTheGregorianLeapRule)
{
    EXPECT_EQ(daysInMonth(2024, 2), 29);
    EXPECT_EQ(daysInMonth(2023, 2), 28);
    EXPECT_EQ(daysInMonth(1900, 2), 28);
    EXPECT_EQ(daysInMonth(2000, 2), 29);
    EXPECT_EQ(daysInMonth(0, 2), 29);
    EXPECT_EQ(daysInMonth(-4, 2), 29);
    EXPECT_EQ(daysInMonth(-100, 2), 28);
    EXPECT_EQ(daysInMonth(-400, 2), 29);
    EXPECT_EQ(daysInMonth(2023, 4), 30);
    EXPECT_EQ(daysInMonth(2023, 12), 31);
}

// --- Fields ----------------------------------------------------------------------------------------------

TEST(CivilFields, HoldTheMinuteOfATimestamp)
{
    const CivilFields fields = civilFromMs(utc(2024, 5, 17, 13, 45, 12, 345));
    EXPECT_EQ(fields.date.year, 2024);
    EXPECT_EQ(fields.date.month, 5);
    EXPECT_EQ(fields.date.day, 17);
    EXPECT_EQ(fields.hour, 13);
    EXPECT_EQ(fields.minute, 45);
}

TEST(CivilFields, BeforeTheEpochAreThoseOfTheEarlierTime)
{
    const CivilFields fields = civilFromMs(-1);
    EXPECT_EQ(fields.date.year, 1969);
    EXPECT_EQ(fields.date.month, 12);
    EXPECT_EQ(fields.date.day, 31);
    EXPECT_EQ(fields.hour, 23);
    EXPECT_EQ(fields.minute, 59);
}

TEST(CivilFields, AreExactAtTheEndsOf64Bits)
{
    const CivilFields last = civilFromMs(kMax);
    EXPECT_EQ(last.date.year, 292'278'994);
    EXPECT_EQ(last.date.month, 8);
    EXPECT_EQ(last.date.day, 17);
    EXPECT_EQ(last.hour, 7);
    EXPECT_EQ(last.minute, 12);
    const CivilFields first = civilFromMs(kMin);
    EXPECT_EQ(first.date.year, -292'275'055);
    EXPECT_EQ(first.date.month, 5);
    EXPECT_EQ(first.date.day, 16);
    EXPECT_EQ(first.hour, 16);
    EXPECT_EQ(first.minute, 47);
}

TEST(CivilFields, TurnBackIntoTheirMinuteForEveryTimestamp)
{
    for (const qint64 timestamp : timestampsOfAllMagnitudes()) {
        const qint64 minuteMs = msFromCivil(civilFromMs(timestamp));
        if (timestamp < kMin + kMsPerMinute) {
            EXPECT_EQ(minuteMs, kMin); // the minute begins before 64 bits do
            continue;
        }
        ASSERT_LE(minuteMs, timestamp);
        ASSERT_LT(timestamp - minuteMs, kMsPerMinute) << timestamp;
        ASSERT_EQ(minuteMs % kMsPerMinute, 0) << timestamp;
    }
}

TEST(CivilFields, BeyondThe64BitsSaturate)
{
    EXPECT_EQ(msFromCivil({{292'278'995, 1, 1}, 0, 0}), kMax);
    EXPECT_EQ(msFromCivil({{400'000'000'000, 1, 1}, 0, 0}), kMax);
    EXPECT_EQ(msFromCivil({{-292'275'056, 12, 31}, 23, 59}), kMin);
    EXPECT_EQ(msFromCivil({{-400'000'000'000, 1, 1}, 0, 0}), kMin);
}

// --- Periods ---------------------------------------------------------------------------------------------

TEST(CivilPeriods, BeginAndEndWithTheirCalendarField)
{
    const qint64 timestamp = utc(2024, 2, 17, 13, 45, 12, 345);
    const qint64 starts[] = {utc(2024), utc(2024, 2), utc(2024, 2, 17), utc(2024, 2, 17, 13),
                             utc(2024, 2, 17, 13, 45)};
    const qint64 ends[] = {utc(2025), utc(2024, 3), utc(2024, 2, 18), utc(2024, 2, 17, 14),
                           utc(2024, 2, 17, 13, 46)};
    for (int depth = 0; depth < 5; ++depth) {
        EXPECT_EQ(periodStartMs(timestamp, depth), starts[depth]) << depth;
        EXPECT_EQ(periodLastMs(timestamp, depth), ends[depth] - 1) << depth;
    }
}

TEST(CivilPeriods, BeforeTheEpochAreThoseOfTheEarlierTime)
{
    EXPECT_EQ(periodStartMs(-1, 0), utc(1969));
    EXPECT_EQ(periodLastMs(-1, 0), -1);
    EXPECT_EQ(periodStartMs(-1, 4), -60'000);
    EXPECT_EQ(periodLastMs(-1, 4), -1);
    EXPECT_EQ(periodLastMs(utc(1969, 12, 5), 1), -1);
}

TEST(CivilPeriods, HoldTheirTimestampAndTouchTheNext)
{
    for (const qint64 timestamp : timestampsOfAllMagnitudes()) {
        for (int depth = 0; depth < 5; ++depth) {
            const qint64 startMs = periodStartMs(timestamp, depth);
            const qint64 lastMs = periodLastMs(timestamp, depth);
            ASSERT_LE(startMs, timestamp) << depth;
            ASSERT_GE(lastMs, timestamp) << depth;
            if (lastMs != kMax) {
                ASSERT_EQ(periodStartMs(lastMs + 1, depth), lastMs + 1) << timestamp << " " << depth;
            }
            if (startMs != kMin) {
                ASSERT_EQ(periodLastMs(startMs - 1, depth), startMs - 1) << timestamp << " " << depth;
            }
        }
    }
}

TEST(CivilPeriods, OfAnUnknownDepthAreMinutes)
{
    for (const int depth : {-1, 5, 100}) {
        EXPECT_EQ(periodStartMs(90'001, depth), 60'000);
        EXPECT_EQ(periodLastMs(90'001, depth), 119'999);
    }
}

// --- Arithmetic ------------------------------------------------------------------------------------------

TEST(SaturatingArithmetic, IsExactInsideAndClampedOutside)
{
    EXPECT_EQ(saturatingAdd(2, 3), 5);
    EXPECT_EQ(saturatingAdd(kMax, 1), kMax);
    EXPECT_EQ(saturatingAdd(kMin, -1), kMin);
    EXPECT_EQ(saturatingAdd(kMax, kMin), -1);
    EXPECT_EQ(saturatingSubtract(2, 3), -1);
    EXPECT_EQ(saturatingSubtract(kMin, 1), kMin);
    EXPECT_EQ(saturatingSubtract(0, kMin), kMax);
    EXPECT_EQ(saturatingSubtract(kMax, -1), kMax);
    EXPECT_EQ(saturatingMultiply(-4, 5), -20);
    EXPECT_EQ(saturatingMultiply(kMax, 2), kMax);
    EXPECT_EQ(saturatingMultiply(kMin, 2), kMin);
    EXPECT_EQ(saturatingMultiply(kMin, -1), kMax);
    EXPECT_EQ(saturatingMultiply(kMax, -2), kMin);
    EXPECT_EQ(saturatingMultiply(kMax, 0), 0);
}

} // namespace
} // namespace Kiv::Testing
