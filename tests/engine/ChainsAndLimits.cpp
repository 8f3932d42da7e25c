// Chained passes, the limit of results, the end of the range, count-only mode, and what finalize adds.

#include "EngineForTest.h"
#include "support/SeamsForTest.h"

#include <gmock/gmock.h>

using namespace Kiv;
using namespace Kiv::Testing;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace
{

/// A record every 10 seconds from 0 to 100, with values 0 to 10.
Records everyTenSeconds()
{
    Records records;
    for (int i = 0; i <= 10; ++i)
        records.push_back({at(10.0 * i), QVariant(static_cast<double>(i))});
    return records;
}

EngineRequest rawRequest(double startSeconds, double endSeconds)
{
    EngineRequest result = request("", startSeconds, endSeconds, everyTenSeconds());
    result.param.interval = 0;
    return result;
}

TEST(Limit, TheLastWantedResultEndsTheReadAndIsReported)
{
    EngineRequest limited = request("prevlinear", 20, 100, everyTenSeconds());
    limited.limit = 5;
    const EngineOutcome outcome = serve(limited);
    EXPECT_EQ(outcome.limit, 5);
    EXPECT_EQ(outcome.output.size(), 5U);
    EXPECT_EQ(outcome.output.back().timestamp, at(60));
}

TEST(Limit, HandlingARecordAnswersFalseOnceTheLimitIsReached)
{
    EngineRequest limited = rawRequest(0, 100);
    limited.limit = 2;
    EngineUnderTest engine(limited);
    EXPECT_EQ(engine.limit, 0);
    ASSERT_TRUE(engine.settleRange());
    EXPECT_TRUE(engine->handleNextRawRecord({at(10), QVariant(1.0)}));
    EXPECT_FALSE(engine->handleNextRawRecord({at(20), QVariant(2.0)}));
    EXPECT_EQ(engine.limit, 2);
    EXPECT_EQ(engine.output.size(), 2U);
}

TEST(Limit, ARawReadStopsAtTheLimit)
{
    EngineRequest limited = rawRequest(0, 100);
    limited.limit = 5;
    const EngineOutcome outcome = serve(limited);
    EXPECT_EQ(outcome.handedOverCount, 5);
    EXPECT_EQ(outcome.output.size(), 5U);
    EXPECT_EQ(outcome.limit, 5);
}

TEST(Limit, ValuesBelowOneMeanNoLimitAndTheVariableBecomesZero)
{
    for (int limit : {0, -1, -100}) {
        EngineRequest unlimited = rawRequest(0, 100);
        unlimited.limit = limit;
        const EngineOutcome outcome = serve(unlimited);
        EXPECT_EQ(outcome.output.size(), 11U);
        EXPECT_EQ(outcome.limit, 0);
    }
}

TEST(Limit, CountsRecordsThatWereInTheVectorBefore)
{
    EngineRequest limited = rawRequest(0, 100);
    limited.limit = 5;
    EngineUnderTest engine(limited);
    engine.output = samples({{-30, 1.0}, {-20, 1.0}, {-10, 1.0}});
    ASSERT_TRUE(engine.settleRange());
    EXPECT_TRUE(engine->handleNextRawRecord({at(10), QVariant(1.0)}));
    EXPECT_FALSE(engine->handleNextRawRecord({at(20), QVariant(2.0)}));
    EXPECT_EQ(engine.limit, 5);
}

TEST(Limit, FinalizeStillEmitsTheLastIntervalOnceMore)
{
    EngineRequest limited = request("prev align", 10, 100, everyTenSeconds());
    limited.limit = 3;
    const EngineOutcome outcome = serve(limited);
    // The record at 30 reached the limit in the middle of its handler, so its interval is closed again.
    EXPECT_THAT(texts(outcome.output), ElementsAre("10:0", "20:1", "30:2", "30:2"));
    EXPECT_EQ(outcome.limit, 4);
}

TEST(Limit, NullResultsAreNotCounted)
{
    EngineRequest limited = request("count fillnull", 10, 60, samples({{0, 1.0}, {45, 1.0}, {60, 1.0}}));
    limited.limit = 2;
    const EngineOutcome outcome = serve(limited);
    EXPECT_THAT(texts(outcome.output), ElementsAre("10:1", "20:null", "30:null", "40:null", "50:1", "50:1"));
}

TEST(Limit, FinalizeAfterTheLimitMayAddAnyNumberOfNulls)
{
    // The record that closes the last intervals has no value, so "next" gives nulls only.
    EngineRequest limited = request("next align fillnull", 10, 40, samples({{0, 1.0}, {10, 2.0}, {60, 3.0}}));
    limited.limit = 1;
    const EngineOutcome outcome = serve(limited);
    EXPECT_THAT(texts(outcome.output), ElementsAre("10:2", "10:null", "20:null", "30:null", "40:null"));
    EXPECT_EQ(outcome.limit, 1);
}

TEST(Limit, HasNoEffectWithAChain)
{
    EngineRequest chain = request("prev align", 10, 100, everyTenSeconds());
    chain.passes = {param("prev align")};
    chain.limit = 3;
    const EngineOutcome outcome = serve(chain);
    EXPECT_GT(outcome.output.size(), 8U);
    EXPECT_EQ(outcome.limit, 0);
}

TEST(Limit, IsKeptByARawFirstPass)
{
    EngineRequest chain = request("", 0, 100, everyTenSeconds());
    chain.param.interval = 0;
    chain.passes = {param("", 0)};
    chain.limit = 4;
    const EngineOutcome outcome = serve(chain);
    EXPECT_EQ(outcome.output.size(), 4U);
    EXPECT_EQ(outcome.limit, 4);
    EXPECT_EQ(outcome.handedOverCount, 4);
}

TEST(Chain, HandsResultsOfEachPassToTheNext)
{
    EngineRequest chain = request("meana", 40, 80, everyTenSeconds());
    chain.param.interval = 40;
    chain.passes = {param("prev align", 20)};
    // Previous values at 40, 60 and 80 are 3, 5 and 7; the first pass gives nothing before the range.
    EXPECT_THAT(resultsOf(chain), ElementsAre("80:4"));
}

TEST(Chain, NullResultsAreNotHandedOn)
{
    EngineRequest chain =
        request("count", 60, 120, samples({{0, 1.0}, {45, 1.0}, {60, 1.0}, {75, 1.0}, {130, 1.0}}));
    chain.param.interval = 60;
    chain.passes = {param("count fillnull", 10)};
    EXPECT_THAT(resultsOf(chain), ElementsAre("120:2"));
    chain.passes = {param("count fill", 10)};
    EXPECT_THAT(resultsOf(chain), ElementsAre("120:6"));
}

TEST(Chain, OnlyTheLastPassConvertsToTheTargetType)
{
    Records series;
    for (int i = 0; i <= 10; ++i)
        series.push_back({at(10.0 * i), QVariant(0.4)});
    EngineRequest chain = request("sum align", 40, 80, series);
    chain.param.interval = 40;
    chain.passes = {param("prev align", 10)};
    chain.targetType = QMetaType::Int;
    const EngineOutcome outcome = serve(chain);
    ASSERT_EQ(outcome.output.size(), 1U);
    EXPECT_EQ(outcome.output[0].value, QVariant(1));
}

TEST(Chain, TheFirstPassDecidesWhatIsRead)
{
    EngineRequest chain = request("meana", 100, 200, samples({{-1000, 1.0}, {1000, 2.0}}));
    chain.param.interval = 100;
    chain.passes = {param("prev", 10)};
    EngineUnderTest engine(chain);
    ASSERT_TRUE(engine.settleRange());
    EXPECT_EQ(engine.readStart, at(90));
    EXPECT_EQ(engine->nextPass->readStart, at(0));
}

TEST(Chain, AnEmptyRangeOfALaterPassEndsBeforeTheFirstPassIsSettled)
{
    // Aligned to 100 s and raised beyond the first record, the last pass has no interval left.
    EngineRequest chain = request("meana", 0, 10, samples({{5, 1.0}, {1000, 2.0}}));
    chain.param.interval = 100;
    chain.passes = {param("prev", 1)};
    EngineUnderTest engine(chain);
    EXPECT_FALSE(engine.settleRange());
    EXPECT_EQ(engine->rangeStart, at(0));
    EXPECT_EQ(engine->readStart, -1);
    EXPECT_EQ(engine->nextPass->rangeStart, at(100));
}

TEST(Chain, OnlyTheLastPassIsShiftedForward)
{
    EngineRequest chain = request("meana", 40, 80, everyTenSeconds());
    chain.passes = {param("prev"), param("next")};
    chain.shiftIntervalForward = true;
    EngineUnderTest engine(chain);
    EXPECT_FALSE(engine->shiftIntervalForward);
    EXPECT_FALSE(engine->nextPass->shiftIntervalForward);
    EXPECT_TRUE(engine->nextPass->nextPass->shiftIntervalForward);
}

TEST(Chain, ARawFirstPassDropsRecordsOutsideItsRange)
{
    EngineRequest chain = request("count", 20, 40, everyTenSeconds());
    chain.param.interval = 20;
    chain.passes = {param("", 0)};
    EngineUnderTest engine(chain);
    ASSERT_TRUE(engine.settleRange());
    for (const Record& record : chain.series)
        EXPECT_TRUE(engine->handleNextRawRecord(record));
    engine->finalize();
    // Of the records at 0 to 100 those at 20, 30 and 40 pass; the interval before 20 stays empty.
    EXPECT_THAT(texts(engine.output), ElementsAre("40:2"));
}

TEST(Chain, LinearWarmUpAppliesToTheLastPassOnly)
{
    EngineRequest single =
        request("prevlinear", 10, 20, samples({{0, 0.0}, {5, 5.0}, {15, 15.0}, {25, 25.0}}));
    EXPECT_THAT(resultsOf(single), ElementsAre("10:10", "20:20"));
    EngineRequest chain = single;
    chain.param = param("", 0);
    chain.passes = {param("prevlinear")};
    EXPECT_THAT(resultsOf(chain), ElementsAre("10:10", "20:20"));
    EngineUnderTest engine(chain);
    ASSERT_TRUE(engine.settleRange());
    engine->handleNextRawRecord({at(0), QVariant(0.0)});
    EXPECT_FALSE(engine->prevInInterval);
    engine->handleNextRawRecord({at(12), QVariant(12.0)});
    EXPECT_TRUE(engine->prevInInterval);
}

TEST(Chain, ResultsOfAnEarlierPassAreNotEndedByItsRange)
{
    // A fixed grid of prev values runs on to the record after the range; only the last pass ends it.
    EngineRequest chain = request("", 10, 20, samples({{0, 1.0}, {10, 2.0}, {20, 3.0}, {55, 4.0}}));
    chain.param.interval = 0;
    chain.passes = {param("next align fill")};
    EXPECT_THAT(resultsOf(chain), ElementsAre("10:2", "20:3"));
}

TEST(Chain, OfManyPassesIsTornDownWithoutDeepRecursion)
{
    EngineRequest chain = request("prev", 0, 10, everyTenSeconds());
    chain.passes.resize(100'000, param("prev"));
    auto engine = std::make_unique<EngineUnderTest>(chain);
    EXPECT_TRUE((*engine)->nextPass);
    engine.reset();
    EXPECT_FALSE(engine);
}

TEST(EndOfRange, AResultBeyondItIsDroppedAndReadingGoesOn)
{
    EngineUnderTest engine(request("prev align", 10, 20, samples({{0, 1.0}, {1000, 2.0}})));
    ASSERT_TRUE(engine.settleRange());
    for (double seconds : {0.0, 10.0, 20.0, 30.0, 40.0})
        EXPECT_TRUE(engine->handleNextRawRecord({at(seconds), QVariant(seconds)}));
    engine->finalize();
    EXPECT_THAT(texts(engine.output), ElementsAre("10:0", "20:10"));
}

TEST(EndOfRange, ALabelThatIsARecordsOwnTimeMayStillLieInside)
{
    // The interval of the record at 20 ends at 30, beyond the range; its result is labelled 20.
    EngineUnderTest engine(request("prev", 10, 20, samples({{0, 1.0}, {1000, 2.0}})));
    ASSERT_TRUE(engine.settleRange());
    for (double seconds : {0.0, 10.0, 20.0, 31.0, 45.0})
        EXPECT_TRUE(engine->handleNextRawRecord({at(seconds), QVariant(seconds)}));
    EXPECT_THAT(texts(engine.output), ElementsAre("0:0", "10:10", "20:20"));
}

TEST(EndOfRange, AFillThatEndsItLeavesTheExtremeForTheNextRecord)
{
    EngineUnderTest engine(request("maxfill", 10, 20, samples({{0, 1.0}, {1000, 2.0}})));
    ASSERT_TRUE(engine.settleRange());
    for (double seconds : {0.0, 10.0, 20.0, 45.0, 65.0, 85.0})
        EXPECT_TRUE(engine->handleNextRawRecord({at(seconds), QVariant(seconds)}));
    // The fill beyond the end breaks off before 20 is forgotten, so each later record gives it again.
    EXPECT_THAT(texts(engine.output), ElementsAre("0:0", "10:10", "20:20", "20:20", "20:20"));
}

TEST(EndOfRange, ResultsOfAnEarlierPassBeyondItRepeatTheLastExtreme)
{
    EngineRequest chain =
        request("maxfill", 10, 20, samples({{0, 1.0}, {6, 2.0}, {8, 3.0}, {38, 4.0}, {99, 5.0}}));
    chain.param.interval = 2;
    chain.passes = {param("next align fill", 5)};
    EXPECT_THAT(resultsOf(chain),
                ElementsAre("10:4", "12:4", "15:4", "17:4", "19:4", "20:4", "20:4", "20:4"));
}

TEST(EndOfRange, AFillThatPassesAFilterEndsItLikeOneWithoutAFilter)
{
    for (const char* method : {"maxfill", "maxfillnull"}) {
        EngineRequest filtered = request(method, 10, 20, samples({{0, 1.0}, {1000, 2.0}}));
        filtered.param.filterParams.resize(1);
        EngineUnderTest engine(filtered);
        ASSERT_TRUE(engine.settleRange());
        for (double seconds : {0.0, 10.0, 20.0, 45.0, 65.0, 85.0})
            EXPECT_TRUE(engine->handleNextRawRecord({at(seconds), QVariant(seconds)}));
        EXPECT_THAT(texts(engine.output), ElementsAre("0:0", "10:10", "20:20", "20:20", "20:20")) << method;
    }
}

TEST(EndOfRange, DoesNotComeTooEarlyForALastPassBeforeTheEpoch)
{
    // Until its first record the last pass remembers timestamp 0, which lies after every range of the past.
    EngineRequest early;
    early.param = param("prev", 10);
    early.passes = {param("prevlinearfill", 10)};
    early.start = -130'000;
    early.end = -100'000;
    early.series = {{-150'000, QVariant(0.0)}, {-145'000, QVariant(5.0)}, {-50'000, QVariant(100.0)}};
    const Records results = serve(early).output;
    ASSERT_EQ(results.size(), 5U);
    const std::pair<qint64, double> expected[] = {
        {-130'000, 0.0}, {-130'000, 20.0}, {-120'000, 30.0}, {-110'000, 40.0}, {-100'000, 50.0}};
    for (size_t i = 0; i < 5; ++i) {
        EXPECT_EQ(results[i].timestamp, expected[i].first) << i;
        EXPECT_DOUBLE_EQ(results[i].value.toDouble(), expected[i].second) << i;
    }
}

TEST(EndOfRange, APushBeyondTheLastResultThrowsEndReached)
{
    EngineUnderTest engine(request("prev", 10, 20, everyTenSeconds()));
    ASSERT_TRUE(engine.settleRange());
    EXPECT_NO_THROW(engine->pushIntervalValue(at(20), 1.0, false));
    try {
        engine->pushIntervalValue(at(20) + 1, 1.0, true);
        FAIL() << "nothing was thrown";
    } catch (const std::out_of_range& exception) {
        EXPECT_STREQ(exception.what(), "End reached");
    }
}

TEST(EndOfRange, TheSecondResultOfAPairMayLieOneMillisecondBeyond)
{
    EngineRequest pairs = request("prevnext align", 10, 20, everyTenSeconds());
    EXPECT_THAT(resultsOf(pairs), ElementsAre("10:0", "10.001:1", "20:1", "20.001:2"));
}

TEST(Finalize, ClosesTheLastIntervalOfNonLinearMethodsOnly)
{
    const Records series = samples({{0, 1.0}, {5, 3.0}});
    EXPECT_THAT(resultsOf(request("meana", 10, 10, series)), ElementsAre("10:2"));
    EXPECT_THAT(resultsOf(request("prev align", 10, 10, series)), ElementsAre("10:3"));
    EXPECT_THAT(resultsOf(request("prevlinear", 10, 10, series)), IsEmpty());
}

TEST(Finalize, FillsUpToTheRangeEnd)
{
    EXPECT_THAT(resultsOf(request("prev align fill", 10, 40, samples({{0, 1.0}, {5, 3.0}}))),
                ElementsAre("10:3", "20:3", "30:3", "40:3"));
}

TEST(Finalize, DoesNotRunTheDifference)
{
    EngineUnderTest engine(request("diffsum align", 10, 20, samples({{0, 1.0}, {100, 2.0}})));
    ASSERT_TRUE(engine.settleRange());
    engine->handleNextRawRecord({at(1), QVariant(5.0)});
    engine->handleNextRawRecord({at(2), QVariant(7.0)});
    const size_t historySize = engine->diffHistory.size();
    engine->finalize();
    EXPECT_EQ(engine->diffHistory.size(), historySize);
    EXPECT_THAT(texts(engine.output), ElementsAre("10:2"));
}

TEST(ShiftForward, LabelsResultsWithTheStartOfTheirInterval)
{
    EngineRequest shifted = request("meana", 0, 20, everyTenSeconds());
    shifted.shiftIntervalForward = true;
    EXPECT_THAT(resultsOf(shifted), ElementsAre("0:0", "10:1", "20:2"));
}

TEST(ShiftForward, MovesNullResultsToo)
{
    EngineRequest shifted = request("count fillnull", 0, 20, samples({{0, 1.0}, {100, 1.0}}));
    shifted.shiftIntervalForward = true;
    EXPECT_THAT(resultsOf(shifted), ElementsAre("0:1", "10:null", "20:null"));
}

TEST(CountOnly, CountsResultsInTheFirstRecord)
{
    EngineRequest counting = request("prev align", 10, 100, everyTenSeconds());
    counting.fastCountOnly = true;
    const EngineOutcome outcome = serve(counting);
    ASSERT_EQ(outcome.output.size(), 1U);
    EXPECT_EQ(outcome.output[0].timestamp, -1);
    EXPECT_EQ(outcome.output[0].value, QVariant(qint64(10)));
    EXPECT_EQ(outcome.output[0].value.typeId(), QMetaType::LongLong);
}

TEST(CountOnly, CountsBeforeTheEndAndTheNullAreLookedAt)
{
    EngineRequest counting = request("count fillnull", 10, 20, samples({{0, 1.0}, {500, 1.0}}));
    counting.param.filterParams.resize(1); // so that the count is not settled from the range
    counting.fastCountOnly = true;
    EngineUnderTest engine(counting);
    ASSERT_TRUE(engine.settleRange());
    engine->handleNextRawRecord({at(5), QVariant(1.0)});
    engine->handleNextRawRecord({at(50), QVariant(1.0)});
    EXPECT_EQ(engine.output[0].value.toLongLong(), 5);
}

TEST(CountOnly, RawCountsRecordsInsideTheRangeWithoutALimit)
{
    EngineRequest counting = rawRequest(20, 50);
    counting.fastCountOnly = true;
    counting.limit = 1;
    const EngineOutcome outcome = serve(counting);
    ASSERT_EQ(outcome.output.size(), 1U);
    EXPECT_EQ(outcome.output[0].value, QVariant(qint64(4)));
    EXPECT_EQ(outcome.limit, 0);
}

TEST(CountOnly, RawWithoutACounterIsLoggedAndEndsTheRead)
{
    LogCapture log;
    EngineRequest counting = rawRequest(20, 50);
    counting.fastCountOnly = true;
    EngineUnderTest engine(counting);
    ASSERT_TRUE(engine.settleRange());
    engine.output.clear();
    EXPECT_FALSE(engine->handleNextRawRecord({at(30), QVariant(1.0)}));
    EXPECT_THAT(log.texts(), ElementsAre("4 Interpolate exception 'vector::_M_range_check: __n (which is 0) "
                                         ">= this->size() (which is 0)'"));
    EXPECT_EQ(log.lines.at(0).source, QStringLiteral("src/Interpolate"));
}

TEST(CountOnly, AChainCountsTheResultsOfItsLastPass)
{
    EngineRequest counting = request("meana", 40, 80, everyTenSeconds());
    counting.param.interval = 40;
    counting.passes = {param("prev align", 20)};
    counting.fastCountOnly = true;
    EXPECT_EQ(serve(counting).output[0].value.toLongLong(), 1);
}

TEST(CountOnly, ARawFirstPassCountsItsOwnRecords)
{
    EngineRequest counting = request("meana", 0, 80, everyTenSeconds());
    counting.param.interval = 40;
    counting.passes = {param("", 0)};
    counting.fastCountOnly = true;
    EXPECT_EQ(serve(counting).output[0].value.toLongLong(), 9);
}

TEST(CountOnly, TheFirstPassSettlesAFastCountLast)
{
    EngineRequest counting = request("meanafill", 0, 80, everyTenSeconds());
    counting.param.interval = 40;
    counting.passes = {param("prevfill", 20)};
    counting.fastCountOnly = true;
    EngineUnderTest engine(counting);
    ASSERT_TRUE(engine.settleRange());
    EXPECT_EQ(engine.output[0].timestamp, 0);
    EXPECT_EQ(engine.output[0].value.toLongLong(), 5);
}

TEST(ForeignExceptions, ThrownInFinalizeAreLogged)
{
    LogCapture log;
    EngineRequest counting = request("prev", 10, 20, everyTenSeconds());
    counting.fastCountOnly = true;
    EngineUnderTest engine(counting);
    ASSERT_TRUE(engine.settleRange());
    engine->handleNextRawRecord({at(5), QVariant(1.0)});
    engine.output.clear();
    engine->finalize();
    EXPECT_THAT(log.texts(), ElementsAre("4 Interpolate finalize exception 'vector::_M_range_check: __n "
                                         "(which is 0) >= this->size() (which is 0)'"));
}

} // namespace
