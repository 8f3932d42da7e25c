// The methods that give one value per interval boundary: raw, prev, next, prevnext, and their linear form.

#include "EngineForTest.h"
#include "support/SeamsForTest.h"

#include <gmock/gmock.h>

using namespace Kiv;
using namespace Kiv::Testing;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace
{

/// Two records in the first interval, one at the start of the second, none in the third, one in the fourth.
Records unevenSeries()
{
    return samples({{0, 1.0}, {5, 2.0}, {10, 3.0}, {35, 4.0}, {40, 5.0}, {60, 6.0}});
}

TEST(Raw, KeepsRecordsAtBothEndsOfTheRange)
{
    EngineRequest raw = request("", 5, 35, unevenSeries());
    raw.param.interval = 0;
    EXPECT_THAT(resultsOf(raw), ElementsAre("5:2", "10:3", "35:4"));
}

TEST(Raw, IgnoresRecordsOutsideTheRange)
{
    EngineRequest raw = request("", 5, 35, unevenSeries());
    raw.param.interval = 0;
    EngineUnderTest engine(raw);
    ASSERT_TRUE(engine.settleRange());
    EXPECT_TRUE(engine->handleNextRawRecord({at(5) - 1, QVariant(1.0)}));
    EXPECT_TRUE(engine->handleNextRawRecord({at(35) + 1, QVariant(1.0)}));
    EXPECT_THAT(engine.output, IsEmpty());
}

TEST(Raw, KeepsEveryValueAsItIs)
{
    EngineRequest raw = request("", 0, 30,
                                samples({{0, QVariant()},
                                         {10, QStringLiteral("text")},
                                         {20, QByteArray("bytes")},
                                         {30, QVariantMap{{QStringLiteral("1"), 2}}}}));
    raw.param.interval = 0;
    raw.param.method = QStringLiteral("linear align fillnull");
    const EngineOutcome outcome = serve(raw);
    ASSERT_EQ(outcome.output.size(), 4U);
    for (size_t i = 0; i < 4; ++i)
        EXPECT_EQ(outcome.output[i].value, raw.series[i].value) << i;
    EXPECT_FALSE(outcome.output[0].value.isValid());
}

TEST(Raw, FiltersTheRecordsThemselves)
{
    EngineRequest raw = request("", 0, 60, unevenSeries());
    raw.param.interval = 0;
    raw.param.filterParams.resize(1);
    raw.param.filterParams[0].valueCompare = QStringLiteral("gte");
    raw.param.filterParams[0].value = 4.0;
    EXPECT_THAT(resultsOf(raw), ElementsAre("35:4", "40:5", "60:6"));
}

TEST(Raw, TouchesNoIntervalState)
{
    EngineRequest raw = request("", 0, 60, unevenSeries());
    raw.param.interval = 0;
    EngineUnderTest engine(raw);
    ASSERT_TRUE(engine.settleRange());
    engine->handleNextRawRecord({at(20), QVariant(1.0)});
    EXPECT_EQ(engine->prevRecord.timestamp, 0);
    EXPECT_EQ(engine->intervalEnd, at(0));
    EXPECT_EQ(engine->intervalStart, at(0));
}

TEST(Prev, KeepsTheTimeOfTheLastRecordOfTheInterval)
{
    EXPECT_THAT(resultsOf(request("prev", 10, 40, unevenSeries())), ElementsAre("5:2", "10:3", "35:4"));
}

TEST(Prev, AlignedIsLabelledWithTheIntervalEnd)
{
    EXPECT_THAT(resultsOf(request("prev align", 10, 40, unevenSeries())),
                ElementsAre("10:2", "20:3", "40:4"));
}

TEST(Prev, FillsOneIntervalLengthApart)
{
    EXPECT_THAT(resultsOf(request("prevfill", 10, 50, samples({{0, 1.0}, {3, 7.0}, {34, 8.0}, {60, 9.0}}))),
                ElementsAre("3:7", "13:7", "23:7", "34:8", "44:8"));
    EXPECT_THAT(
        resultsOf(request("prevfillnull", 10, 50, samples({{0, 1.0}, {3, 7.0}, {34, 8.0}, {60, 9.0}}))),
        ElementsAre("3:7", "13:null", "23:null", "34:8", "44:null"));
}

TEST(Prev, TheOffsetOfFillsFollowsCalendarIntervals)
{
    EngineRequest months = request("prevfill", 0, 0,
                                   {{utcMs(2024, 1, 10), QVariant(1.0)},
                                    {utcMs(2024, 4, 20), QVariant(2.0)},
                                    {utcMs(2024, 12, 1), QVariant(3.0)}});
    months.param.interval = -3;
    months.start = utcMs(2024, 2, 1);
    months.end = utcMs(2024, 4, 30);
    const Records results = serve(months).output;
    ASSERT_EQ(results.size(), 3U);
    EXPECT_EQ(results[0].timestamp, utcMs(2024, 1, 10));
    // The February interval is 29 days long, the March interval 31.
    EXPECT_EQ(results[1].timestamp, utcMs(2024, 1, 10) + 29 * kDayMs);
    EXPECT_EQ(results[2].timestamp, utcMs(2024, 1, 10) + 60 * kDayMs);
}

TEST(Prev, IntervalsBeforeTheFirstRecordAreLabelledWithTheirEnd)
{
    const auto resultsFor = [](const char* method) {
        EngineRequest late = request(method, 10, 30, samples({{-100, 1.0}, {25, 5.0}, {100, 1.0}}));
        EngineUnderTest engine(late);
        engine.settleRange();
        engine->handleNextRawRecord({at(25), QVariant(5.0)});
        return texts(engine.output);
    };
    EXPECT_THAT(resultsFor("prev"), IsEmpty());
    EXPECT_THAT(resultsFor("prevfill"), ElementsAre("10:0", "20:0"));
    EXPECT_THAT(resultsFor("prevfillnull"), ElementsAre("10:null", "20:null"));
}

TEST(Prev, ARecordAtTheIntervalEndClosesTheInterval)
{
    EngineUnderTest engine(request("prev", 10, 30, samples({{0, 1.0}, {100, 2.0}})));
    ASSERT_TRUE(engine.settleRange());
    engine->handleNextRawRecord({at(0), QVariant(1.0)});
    engine->handleNextRawRecord({at(10) - 1, QVariant(2.0)});
    EXPECT_THAT(engine.output, IsEmpty());
    engine->handleNextRawRecord({at(10), QVariant(3.0)});
    EXPECT_EQ(engine.output.size(), 1U);
    EXPECT_EQ(engine->intervalStart, at(10));
    EXPECT_EQ(engine->intervalEnd, at(20));
    EXPECT_TRUE(engine->prevInInterval);
}

TEST(Prev, TheRecordBeforeTheRangeFillsItsFirstInterval)
{
    EngineRequest filled = request("prev align fill", 30, 40, samples({{0, 7.0}, {100, 8.0}}));
    const EngineOutcome outcome = serve(filled);
    EXPECT_EQ(outcome.previousCount, 1);
    EXPECT_THAT(texts(outcome.output), ElementsAre("30:7", "40:7"));
}

TEST(Next, PairsTheClosingValueWithThePreviousTime)
{
    // The record after the range closes the interval after the last one; its label is still inside.
    EXPECT_THAT(resultsOf(request("next", 10, 40, unevenSeries())),
                ElementsAre("5:3", "10:4", "35:5", "40:6"));
}

TEST(Next, AlignedIsLabelledWithTheIntervalEnd)
{
    EXPECT_THAT(resultsOf(request("next align", 10, 40, unevenSeries())),
                ElementsAre("10:3", "20:4", "40:5"));
    EXPECT_THAT(resultsOf(request("next align fill", 10, 40, unevenSeries())),
                ElementsAre("10:3", "20:4", "30:4", "40:5"));
    EXPECT_THAT(resultsOf(request("next align fillnull", 10, 40, unevenSeries())),
                ElementsAre("10:3", "20:4", "30:null", "40:5"));
}

TEST(Next, ANullClosingValueGivesANullResult)
{
    EXPECT_THAT(resultsOf(request("next align fill", 10, 30,
                                  samples({{0, 1.0}, {5, 2.0}, {10, QVariant()}, {30, 4.0}, {50, 5.0}}))),
                ElementsAre("10:null", "20:4", "30:4"));
}

TEST(Next, TheRecordAfterTheRangeClosesTheLastInterval)
{
    EngineRequest open = request("next align fill", 10, 20, samples({{0, 1.0}, {5, 2.0}, {55, 9.0}}));
    const EngineOutcome outcome = serve(open);
    EXPECT_EQ(outcome.afterCount, 1);
    EXPECT_THAT(texts(outcome.output), ElementsAre("10:9", "20:9"));
}

TEST(PrevNext, GivesPairsOneMillisecondApart)
{
    EXPECT_THAT(resultsOf(request("prevnext", 10, 40, unevenSeries())),
                ElementsAre("5:2", "5.001:3", "10:3", "10.001:4", "35:4", "35.001:5", "40:5", "40.001:6"));
    EXPECT_THAT(resultsOf(request("prevnext align", 10, 40, unevenSeries())),
                ElementsAre("10:2", "10.001:3", "20:3", "20.001:4", "40:4", "40.001:5"));
}

TEST(PrevNext, FillsWithPairs)
{
    EXPECT_THAT(resultsOf(request("prevnext fillnull", 20, 30, unevenSeries())),
                ElementsAre("10:3", "10.001:4", "20:null", "20.001:null"));
    EXPECT_THAT(resultsOf(request("prevnext fill", 20, 30, unevenSeries())),
                ElementsAre("10:3", "10.001:4", "20:3", "20.001:4"));
}

TEST(PrevNext, ANullClosingValueMakesOnlyTheSecondResultNull)
{
    EXPECT_THAT(resultsOf(request("prevnext align", 10, 10, samples({{0, 1.0}, {5, 2.0}, {10, QVariant()}}))),
                ElementsAre("10:2", "10.001:null"));
}

TEST(Linear, GivesTheValueOnTheLineAtTheIntervalEnd)
{
    for (const char* method : {"prevlinear", "nextlinear", "prevnextlinear", "prevnextlinearalign"}) {
        EXPECT_THAT(resultsOf(request(method, 10, 30,
                                      samples({{0, 0.0}, {5, 5.0}, {15, 25.0}, {25, 5.0}, {35, 0.0}}))),
                    ElementsAre("10:15", "20:15", "30:2.5"))
            << method;
    }
}

TEST(Linear, LeavesIntervalsWithoutRecordsOutUnlessFilled)
{
    const Records series = samples({{0, 0.0}, {5, 5.0}, {45, 45.0}, {55, 55.0}});
    EXPECT_THAT(resultsOf(request("prevlinear", 10, 40, series)), ElementsAre("10:10"));
    EXPECT_THAT(resultsOf(request("prevlinearfill", 10, 40, series)),
                ElementsAre("10:10", "20:20", "30:30", "40:40"));
    EXPECT_THAT(resultsOf(request("prevlinearfillnull", 10, 40, series)),
                ElementsAre("10:10", "20:null", "30:null", "40:null"));
}

TEST(Linear, WithoutARecordInTheReadRangeNothingIsEmitted)
{
    // The record after the range is the first one at or after the read start, so it is only remembered.
    EngineRequest sparse = request("linear", 50, 60, samples({{0, 0.0}, {100, 100.0}, {200, 200.0}}));
    const EngineOutcome outcome = serve(sparse);
    EXPECT_EQ(outcome.previousCount, 1);
    EXPECT_EQ(outcome.afterCount, 1);
    EXPECT_THAT(texts(outcome.output), IsEmpty());
}

TEST(Linear, TheFirstRecordHandledIsTheSecondOneOfTheReadRange)
{
    EngineUnderTest engine(request("prevlinear", 20, 100, samples({{0, 0.0}, {200, 1.0}})));
    ASSERT_TRUE(engine.settleRange());
    EXPECT_EQ(engine.readStart, at(10));
    engine->handleNextRawRecord({at(3), QVariant(3.0)});
    EXPECT_EQ(engine->prevRecord.timestamp, at(3));
    // The record before it lies before the read range, so this one is remembered and not handled.
    engine->handleNextRawRecord({at(25), QVariant(25.0)});
    EXPECT_EQ(engine->prevRecord.timestamp, at(25));
    EXPECT_THAT(engine.output, IsEmpty());
    // Now the line through 25 and 35 is drawn backwards to 20, too.
    engine->handleNextRawRecord({at(35), QVariant(35.0)});
    EXPECT_THAT(texts(engine.output), ElementsAre("20:20", "30:30"));
    EXPECT_EQ(engine->lastLinearValue, 30.0);
}

TEST(Linear, TwoRecordsAtOneTimestampGiveTheLaterValue)
{
    EXPECT_THAT(resultsOf(request("prevlinear", 10, 10, samples({{10, 3.0}, {10, 8.0}, {20, 0.0}}))),
                ElementsAre("10:8"));
}

TEST(Linear, WithoutAnEarlierPointTheClosingValueIsTaken)
{
    EngineUnderTest engine(request("prevlinear", 10, 10, samples({{0, 0.0}, {20, 0.0}})));
    EXPECT_EQ(engine->linearInterpolate(0, 5.0, 10, 20, 7.0), 7.0);
    EXPECT_EQ(engine->linearInterpolate(10, 5.0, 15, 10, 7.0), 7.0);
    EXPECT_EQ(engine->linearInterpolate(10, 5.0, 15, 9, 7.0), 7.0);
    EXPECT_EQ(engine->linearInterpolate(10, 5.0, 15, 20, 7.0), 6.0);
    EXPECT_EQ(engine->linearInterpolate(-10, 5.0, 0, 10, 7.0), 6.0);
}

TEST(Linear, KeepsTheOrderOfOperations)
{
    EngineUnderTest engine(request("prevlinear", 10, 10, samples({{0, 0.0}, {20, 0.0}})));
    const double expected = ((0.3 - 0.1) * 3.0) / 7.0 + 0.1;
    EXPECT_EQ(engine->linearInterpolate(1, 0.1, 4, 8, 0.3), expected);
}

TEST(Linear, TextCountsAsItsNumberOrZero)
{
    EXPECT_THAT(resultsOf(request(
                    "prevlinear", 10, 20,
                    samples({{0, 0.0}, {5, QStringLiteral("10")}, {15, QStringLiteral("x")}, {25, 10.0}}))),
                ElementsAre("10:5", "20:5"));
}

TEST(Linear, ASeriesAtTheEpochHasNoPreviousPointThere)
{
    EngineRequest epoch = request(
        "prevlinear", 0, 0,
        {{-5000, QVariant(1.0)}, {0, QVariant(2.0)}, {15'000, QVariant(8.0)}, {40'000, QVariant(0.0)}});
    epoch.start = 10'000;
    epoch.end = 10'000;
    const Records results = serve(epoch).output;
    ASSERT_EQ(results.size(), 1U);
    EXPECT_EQ(results[0].timestamp, 10'000);
    EXPECT_EQ(results[0].value.toDouble(), 8.0);
}

} // namespace
