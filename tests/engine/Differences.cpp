// The differences that rewrite records before a method sees them.

#include "EngineForTest.h"
#include "support/SeamsForTest.h"

#include <gmock/gmock.h>

#include <limits>

using namespace Kiv;
using namespace Kiv::Testing;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace
{

/// The records that a difference leaves of readings at 0, 1, 2 ... seconds.
class DifferenceUnderTest
{
public:
    explicit DifferenceUnderTest(const char* word) : m_engine(rawRequest(word)) { m_engine.settleRange(); }

    void read(const QVariant& reading)
    {
        m_engine->handleNextRawRecord({at(m_seconds), reading});
        m_seconds += 1.0;
    }

    void readAll(const std::vector<QVariant>& readings)
    {
        for (const QVariant& reading : readings)
            read(reading);
    }

    Texts kept() const { return texts(m_engine.output); }
    Interpolate& engine() { return *m_engine; }

private:
    static EngineRequest rawRequest(const char* word)
    {
        EngineRequest result = request(word, 0, 1000, samples({{0, 0.0}, {1000, 0.0}}));
        result.param.interval = 0;
        return result;
    }

    EngineUnderTest m_engine;
    double m_seconds = 0.0;
};

Texts kept(const char* word, const std::vector<QVariant>& readings)
{
    DifferenceUnderTest difference(word);
    difference.readAll(readings);
    return difference.kept();
}

TEST(Diff, GivesTheIncreaseSinceTheReadingBefore)
{
    EXPECT_THAT(kept("diff", {10.0, 15.0, 12.0}), ElementsAre("1:5", "2:-3"));
}

TEST(Diff, ResultsAreDoubles)
{
    DifferenceUnderTest difference("diff");
    difference.readAll({10, 15});
    EXPECT_THAT(difference.kept(), ElementsAre("1:5"));
}

TEST(Diff, ANullReadingCountsAsZeroAndTheNextOneIsDropped)
{
    EXPECT_THAT(kept("diff", {10.0, QVariant(), 12.0, 15.0}), ElementsAre("1:-10", "3:3"));
}

TEST(Diff, TextIsReadAsItsNumberOrZero)
{
    EXPECT_THAT(kept("diff", {QStringLiteral("4"), 6.0, QStringLiteral("x"), 1.0}),
                ElementsAre("1:2", "2:-6", "3:1"));
}

TEST(Diff, KeepsTenReadingsAtMost)
{
    DifferenceUnderTest difference("diff");
    for (int i = 0; i < 30; ++i) {
        difference.read(static_cast<double>(i));
        EXPECT_LE(difference.engine().diffHistory.size(), 10U);
    }
    EXPECT_EQ(difference.engine().diffHistory.size(), 10U);
    EXPECT_EQ(difference.engine().diffHistory.back().toDouble(), 29.0);
}

TEST(Diff, FeedsAMethod)
{
    EngineRequest sums = request("diffsum align", 10, 20,
                                 samples({{-5, 100.0}, {2, 110.0}, {8, 125.0}, {12, 120.0}, {50, 0.0}}));
    EXPECT_THAT(resultsOf(sums), ElementsAre("10:25", "20:-5"));
}

TEST(Diff, ADroppedRecordIsConsumed)
{
    DifferenceUnderTest difference("diff");
    EXPECT_TRUE(difference.engine().handleNextRawRecord({at(0), QVariant(1.0)}));
    EXPECT_THAT(difference.kept(), IsEmpty());
}

TEST(CounterCleaned, GivesIncreasesAndZeros)
{
    EXPECT_THAT(kept("diffctrupcleaned", {10.0, 15.0, 15.0, 20.0}), ElementsAre("1:5", "2:0", "3:5"));
}

TEST(CounterCleaned, AfterAResetToZeroTheFirstOtherReadingIsTheNewBase)
{
    EXPECT_THAT(kept("diffctrupcleaned", {10.0, 0.0, 0.0, 0.0, 7.0, 9.0}), ElementsAre("5:2"));
}

TEST(CounterCleaned, AWrapIsDroppedAndItsRestBecomesTheBase)
{
    DifferenceUnderTest difference("diffctrupcleaned");
    difference.readAll({999'990.0, 5.0});
    EXPECT_EQ(difference.engine().diffHistory.back(), QVariant(10.0));
    difference.read(25.0);
    EXPECT_THAT(difference.kept(), ElementsAre("2:15"));
}

TEST(CounterCleaned, AWrapNeedsBothReadingsNearTheLimit)
{
    // The tolerance at 1,000,000 is 2,000, exclusive on both sides.
    EXPECT_THAT(kept("diffctrupcleaned", {998'000.0, 5.0, 998'001.0}), ElementsAre("2:1"));
    EXPECT_THAT(kept("diffctrupcleaned", {998'001.0, 1'999.0, 2'000.0}), ElementsAre("2:1"));
    EXPECT_THAT(kept("diffctrupcleaned", {998'001.0, 2'000.0, 998'003.0}), ElementsAre("2:2"));
}

TEST(CounterCleaned, EveryCounterRangeWraps)
{
    for (double limit : {1e6, 1e7, 1e8, 1e9, 2'147'483'647.0, 4'294'967'295.0, 9'223'372'036'854'775'808.0,
                         18'446'744'073'709'551'616.0}) {
        DifferenceUnderTest difference("diffctrupcleaned");
        const double last = limit - limit / 1024.0;
        difference.readAll({last, 5.0});
        EXPECT_EQ(difference.engine().diffHistory.back().toDouble(), limit - last) << limit;
    }
}

TEST(CounterCleaned, OnlyTheFirstRangeAboveTheLastReadingIsTried)
{
    // 1,000,000 itself is not below the first limit, so it is measured against 10,000,000.
    EXPECT_THAT(kept("diffctrupcleaned", {1'000'000.0, 5.0, 1'000'001.0}), ElementsAre("2:1"));
    EXPECT_THAT(kept("diffctrupcleaned", {2e19, 5.0, 3e19}), ElementsAre("2:1e+19"));
}

TEST(CounterCleaned, AWrapToExactlyZeroIsAWrapNotAReset)
{
    EXPECT_THAT(kept("diffctrupcleaned", {999'999.0, 0.0, 7.0}), ElementsAre("2:6"));
}

TEST(CounterCleaned, AResetToAnotherValueKeepsTheOldBase)
{
    DifferenceUnderTest difference("diffctrupcleaned");
    difference.readAll({100.0, 40.0, 60.0, 110.0});
    EXPECT_THAT(difference.kept(), ElementsAre("3:10"));
    EXPECT_FALSE(difference.engine().ctrWaitNonZero);
}

TEST(CounterCleaned, JitterIsDroppedAndChangesNothing)
{
    // The last five readings rise by 8,000; a fifth of that is 1,600, a thousandth of it 1.6.
    const std::vector<QVariant> rise{-8000.0, -6000.0, -4000.0, -2000.0, 0.0};
    DifferenceUnderTest jitter("diffctrupcleaned");
    jitter.readAll(rise);
    jitter.read(-1.5);
    EXPECT_EQ(jitter.engine().diffHistory.size(), 5U);
    jitter.read(3.0);
    EXPECT_EQ(jitter.kept().back(), "6:3");
}

TEST(CounterCleaned, JitterIsMeasuredAgainstAFifthNotAQuarterOfTheRise)
{
    // Down to zero: as jitter it changes nothing, otherwise it is a reset that waits for another reading.
    const auto waits = [](double last) {
        DifferenceUnderTest difference("diffctrupcleaned");
        difference.readAll({last - 8000.0, last - 6000.0, last - 4000.0, last - 2000.0, last, 0.0});
        return difference.engine().ctrWaitNonZero;
    };
    EXPECT_FALSE(waits(1.5));
    EXPECT_TRUE(waits(1.7));
    EXPECT_TRUE(waits(2.1));
}

TEST(CounterCleaned, JitterNeedsFiveReadings)
{
    DifferenceUnderTest difference("diffctrupcleaned");
    difference.readAll({-6000.0, -4000.0, -2000.0, 1.0, 0.0});
    EXPECT_TRUE(difference.engine().ctrWaitNonZero);
}

TEST(CounterCleaned, AReadingAfterANullIsANewBase)
{
    DifferenceUnderTest difference("diffctrupcleaned");
    difference.readAll({QVariant(), 5.0, 8.0});
    EXPECT_THAT(difference.kept(), ElementsAre("2:3"));
}

TEST(CounterCleaned, ReadingsThatAreNoNumberResetTheCounter)
{
    EXPECT_THAT(kept("diffctrupcleaned", {10.0, QStringLiteral("x"), 4.0, 6.0}), ElementsAre("3:2"));
}

TEST(CounterCleaned, ANaNIsDroppedAndLeavesTheBase)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_THAT(kept("diffctrupcleaned", {10.0, nan, 14.0}), ElementsAre("2:4"));
}

TEST(CounterCleaned, SkippingRemembersOneRecordOnly)
{
    DifferenceUnderTest difference("diffctrupcleaned");
    difference.readAll({10.0, 12.0});
    difference.engine().ctrSkipNext = true;
    difference.readAll({100.0, 103.0});
    EXPECT_FALSE(difference.engine().ctrSkipNext);
    EXPECT_THAT(difference.kept(), ElementsAre("1:2", "3:3"));
}

TEST(CounterCleaned, NegativeResultsBecomeZero)
{
    EngineRequest sums = request("diffctrupcleanedprevlinear", 10, 20, samples({{0, 0.0}, {100, 0.0}}));
    EngineUnderTest cleaned(sums);
    ASSERT_TRUE(cleaned.settleRange());
    cleaned->pushIntervalValue(at(10), -3.0, false);
    sums.param.method = QStringLiteral("diffprevlinear");
    EngineUnderTest plain(sums);
    ASSERT_TRUE(plain.settleRange());
    plain->pushIntervalValue(at(10), -3.0, false);
    EXPECT_THAT(texts(cleaned.output), ElementsAre("10:0"));
    EXPECT_THAT(texts(plain.output), ElementsAre("10:-3"));
}

TEST(CounterCleaned, FiltersSeeTheResultBeforeItBecomesZero)
{
    EngineRequest sums = request("diffctrupcleanedsum", 10, 20, samples({{0, 0.0}, {100, 0.0}}));
    sums.param.filterParams.resize(1);
    sums.param.filterParams[0].valueCompare = QStringLiteral("gte");
    EngineUnderTest engine(sums);
    ASSERT_TRUE(engine.settleRange());
    engine->pushIntervalValue(at(10), -3.0, false);
    EXPECT_THAT(engine.output, IsEmpty());
}

TEST(Differences, SpanAllIntervalsOfARead)
{
    EngineRequest counter = request("diffctrupcleanedsum align", 10, 30,
                                    samples({{0, 5.0}, {8, 7.0}, {12, 10.0}, {28, 14.0}, {50, 20.0}}));
    EXPECT_THAT(resultsOf(counter), ElementsAre("10:2", "20:3", "30:4"));
}

} // namespace
