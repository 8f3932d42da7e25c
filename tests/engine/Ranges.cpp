// The effective range, the range to read, the neighbours wanted, and counting without reading.

#include "EngineForTest.h"
#include "support/SeamsForTest.h"

#include <gmock/gmock.h>

using namespace Kiv;
using namespace Kiv::Testing;

namespace
{

TEST(Range, StartsReadingOneIntervalEarly)
{
    EngineUnderTest engine(wideRequest("meana", 3600, utcMs(2024, 5, 17, 10), utcMs(2024, 5, 17, 12)));
    ASSERT_TRUE(engine.settleRange());
    EXPECT_EQ(engine.readStart, utcMs(2024, 5, 17, 9));
    EXPECT_EQ(engine.readEnd, utcMs(2024, 5, 17, 12));
    EXPECT_EQ(engine->readStart, engine.readStart);
    EXPECT_EQ(engine->readEnd, engine.readEnd);
    EXPECT_EQ(engine->rangeStart, utcMs(2024, 5, 17, 10));
    EXPECT_EQ(engine->intervalStart, utcMs(2024, 5, 17, 9));
    EXPECT_EQ(engine->intervalEnd, utcMs(2024, 5, 17, 10));
    EXPECT_EQ(engine->lastResultTs, utcMs(2024, 5, 17, 12));
    EXPECT_FALSE(engine->startClipped);
    EXPECT_FALSE(engine->endClipped);
}

TEST(Range, AligningMovesBothEndsToTheNextBoundary)
{
    EngineRequest wide = wideRequest("meana", 3600, utcMs(2024, 5, 17, 10, 17), utcMs(2024, 5, 17, 12, 30));
    wide.param.alignStartEndTimestamp = true;
    EngineUnderTest engine(wide);
    ASSERT_TRUE(engine.settleRange());
    EXPECT_EQ(engine->rangeStart, utcMs(2024, 5, 17, 11));
    EXPECT_EQ(engine->rangeEnd, utcMs(2024, 5, 17, 13));
}

TEST(Range, AligningAddsAnIntervalToATimestampOnTheBoundaryToo)
{
    EngineRequest wide = wideRequest("meana", kMonthCode, utcMs(2024, 2, 1), utcMs(2024, 3, 1));
    wide.param.alignStartEndTimestamp = true;
    EngineUnderTest engine(wide);
    ASSERT_TRUE(engine.settleRange());
    EXPECT_EQ(engine->rangeStart, utcMs(2024, 3, 1));
    EXPECT_EQ(engine->rangeEnd, utcMs(2024, 4, 1));
    EXPECT_EQ(engine.readStart, utcMs(2024, 2, 1));
}

TEST(Range, RawIsNeitherAlignedNorReadEarly)
{
    EngineRequest wide = wideRequest("prev", 0, 12'345, 67'890);
    wide.param.alignStartEndTimestamp = true;
    wide.shiftIntervalForward = true;
    EngineUnderTest engine(wide);
    ASSERT_TRUE(engine.settleRange());
    EXPECT_EQ(engine.readStart, 12'345);
    EXPECT_EQ(engine.readEnd, 67'890);
    EXPECT_EQ(engine->lastResultTs, 67'890);
}

TEST(Range, ShiftingForwardMovesRangeAndReadEndByOneInterval)
{
    EngineRequest wide = wideRequest("meana", 3600, utcMs(2024, 5, 17, 10), utcMs(2024, 5, 17, 12));
    wide.shiftIntervalForward = true;
    EngineUnderTest engine(wide);
    ASSERT_TRUE(engine.settleRange());
    EXPECT_EQ(engine.readStart, utcMs(2024, 5, 17, 10));
    EXPECT_EQ(engine.readEnd, utcMs(2024, 5, 17, 13));
    EXPECT_EQ(engine->rangeStart, utcMs(2024, 5, 17, 11));
    EXPECT_EQ(engine->rangeEnd, utcMs(2024, 5, 17, 13));
    EXPECT_EQ(engine->lastResultTs, utcMs(2024, 5, 17, 13));
    EXPECT_EQ(engine->intervalStart, utcMs(2024, 5, 17, 10));
}

TEST(Range, MethodsWithTwoResultsMayCarryOneMillisecondMore)
{
    for (const char* method : {"prevnext", "minmax"}) {
        EngineUnderTest engine(wideRequest(method, 10, 100'000, 200'000));
        ASSERT_TRUE(engine.settleRange());
        EXPECT_EQ(engine->lastResultTs, 200'001) << method;
    }
    for (const char* method : {"prevnextlinear", "minmaxaverage", "prev"}) {
        EngineUnderTest engine(wideRequest(method, 10, 100'000, 200'000));
        ASSERT_TRUE(engine.settleRange());
        EXPECT_EQ(engine->lastResultTs, 200'000) << method;
    }
}

TEST(Range, TheExtraMillisecondFollowsTheShiftedRange)
{
    EngineRequest wide = wideRequest("prevnext", 10, 100'000, 200'000);
    wide.shiftIntervalForward = true;
    EngineUnderTest engine(wide);
    ASSERT_TRUE(engine.settleRange());
    EXPECT_EQ(engine->lastResultTs, 210'001);
}

TEST(Range, AStartBeforeTheFirstRecordIsRaisedByWholeIntervals)
{
    EngineRequest late = request("prev", -35, 100, samples({{7, 1.0}, {200, 2.0}}));
    EngineUnderTest engine(late);
    ASSERT_TRUE(engine.settleRange());
    EXPECT_EQ(engine->rangeStart, at(15));
    EXPECT_EQ(engine.readStart, at(7));
    EXPECT_TRUE(engine->startClipped);
    EXPECT_EQ(engine->intervalStart, at(5));
    EXPECT_EQ(engine->intervalEnd, at(15));
}

TEST(Range, ARawStartBeforeTheFirstRecordIsRaisedToIt)
{
    EngineRequest late = request("prev", -35, 100, samples({{7, 1.0}, {200, 2.0}}));
    late.param.interval = 0;
    EngineUnderTest engine(late);
    ASSERT_TRUE(engine.settleRange());
    EXPECT_EQ(engine->rangeStart, at(7));
    EXPECT_EQ(engine.readStart, at(7));
    EXPECT_FALSE(engine->startClipped);
}

TEST(Range, AnEmptyOneIsRefusedAfterTheRangeToReadIsSettled)
{
    EngineUnderTest behind(request("prev", 100, 50, samples({{7, 1.0}, {40, 2.0}})));
    EXPECT_FALSE(behind.settleRange());
    EXPECT_EQ(behind.readStart, at(90));
    EXPECT_EQ(behind.readEnd, at(40));
    EXPECT_FALSE(behind->startClipped);
    EXPECT_TRUE(behind->endClipped);

    EngineUnderTest before(request("prev", 0, 2, samples({{7, 1.0}, {200, 2.0}})));
    EXPECT_FALSE(before.settleRange());
    EXPECT_EQ(before.readStart, at(7));
    EXPECT_EQ(before.readEnd, at(2));
    EXPECT_TRUE(before->startClipped);
    EXPECT_FALSE(before->endClipped);
}

TEST(Range, TheEngineIsCreatedAtTheTimeOfTheClock)
{
    SeamsForTest seams;
    seams.nowUs = 1'715'953'512'345'678;
    EngineUnderTest engine(request("prev", 0, 100, samples({{0, 1.0}, {200, 2.0}})));
    EXPECT_EQ(engine->createdAt.toMSecsSinceEpoch(), 1'715'953'512'345);
}

TEST(Range, RaisingByMonthsClampsTheDayOnTheWay)
{
    EngineRequest late = wideRequest("prev", kMonthCode, utcMs(2024, 1, 31), utcMs(2025, 1, 1));
    late.series.front().timestamp = utcMs(2024, 5, 1);
    EngineUnderTest engine(late);
    ASSERT_TRUE(engine.settleRange());
    EXPECT_EQ(engine->rangeStart, utcMs(2024, 5, 29));
}

TEST(Range, AnEndBeyondTheLastRecordIsLoweredForReadingOnly)
{
    EngineUnderTest engine(request("prev", 10, 100, samples({{0, 1.0}, {50, 2.0}})));
    ASSERT_TRUE(engine.settleRange());
    EXPECT_TRUE(engine->endClipped);
    EXPECT_EQ(engine.readEnd, at(50));
    EXPECT_EQ(engine->rangeEnd, at(100));
    EXPECT_EQ(engine->lastResultTs, at(100));
}

TEST(Range, AnEndBeforeTheStartIsEmpty)
{
    EngineUnderTest reversed(request("prev", 50, 49.999, samples({{0, 1.0}, {100, 2.0}})));
    EXPECT_FALSE(reversed.settleRange());
    EXPECT_EQ(reversed->readStart, -1);
    EngineUnderTest before(request("prev", -100, -50, samples({{0, 1.0}, {100, 2.0}})));
    EXPECT_FALSE(before.settleRange());
    EngineUnderTest instant(request("prev", 50, 50, samples({{0, 1.0}, {100, 2.0}})));
    EXPECT_TRUE(instant.settleRange());
}

TEST(SpecialRange, StartsAreAlignedAndEndsAreNot)
{
    SeamsForTest seams;
    seams.nowUs = at(1234.567) * 1000 + 999;
    EngineRequest special = request("prev", 0, 0, samples({{3, 1.0}, {2008, 2.0}}));
    const auto rangeOf = [&special](qint64 start, qint64 end) {
        special.start = start;
        special.end = end;
        EngineUnderTest engine(special);
        engine.settleRange();
        return std::make_pair(engine->rangeStart, engine->rangeEnd);
    };
    EXPECT_EQ(rangeOf(-1, -1), std::make_pair(at(1230), at(1234.567)));
    EXPECT_EQ(rangeOf(-3, -3), std::make_pair(at(2000), at(2008)));
    // The aligned first record lies before the first record and is raised again.
    EXPECT_EQ(rangeOf(-2, -2), std::make_pair(at(10), at(3)));
}

TEST(SpecialRange, RawEndsAreNotAligned)
{
    SeamsForTest seams;
    seams.nowUs = at(1234.567) * 1000;
    EngineRequest special = request("", 0, 0, samples({{3, 1.0}, {2008, 2.0}}));
    special.param.interval = 0;
    special.start = -1;
    special.end = -3;
    EngineUnderTest engine(special);
    ASSERT_TRUE(engine.settleRange());
    EXPECT_EQ(engine->rangeStart, at(1234.567));
    EXPECT_EQ(engine->rangeEnd, at(2008));
}

TEST(SpecialRange, AStartOfNowFollowsTheCalendarAndTheOffset)
{
    SeamsForTest seams;
    seams.nowUs = utcMs(2024, 3, 15, 10) * 1000;
    EngineRequest special = wideRequest("prev", kMonthCode, -1, -1);
    special.param.offsetMinFromUTC = 60;
    EngineUnderTest engine(special);
    ASSERT_TRUE(engine.settleRange());
    EXPECT_EQ(engine->rangeStart, utcMs(2024, 2, 29, 23));
    EXPECT_EQ(engine->rangeEnd, utcMs(2024, 3, 15, 10));
}

TEST(Neighbours, PreviousRecordsDependOnMethodAndDifference)
{
    const auto wanted = [](const char* method, qint64 interval = 10) {
        EngineUnderTest engine(wideRequest(method, interval, 100'000, 200'000));
        engine.settleRange();
        return engine->needsPreviousDataRecords();
    };
    EXPECT_EQ(wanted("prev", 0), 0);
    EXPECT_EQ(wanted("diff", 0), 1);
    EXPECT_EQ(wanted("prevnext"), 1);
    EXPECT_EQ(wanted("prev"), 1);
    EXPECT_EQ(wanted("next"), 0);
    EXPECT_EQ(wanted("nextlinear"), 1);
    EXPECT_EQ(wanted("sum"), 0);
    EXPECT_EQ(wanted("sumlinear"), 1);
    EXPECT_EQ(wanted("diffsum"), 1);
    EXPECT_EQ(wanted("diffprev"), 2);
    for (const char* method :
         {"minmax", "min", "max", "meana", "meang", "meanh", "means", "median", "mode", "count"})
        EXPECT_EQ(wanted(method), 0) << method;
}

TEST(Neighbours, NoPreviousRecordIsWantedWhenTheStartWasRaised)
{
    EngineUnderTest engine(request("diffprev", 0, 100, samples({{0, 1.0}, {200, 2.0}})));
    EXPECT_EQ(engine->needsPreviousDataRecords(), 2);
    engine.settleRange();
    EXPECT_EQ(engine->needsPreviousDataRecords(), 0);
}

TEST(Neighbours, TheRecordAfterTheRangeDependsOnTheMethod)
{
    const auto wanted = [](const char* method, qint64 interval = 10) {
        EngineUnderTest engine(wideRequest(method, interval, 100'000, 200'000));
        engine.settleRange();
        return engine->needsDataRecordAfterRangeEnd();
    };
    EXPECT_FALSE(wanted("next", 0));
    EXPECT_TRUE(wanted("prevnext"));
    EXPECT_TRUE(wanted("next"));
    EXPECT_FALSE(wanted("prev"));
    EXPECT_TRUE(wanted("prevlinear"));
    EXPECT_FALSE(wanted("sum"));
    EXPECT_TRUE(wanted("sumlinear"));
    EXPECT_FALSE(wanted("meana"));
    EXPECT_FALSE(wanted("minmaxlinear"));
}

TEST(Neighbours, NoRecordAfterTheRangeIsWantedWhenTheEndWasLowered)
{
    EngineUnderTest engine(request("next", 10, 100, samples({{0, 1.0}, {50, 2.0}})));
    engine.settleRange();
    EXPECT_FALSE(engine->needsDataRecordAfterRangeEnd());
}

TEST(Neighbours, PassesAddUp)
{
    EngineRequest chain = wideRequest("diffsum", 10, 100'000, 200'000);
    chain.passes = {param("diffprev", 10), param("nextlinear", 10)};
    EngineUnderTest engine(chain);
    engine.settleRange();
    EXPECT_EQ(engine->needsPreviousDataRecords(), 4);
    EXPECT_TRUE(engine->needsDataRecordAfterRangeEnd());
    chain.passes = {param("prev", 10), param("meana", 10)};
    EngineUnderTest without(chain);
    without.settleRange();
    EXPECT_FALSE(without->needsDataRecordAfterRangeEnd());
}

TEST(FastCount, CountsFixedIntervalsWithBothEnds)
{
    EngineUnderTest engine(wideRequest("prevfill", 10, 100'000, 159'999));
    engine.settleRange();
    EXPECT_EQ(engine->getFastCount(), 6);
}

TEST(FastCount, CountsTwoResultsPerIntervalForPairs)
{
    const auto count = [](const char* method) {
        EngineUnderTest engine(wideRequest(method, 10, 100'000, 200'000));
        engine.settleRange();
        return engine->getFastCount();
    };
    EXPECT_EQ(count("prevnextfill"), 22);
    EXPECT_EQ(count("minmaxfillnull"), 22);
    EXPECT_EQ(count("prevnextlinearfill"), 11);
    EXPECT_EQ(count("minmaxaveragefill"), 11);
}

TEST(FastCount, CountsCalendarIntervalsFromTheDates)
{
    const auto count = [](qint64 interval, qint64 start, qint64 end) {
        EngineUnderTest engine(wideRequest("meanafill", interval, start, end));
        engine.settleRange();
        return engine->getFastCount();
    };
    const qint64 start = utcMs(2023, 12, 31, 23);
    const qint64 end = utcMs(2025, 1, 1, 1);
    EXPECT_EQ(count(kYearCode, start, end), 3);
    EXPECT_EQ(count(kHalfYearCode, start, end), 13 / 6 + 1);
    EXPECT_EQ(count(kQuarterCode, start, end), 13 / 3 + 1);
    EXPECT_EQ(count(kMonthCode, start, end), 14);
    EXPECT_EQ(count(kWeekCode, start, end), 367 / 7 + 1);
    EXPECT_EQ(count(kDayCode, start, end), 368);
    EXPECT_EQ(count(kUnknownCode, start, end), 0);
}

TEST(FastCount, IsNotPossibleWithFiltersWithoutFillOrForRaw)
{
    EngineRequest wide = wideRequest("prevfill", 10, 100'000, 200'000);
    wide.param.filterParams.resize(1);
    EXPECT_EQ(EngineUnderTest(wide)->getFastCount(), -1);
    EXPECT_EQ(EngineUnderTest(wideRequest("prev", 10, 100'000, 200'000))->getFastCount(), -1);
    EXPECT_EQ(EngineUnderTest(wideRequest("prevfill", 0, 100'000, 200'000))->getFastCount(), -1);
}

TEST(FastCount, IsWrittenIntoTheCounterWhenTheRangeIsSettled)
{
    EngineRequest wide = wideRequest("prevfill", 10, 100'000, 200'000);
    wide.fastCountOnly = true;
    EngineUnderTest engine(wide);
    ASSERT_TRUE(engine.settleRange());
    ASSERT_EQ(engine.output.size(), 1U);
    EXPECT_EQ(engine.output[0].timestamp, 0);
    EXPECT_EQ(engine.output[0].value.typeId(), QMetaType::LongLong);
    EXPECT_EQ(engine.output[0].value.toLongLong(), 11);
}

TEST(FastCount, AnUnknownCodeSettlesTheCountAtZero)
{
    EngineRequest wide = wideRequest("prevfill", kUnknownCode, 100'000, 200'000);
    wide.fastCountOnly = true;
    EngineUnderTest engine(wide);
    ASSERT_TRUE(engine.settleRange());
    EXPECT_EQ(engine.output[0].timestamp, 0);
    EXPECT_EQ(engine.output[0].value.toLongLong(), 0);
}

TEST(Range, SettlingEmptiesCollectedValues)
{
    EngineUnderTest engine(wideRequest("median", 10, 100'000, 200'000));
    engine->medianValues = {1.0};
    engine->modeCounts[2.0] = 1;
    engine.settleRange();
    EXPECT_TRUE(engine->medianValues.empty());
    EXPECT_TRUE(engine->modeCounts.empty());
}

} // namespace
