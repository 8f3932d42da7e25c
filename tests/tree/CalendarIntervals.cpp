// Stepping and aligning by fixed and calendar intervals, one by one and in closed form.

#include "internal/CivilTime.h"
#include "support/SeriesForTest.h"

#include <QDateTime>

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
constexpr qint64 kUnknownCode = -7;

QDateTime dateTime(qint64 timestampMs)
{
    return QDateTime::fromMSecsSinceEpoch(timestampMs, Qt::UTC);
}

/// Times whose day of the month is likely to be clamped, and some that are not.
std::vector<qint64> awkwardTimes()
{
    std::vector<qint64> times;
    for (const int year : {1899, 1900, 1969, 1970, 1999, 2000, 2023, 2024, 2100}) {
        for (int month = 1; month <= 12; ++month) {
            for (const int day : {1, 15, 28, 29, 30, 31}) {
                if (QDate::isValid(year, month, day))
                    times.push_back(utc(year, month, day, 13, 45, 12, 345));
            }
        }
    }
    return times;
}

// --- Single steps ----------------------------------------------------------------------------------------

TEST(IntervalStep, ByMonthsEqualsQt)
{
    for (const qint64 time : awkwardTimes()) {
        for (const int months : {-25, -12, -6, -3, -1, 0, 1, 2, 3, 6, 11, 12, 13, 48})
            ASSERT_EQ(addMonths(time, months), dateTime(time).addMonths(months).toMSecsSinceEpoch())
                << time << " " << months;
    }
}

TEST(IntervalStep, OfEveryCalendarCodeEqualsQt)
{
    for (const qint64 time : awkwardTimes()) {
        const QDateTime at = dateTime(time);
        const QDateTime later[] = {at.addDays(1),   at.addDays(7),   at.addMonths(1),
                                   at.addMonths(3), at.addMonths(6), at.addYears(1)};
        const QDateTime earlier[] = {at.addDays(-1),   at.addDays(-7),   at.addMonths(-1),
                                     at.addMonths(-3), at.addMonths(-6), at.addYears(-1)};
        for (int code = 1; code <= 6; ++code) {
            ASSERT_EQ(addInterval(time, -code), later[code - 1].toMSecsSinceEpoch()) << time << " " << code;
            ASSERT_EQ(subtractInterval(time, -code), earlier[code - 1].toMSecsSinceEpoch())
                << time << " " << code;
        }
    }
}

TEST(IntervalStep, OfAFixedLengthAddsIt)
{
    EXPECT_EQ(addInterval(-5, 1000), 995);
    EXPECT_EQ(subtractInterval(995, 1000), -5);
}

TEST(IntervalStep, OfAnUnknownCodeIsADayForwardAndNothingBack)
{
    EXPECT_EQ(addInterval(1000, kUnknownCode), 86'401'000);
    EXPECT_EQ(addInterval(1000, kMin), 86'401'000);
    EXPECT_EQ(subtractInterval(1000, kUnknownCode), 1000);
    EXPECT_EQ(subtractInterval(1000, kMin), 1000);
}

TEST(IntervalStep, ClampsTheDayOfTheMonth)
{
    EXPECT_EQ(addInterval(utc(2024, 1, 31), kIntervalMonth), utc(2024, 2, 29));
    EXPECT_EQ(addInterval(utc(2023, 1, 31, 23, 59), kIntervalMonth), utc(2023, 2, 28, 23, 59));
    EXPECT_EQ(addInterval(utc(2024, 2, 29), kIntervalYear), utc(2025, 2, 28));
    EXPECT_EQ(subtractInterval(utc(2024, 2, 29), kIntervalYear), utc(2023, 2, 28));
    EXPECT_EQ(addInterval(utc(2024, 8, 31), kIntervalHalfYear), utc(2025, 2, 28));
}

TEST(IntervalStep, SaturatesAtTheLimits)
{
    for (const qint64 interval : {qint64{1}, qint64{1000}, qint64{kMax}, qint64{-1}, qint64{-2}, qint64{-3},
                                  qint64{-4}, qint64{-5}, qint64{-6}}) {
        EXPECT_EQ(addInterval(kMax, interval), kMax) << interval;
        EXPECT_EQ(subtractInterval(kMin, interval), kMin) << interval;
    }
    EXPECT_EQ(addInterval(kMax, kUnknownCode), kMax);
    EXPECT_EQ(addMonths(0, 12'000'000'000), kMax);
    EXPECT_EQ(addMonths(0, -12'000'000'000), kMin);
}

TEST(IntervalStep, NearTheLimitsKeepsItsDirection)
{
    for (const qint64 interval :
         {kIntervalDay, kIntervalWeek, kIntervalMonth, kIntervalQuarter, kIntervalHalfYear, kIntervalYear}) {
        for (qint64 distanceMs = 1; distanceMs < 800 * kMsPerDay; distanceMs = distanceMs * 2 + 12'345) {
            EXPECT_GE(addInterval(kMax - distanceMs, interval), kMax - distanceMs);
            EXPECT_GT(addInterval(kMin + distanceMs, interval), kMin + distanceMs);
            EXPECT_LE(subtractInterval(kMin + distanceMs, interval), kMin + distanceMs);
            EXPECT_LT(subtractInterval(kMax - distanceMs, interval), kMax - distanceMs);
        }
    }
}

// --- Alignment -------------------------------------------------------------------------------------------

TEST(IntervalAlignment, OfFixedIntervalsIsCountedFromTheEpochTowardsIt)
{
    EXPECT_EQ(alignToInterval(3'700'000, kMsPerHour, 0), kMsPerHour);
    EXPECT_EQ(alignToInterval(-1, kMsPerHour, 0), 0);
    EXPECT_EQ(alignToInterval(-3'700'000, kMsPerHour, 0), -kMsPerHour);
    EXPECT_EQ(alignToInterval(3'700'000, kMsPerHour, 30), kMsPerHour);
}

TEST(IntervalAlignment, OfCalendarIntervalsIsTheStartOfDayMonthOrYear)
{
    const qint64 time = utc(2024, 5, 17, 13, 45, 12, 345); // a Friday
    EXPECT_EQ(alignToInterval(time, kIntervalDay, 0), utc(2024, 5, 17));
    EXPECT_EQ(alignToInterval(time, kIntervalWeek, 0), utc(2024, 5, 13));
    EXPECT_EQ(alignToInterval(time, kIntervalMonth, 0), utc(2024, 5));
    EXPECT_EQ(alignToInterval(time, kIntervalQuarter, 0), utc(2024, 5));
    EXPECT_EQ(alignToInterval(time, kIntervalHalfYear, 0), utc(2024, 5));
    EXPECT_EQ(alignToInterval(time, kIntervalYear, 0), utc(2024));
}

TEST(IntervalAlignment, MovesCalendarBoundariesByTheOffset)
{
    EXPECT_EQ(alignToInterval(utc(2024, 3, 15), kIntervalMonth, 60), utc(2024, 2, 29, 23));
    EXPECT_EQ(alignToInterval(utc(2024, 3, 15), kIntervalDay, -90), utc(2024, 3, 15, 1, 30));
}

TEST(IntervalAlignment, OfAnUnknownCodeLeavesTheTimestamp)
{
    EXPECT_EQ(alignToInterval(12'345, kUnknownCode, 60), 12'345);
}

TEST(IntervalAlignment, OfAMondayIsItself)
{
    for (int day = 13; day <= 19; ++day)
        EXPECT_EQ(alignToInterval(utc(2024, 5, day, 12), kIntervalWeek, 0), utc(2024, 5, 13)) << day;
    EXPECT_EQ(alignToInterval(utc(1969, 12, 31), kIntervalWeek, 0), utc(1969, 12, 29));
}

// --- Many steps at once ----------------------------------------------------------------------------------

Internal::IntervalStep stepOneByOne(qint64 boundaryMs, qint64 intervalMs, qint64 limitMs)
{
    Internal::IntervalStep step{boundaryMs, addInterval(boundaryMs, intervalMs)};
    while (step.nextMs <= limitMs)
        step = {step.nextMs, addInterval(step.nextMs, intervalMs)};
    return step;
}

void expectSameSteps(qint64 boundaryMs, qint64 intervalMs, qint64 limitMs)
{
    const Internal::IntervalStep expected = stepOneByOne(boundaryMs, intervalMs, limitMs);
    const Internal::IntervalStep actual = stepPast(boundaryMs, intervalMs, limitMs);
    ASSERT_EQ(actual.lastMs, expected.lastMs) << boundaryMs << " " << intervalMs << " " << limitMs;
    ASSERT_EQ(actual.nextMs, expected.nextMs) << boundaryMs << " " << intervalMs << " " << limitMs;
}

TEST(ManySteps, EqualSingleStepsForCalendarIntervals)
{
    std::mt19937_64 random(7);
    for (const qint64 time : awkwardTimes()) {
        for (qint64 code = kUnknownCode; code < 0; ++code) {
            const qint64 farMs = static_cast<qint64>(random() % 100'000'000'000);
            ASSERT_NO_FATAL_FAILURE(expectSameSteps(time, code, time + farMs));
            ASSERT_NO_FATAL_FAILURE(expectSameSteps(time, code, time));
        }
    }
}

TEST(ManySteps, EqualSingleStepsAtAndBesideABoundary)
{
    for (const qint64 time : awkwardTimes()) {
        for (qint64 code = kIntervalYear; code <= kIntervalMonth; ++code) {
            qint64 boundary = time;
            for (int i = 0; i < 9; ++i)
                boundary = addInterval(boundary, code);
            for (const qint64 besideMs : {-1, 0, 1})
                ASSERT_NO_FATAL_FAILURE(expectSameSteps(time, code, boundary + besideMs));
        }
    }
}

TEST(ManySteps, EqualSingleStepsForFixedIntervals)
{
    for (const qint64 intervalMs : {qint64{1}, qint64{7}, qint64{1000}, qint64{86'400'000}}) {
        for (const qint64 boundaryMs : {qint64{-5000}, qint64{0}, qint64{12'345}}) {
            for (qint64 distanceMs = 0; distanceMs < 40 * intervalMs; distanceMs += intervalMs / 3 + 1)
                ASSERT_NO_FATAL_FAILURE(expectSameSteps(boundaryMs, intervalMs, boundaryMs + distanceMs));
        }
    }
}

TEST(ManySteps, FromADayThatIsOnceClampedStayClamped)
{
    const Internal::IntervalStep step = stepPast(utc(2023, 1, 31), kIntervalMonth, utc(2400, 12, 31));
    EXPECT_EQ(step.lastMs, utc(2400, 12, 28));
    EXPECT_EQ(step.nextMs, utc(2401, 1, 28));
}

TEST(ManySteps, FromTheThirtiethByQuartersThatAvoidFebruaryNeverClamp)
{
    const Internal::IntervalStep step = stepPast(utc(2023, 1, 30), kIntervalQuarter, utc(2400, 11, 1));
    EXPECT_EQ(step.lastMs, utc(2400, 10, 30));
    EXPECT_EQ(step.nextMs, utc(2401, 1, 30));
}

TEST(ManySteps, OverMillionsOfYearsVisitOnlyAFewBoundaries)
{
    for (qint64 code = kIntervalYear; code <= kIntervalMonth; ++code) {
        for (const qint64 time : awkwardTimes()) {
            const qint64 before = steppedIntervalCount();
            const Internal::IntervalStep step = stepPast(time, code, kMax - 400 * kMsPerDay);
            ASSERT_LE(steppedIntervalCount() - before, 40) << time << " " << code;
            ASSERT_LE(step.lastMs, kMax - 400 * kMsPerDay);
            ASSERT_GT(step.nextMs, kMax - 400 * kMsPerDay);
        }
    }
}

TEST(ManySteps, AtTheEndOf64BitsStopThere)
{
    for (const qint64 interval : {qint64{1}, qint64{1000}, qint64{kMax}, qint64{-1}, qint64{-2}, qint64{-3},
                                  qint64{-4}, qint64{-5}, qint64{-6}, kUnknownCode}) {
        for (const qint64 boundaryMs : {kMin, qint64{0}, kMax}) {
            const Internal::IntervalStep step = stepPast(boundaryMs, interval, kMax);
            EXPECT_LE(step.lastMs, kMax) << interval;
            EXPECT_GE(step.lastMs, boundaryMs) << interval;
            EXPECT_EQ(step.nextMs, kMax) << interval;
        }
    }
}

TEST(ManySteps, OfFixedIntervalsCrossAllOf64Bits)
{
    const Internal::IntervalStep step = stepPast(kMin, 1000, kMax - 1000);
    EXPECT_LE(step.lastMs, kMax - 1000);
    EXPECT_EQ(step.nextMs, step.lastMs + 1000);
    EXPECT_EQ((static_cast<quint64>(step.lastMs) - static_cast<quint64>(kMin)) % 1000, 0u);
}

} // namespace
} // namespace Kiv::Testing
