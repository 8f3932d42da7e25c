// Where intervals begin, and stepping from one to the next.

#include "EngineForTest.h"

#include <gtest/gtest.h>

using namespace Kiv;
using namespace Kiv::Testing;

namespace
{

EngineUnderTest stepper(qint64 interval, qint32 offsetMinutes = 0)
{
    EngineRequest wide = wideRequest("prev", interval, 0, 0);
    wide.param.offsetMinFromUTC = offsetMinutes;
    return EngineUnderTest(wide);
}

qint64 aligned(qint64 interval, qint64 timestamp, qint32 offsetMinutes = 0)
{
    return stepper(interval, offsetMinutes)->alignSpecialStartTimestamp(timestamp);
}

qint64 increased(qint64 interval, qint64 timestamp)
{
    stepper(interval)->incTimestampByInterval(timestamp);
    return timestamp;
}

qint64 decreased(qint64 interval, qint64 timestamp)
{
    stepper(interval)->decTimestampByInterval(timestamp);
    return timestamp;
}

TEST(Alignment, FixedIntervalsCountFromTheEpochTowardsIt)
{
    EXPECT_EQ(aligned(10, 19'999), 10'000);
    EXPECT_EQ(aligned(10, 20'000), 20'000);
    EXPECT_EQ(aligned(10, -19'999), -10'000);
    EXPECT_EQ(aligned(10, -1), 0);
}

TEST(Alignment, FixedIntervalsIgnoreTheOffset)
{
    EXPECT_EQ(aligned(86'400, utcMs(2024, 3, 15, 10), 60), utcMs(2024, 3, 15));
}

TEST(Alignment, CalendarIntervalsStartAtTheirDay)
{
    const qint64 afternoon = utcMs(2024, 5, 17, 15, 30, 1);
    EXPECT_EQ(aligned(kDayCode, afternoon), utcMs(2024, 5, 17));
    EXPECT_EQ(aligned(kWeekCode, afternoon), utcMs(2024, 5, 13));
    EXPECT_EQ(aligned(kMonthCode, afternoon), utcMs(2024, 5, 1));
    EXPECT_EQ(aligned(kYearCode, afternoon), utcMs(2024, 1, 1));
}

TEST(Alignment, WeeksStartOnMonday)
{
    EXPECT_EQ(aligned(kWeekCode, utcMs(2024, 5, 13)), utcMs(2024, 5, 13));
    EXPECT_EQ(aligned(kWeekCode, utcMs(2024, 5, 13) - 1), utcMs(2024, 5, 6));
    EXPECT_EQ(aligned(kWeekCode, utcMs(1969, 12, 31)), utcMs(1969, 12, 29));
}

TEST(Alignment, QuartersAndHalfYearsStartAtTheMonthOnly)
{
    EXPECT_EQ(aligned(kQuarterCode, utcMs(2024, 5, 17)), utcMs(2024, 5, 1));
    EXPECT_EQ(aligned(kHalfYearCode, utcMs(2024, 5, 17)), utcMs(2024, 5, 1));
}

TEST(Alignment, TheOffsetMovesCalendarBoundariesEarlier)
{
    EXPECT_EQ(aligned(kMonthCode, utcMs(2024, 3, 15), 60), utcMs(2024, 2, 29, 23));
    EXPECT_EQ(aligned(kDayCode, utcMs(2024, 3, 15, 23, 30), -300), utcMs(2024, 3, 15, 5));
}

TEST(Alignment, AnUnknownCodeAndRawLeaveTheTimestamp)
{
    EXPECT_EQ(aligned(kUnknownCode, 123'456, 60), 123'456);
    EXPECT_EQ(aligned(0, 123'456, 60), 123'456);
}

TEST(Stepping, AddsAndSubtractsCalendarIntervals)
{
    const qint64 morning = utcMs(2024, 5, 17, 6);
    EXPECT_EQ(increased(kDayCode, morning), utcMs(2024, 5, 18, 6));
    EXPECT_EQ(increased(kWeekCode, morning), utcMs(2024, 5, 24, 6));
    EXPECT_EQ(increased(kMonthCode, morning), utcMs(2024, 6, 17, 6));
    EXPECT_EQ(increased(kQuarterCode, morning), utcMs(2024, 8, 17, 6));
    EXPECT_EQ(increased(kHalfYearCode, morning), utcMs(2024, 11, 17, 6));
    EXPECT_EQ(increased(kYearCode, morning), utcMs(2025, 5, 17, 6));
    EXPECT_EQ(decreased(kDayCode, morning), utcMs(2024, 5, 16, 6));
    EXPECT_EQ(decreased(kWeekCode, morning), utcMs(2024, 5, 10, 6));
    EXPECT_EQ(decreased(kMonthCode, morning), utcMs(2024, 4, 17, 6));
    EXPECT_EQ(decreased(kQuarterCode, morning), utcMs(2024, 2, 17, 6));
    EXPECT_EQ(decreased(kHalfYearCode, morning), utcMs(2023, 11, 17, 6));
    EXPECT_EQ(decreased(kYearCode, morning), utcMs(2023, 5, 17, 6));
}

TEST(Stepping, ClampsTheDayOfTheMonth)
{
    EXPECT_EQ(increased(kMonthCode, utcMs(2024, 1, 31)), utcMs(2024, 2, 29));
    EXPECT_EQ(increased(kMonthCode, utcMs(2023, 1, 31)), utcMs(2023, 2, 28));
    EXPECT_EQ(increased(kYearCode, utcMs(2024, 2, 29)), utcMs(2025, 2, 28));
    EXPECT_EQ(decreased(kMonthCode, utcMs(2024, 3, 31)), utcMs(2024, 2, 29));
    EXPECT_EQ(increased(kHalfYearCode, utcMs(2023, 8, 31, 12)), utcMs(2024, 2, 29, 12));
}

TEST(Stepping, AnUnknownCodeAddsOneDayButSubtractsNothing)
{
    EXPECT_EQ(increased(kUnknownCode, 1000), 1000 + kDayMs);
    EXPECT_EQ(decreased(kUnknownCode, 1000), 1000);
}

TEST(Stepping, RawNeverSteps)
{
    EXPECT_EQ(increased(0, 1000), 1000);
    EXPECT_EQ(decreased(0, 1000), 1000);
}

TEST(Stepping, TheNextIntervalStartsWhereTheCurrentOneEnds)
{
    EngineUnderTest engine = stepper(kMonthCode);
    engine->intervalStart = utcMs(2023, 12, 31);
    engine->intervalEnd = utcMs(2024, 1, 31);
    engine->incIntervalNextTimestamp();
    EXPECT_EQ(engine->intervalStart, utcMs(2024, 1, 31));
    EXPECT_EQ(engine->intervalEnd, utcMs(2024, 2, 29));
    engine->incIntervalNextTimestamp();
    EXPECT_EQ(engine->intervalEnd, utcMs(2024, 3, 29));
}

} // namespace
