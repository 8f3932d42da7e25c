// Empty stretches cost no time: a series with a gap of thousands of years gives the results of the same
// series with a short gap, moved, and the boundaries visited one by one stay few.

#include "EngineDriver.h"
#include "internal/CivilTime.h"
#include "support/SeamsForTest.h"

#include <gtest/gtest.h>

using namespace Kiv;
using namespace Kiv::Testing;

namespace
{

using DataRecord = Interpolate::DataRecord;

constexpr qint64 kDayMs = 86'400'000;
constexpr qint64 kStart = 19'754 * kDayMs;       // 2024-02-01
constexpr qint64 k400YearsMs = 146'097 * kDayMs; // after 400 years the calendar repeats, weekdays included
constexpr qint64 kFarMs = 18 * k400YearsMs;
constexpr qint64 kMaxSteppedCount = 2000;

/// Two clusters of records with a gap between them.
EngineCase caseWithGap(const QString& method, qint64 interval, qint64 gapMs)
{
    Dice dice(static_cast<quint64>(interval) + 77);
    EngineCase result;
    result.param.method = method;
    result.param.interval = interval;
    const qint64 stepMs = interval > 0 ? interval * 400 : (interval < -3 ? 100 : 10) * kDayMs;
    for (qint64 i = 0; i < 20; ++i)
        result.series.push_back(
            {kStart + i * stepMs, QVariant(10.0 * static_cast<double>(i) + dice.real(-6.0, 6.0))});
    for (qint64 i = 0; i < 20; ++i)
        result.series.push_back({kStart + gapMs + i * stepMs,
                                 QVariant(200.0 + 10.0 * static_cast<double>(i) + dice.real(-6.0, 6.0))});
    result.start = result.series.front().timestamp;
    result.end = result.series.back().timestamp;
    return result;
}

std::vector<DataRecord> resultsOf(const EngineCase& engineCase)
{
    const LogCapture silence; // the geometric mean of a negative value is logged
    EngineTrace trace;
    int limit = 0;
    Interpolate engine(engineCase.param, engineCase.passes, engineCase.start, engineCase.end,
                       engineCase.series.front().timestamp, engineCase.series.back().timestamp, &trace.output,
                       engineCase.targetType, engineCase.shiftIntervalForward, limit,
                       engineCase.fastCountOnly);
    driveEngine(engine, engineCase, trace.output, trace);
    return trace.output;
}

void expectMovedResults(const std::vector<DataRecord>& nearResults, const std::vector<DataRecord>& farResults,
                        qint64 boundaryMs, qint64 movedMs)
{
    ASSERT_EQ(nearResults.size(), farResults.size());
    for (size_t i = 0; i < nearResults.size(); ++i) {
        const qint64 timestamp = nearResults[i].timestamp;
        EXPECT_EQ(farResults[i].timestamp, timestamp > boundaryMs ? timestamp + movedMs : timestamp);
        EXPECT_TRUE(sameValue(nearResults[i].value, farResults[i].value)) << describe(farResults[i]);
    }
}

std::vector<DataRecord> resultsWithFewSteps(const EngineCase& engineCase)
{
    const qint64 before = Internal::steppedIntervalCount();
    std::vector<DataRecord> results = resultsOf(engineCase);
    EXPECT_LT(Internal::steppedIntervalCount() - before, kMaxSteppedCount);
    return results;
}

class LongJumps : public ::testing::TestWithParam<const char*>
{
protected:
    QString method() const { return QString::fromLatin1(GetParam()); }
};

std::string methodName(const ::testing::TestParamInfo<const char*>& info)
{
    return info.param;
}

TEST_P(LongJumps, GiveTheResultsOfAShortGapMovedInTime)
{
    for (qint64 interval : {1, 60, 86'400, -1, -2, -3, -4, -5, -6}) {
        SCOPED_TRACE(interval);
        const qint64 nearGapMs = 30 * 365 * kDayMs / (interval > 0 && interval < 3600 ? 3600 : 1);
        const EngineCase nearCase = caseWithGap(method(), interval, nearGapMs);
        const EngineCase farCase = caseWithGap(method(), interval, nearGapMs + kFarMs);
        const std::vector<DataRecord> nearResults = resultsOf(nearCase);
        const std::vector<DataRecord> farResults = resultsWithFewSteps(farCase);

        EXPECT_GT(nearResults.size(), 4U);
        // Results that close the first cluster carry its time; the next ones belong to the second.
        const qint64 boundaryMs = (nearCase.series[19].timestamp + nearCase.series[20].timestamp) / 2;
        expectMovedResults(nearResults, farResults, boundaryMs, kFarMs);
    }
}

INSTANTIATE_TEST_SUITE_P(Methods, LongJumps,
                         ::testing::Values("prev", "prevalign", "next", "nextalign", "prevnext",
                                           "prevnextalign", "min", "max", "maxalign", "minmax",
                                           "minmaxaverage", "sum", "sumalign", "meana", "meang", "meanh",
                                           "means", "median", "mode", "count", "diffsum",
                                           "diffctrupcleanedmax"),
                         methodName);

class LongLinearJumps : public LongJumps
{
};

TEST_P(LongLinearJumps, EmitAsManyResultsAsAShortGap)
{
    for (qint64 interval : {1, 60, 86'400, -1, -3, -6}) {
        SCOPED_TRACE(interval);
        const qint64 nearGapMs = 400 * 365 * kDayMs / (interval > 0 && interval < 3600 ? 3600 : 1);
        const std::vector<DataRecord> nearResults = resultsOf(caseWithGap(method(), interval, nearGapMs));
        const std::vector<DataRecord> farResults =
            resultsWithFewSteps(caseWithGap(method(), interval, nearGapMs + kFarMs));
        ASSERT_GT(nearResults.size(), 2U);
        EXPECT_EQ(nearResults.size(), farResults.size());
        EXPECT_EQ(nearResults.back().timestamp + kFarMs, farResults.back().timestamp);
    }
}

INSTANTIATE_TEST_SUITE_P(Methods, LongLinearJumps,
                         ::testing::Values("prevlinear", "nextlinear", "prevnextlinear", "sumlinear"),
                         methodName);

TEST(LongRangeStart, IsRaisedToTheFirstRecordWithoutVisitingEveryBoundary)
{
    for (qint64 interval : {1, 60, 86'400, -1, -2, -3, -4, -5, -6, -7}) {
        SCOPED_TRACE(interval);
        EngineCase nearCase = caseWithGap(QStringLiteral("prevfill"), interval, 0);
        nearCase.start = kStart - k400YearsMs;
        EngineCase farCase = nearCase;
        farCase.start = kStart - 4 * k400YearsMs;
        const std::vector<DataRecord> nearResults = resultsOf(nearCase);
        EXPECT_GT(nearResults.size(), 0U);
        expectMovedResults(nearResults, resultsWithFewSteps(farCase), kStart, 0);
    }
}

TEST(StepPast, FindsTheBoundariesThatSingleStepsFind)
{
    Dice dice(4711);
    for (int i = 0; i < 4000; ++i) {
        const qint64 interval = dice.chance(20) ? dice.between(1, 400 * kDayMs) : dice.between(-7, -1);
        const qint64 startMs = kStart + dice.between(-40'000, 40'000) * kDayMs + dice.between(0, kDayMs);
        const qint64 stepCount = dice.between(0, dice.chance(20) ? 3000 : 40);
        SCOPED_TRACE(::testing::Message() << interval << " from " << startMs << ", steps " << stepCount);

        qint64 boundaryMs = startMs;
        for (qint64 step = 0; step < stepCount; ++step)
            boundaryMs = Internal::addInterval(boundaryMs, interval);
        const qint64 nextMs = Internal::addInterval(boundaryMs, interval);
        const qint64 limitMs = dice.chance(30) ? boundaryMs : dice.between(boundaryMs, nextMs - 1);

        const qint64 before = Internal::steppedIntervalCount();
        const Internal::IntervalStep found = Internal::stepPast(startMs, interval, limitMs);
        EXPECT_EQ(found.lastMs, boundaryMs);
        EXPECT_EQ(found.nextMs, nextMs);
        EXPECT_LT(Internal::steppedIntervalCount() - before, 50);
    }
}

} // namespace
