// Samples in columns against the same samples one by one: whatever the request, results, log lines and the state
// in between are the same. The loop over records is the definition, the loops over columns are the shortcut.

#include "EngineCases.h"
#include "EngineDriver.h"

#include "support/SeamsForTest.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace Kiv;
using namespace Kiv::Testing;

namespace
{

constexpr quint64 kFirstSeed = 5'000'000'000;
constexpr quint64 kCaseCount = 10'000;

/// Requests whose stretches of empty intervals are too long to be walked twice.
constexpr qint64 kMaxIntervals = 20'000;

enum class Way { OneByOne, InColumns };

/// The samples that a read hands over, up to the first one that is not wanted any more.
std::vector<Interpolate::DataRecord> samplesOf(const EngineCase& engineCase, qint64 from, qint64 to)
{
    std::vector<Interpolate::DataRecord> samples;
    for (const Interpolate::DataRecord& record : engineCase.series) {
        if (engineCase.feedsWholeSeries || (record.timestamp >= from && record.timestamp <= to))
            samples.emplace_back(record.timestamp, QVariant(record.value.toDouble()));
    }
    return samples;
}

bool feedOneByOne(Interpolate& engine, const std::vector<Interpolate::DataRecord>& samples)
{
    return std::all_of(samples.begin(), samples.end(), [&engine](const Interpolate::DataRecord& sample) {
        return engine.handleNextRawRecord(sample);
    });
}

bool feedInColumns(Interpolate& engine, const std::vector<Interpolate::DataRecord>& samples, quint64 seed)
{
    std::vector<qint64> timestamps;
    std::vector<double> values;
    for (const Interpolate::DataRecord& sample : samples) {
        timestamps.push_back(sample.timestamp);
        values.push_back(sample.value.toDouble());
    }
    Dice dice(seed);
    for (std::size_t begin = 0; begin < samples.size();) {
        const std::size_t count =
            std::min(samples.size() - begin, static_cast<std::size_t>(dice.between(1, 40)));
        const auto first = timestamps.begin() + static_cast<std::ptrdiff_t>(begin);
        const auto [least, greatest] = std::minmax_element(first, first + static_cast<std::ptrdiff_t>(count));
        const bool goesOn =
            dice.chance(50)
                ? engine.handleNextSamples(timestamps.data() + begin, values.data() + begin, count,
                                           {*least, *greatest})
                : engine.handleNextSamples(timestamps.data() + begin, values.data() + begin, count);
        if (!goesOn)
            return false;
        begin += count;
    }
    return true;
}

EngineTrace run(const EngineCase& engineCase, Way way, bool& isComparable)
{
    EngineTrace trace;
    SeamsForTest clock;
    clock.nowUs = engineCase.nowMs * 1000;
    LogCapture log;
    trace.output = engineCase.outputBefore;
    int limit = engineCase.limit;
    Interpolate engine(engineCase.param, engineCase.passes, engineCase.start, engineCase.end,
                       engineCase.series.front().timestamp, engineCase.series.back().timestamp, &trace.output,
                       engineCase.targetType, engineCase.shiftIntervalForward, limit,
                       engineCase.fastCountOnly);
    qint64 from = engineCase.start;
    qint64 to = engineCase.end;
    isComparable = engine.takesSamples() && engine.getRange(from, to);
    for (const Interpolate* pass = &engine; pass != nullptr; pass = pass->nextPass.get()) {
        const qint64 intervalMs = pass->intervalMs > 0 ? pass->intervalMs : 86'400'000;
        isComparable = isComparable && (pass->rangeEnd - pass->rangeStart) / intervalMs < kMaxIntervals;
    }
    if (!isComparable)
        return trace;
    feedPreviousRecords(engine, engineCase, from, trace);
    const std::vector<Interpolate::DataRecord> samples = samplesOf(engineCase, from, to);
    trace.note("goes on", way == Way::OneByOne ? feedOneByOne(engine, samples)
                                               : feedInColumns(engine, samples, engineCase.seed));
    noteProgress(engine, trace);
    engine.finalize();
    noteProgress(engine, trace);
    trace.note("limit", limit);
    for (const LogLine& line : log.lines)
        trace.logLines.push_back(line.text);
    return trace;
}

TEST(SamplesInColumns, GiveWhatTheSameSamplesGiveOneByOne)
{
    quint64 comparedCount = 0;
    for (quint64 seed = kFirstSeed; seed < kFirstSeed + kCaseCount; ++seed) {
        const EngineCase engineCase = makeEngineCase(seed);
        bool isComparable = false;
        const EngineTrace expected = run(engineCase, Way::OneByOne, isComparable);
        if (!isComparable)
            continue;
        ++comparedCount;
        const EngineTrace actual = run(engineCase, Way::InColumns, isComparable);
        ASSERT_EQ(difference(expected, actual, true), "") << describe(engineCase);
    }
    EXPECT_GT(comparedCount, kCaseCount / 4);
}

/// A million values in one interval, twice: the run that would go over the limit is taken one by one.
TEST(SamplesInColumns, EndAtTheLimitOfAMedianLikeSingleOnes)
{
    constexpr std::size_t kCount = 1'000'010;
    std::vector<qint64> timestamps(kCount, 5000);
    std::vector<double> values(kCount, 1.5);
    for (const char* method : {"median", "mode"}) {
        std::vector<Interpolate::DataRecord> output;
        int limit = 0;
        Interpolate engine({QString::fromLatin1(method), 3600, {}, false, 0}, {}, 0, 7'200'000, 5000, 5000,
                           &output, QMetaType::Double, false, limit, false);
        qint64 from = 0;
        qint64 to = 7'200'000;
        ASSERT_TRUE(engine.getRange(from, to));
        const bool goesOn = engine.handleNextSamples(timestamps.data(), values.data(), kCount);
        EXPECT_EQ(goesOn, engine.method == Interpolate::MODE) << method;
        EXPECT_EQ(engine.medianValues.size(), 0U) << method;
    }
}

/// A sample before the range makes the next one only remembered, also in the midst of a run.
TEST(SamplesInColumns, OfALinearReadBeforeItsRangeAreOnlyRemembered)
{
    const std::vector<qint64> timestamps = {-150'000, -145'000, -105'000};
    const std::vector<double> values = {1.0, 2.0, 4.0};
    double sums[2] = {};
    for (const Way way : {Way::OneByOne, Way::InColumns}) {
        std::vector<Interpolate::DataRecord> output;
        int limit = 0;
        Interpolate engine({QStringLiteral("sumlinear"), 10, {}, false, 0}, {}, -100'000, -50'000, -200'000,
                           0, &output, QMetaType::Double, false, limit, false);
        qint64 from = 0;
        qint64 to = 0;
        ASSERT_TRUE(engine.getRange(from, to));
        if (way == Way::InColumns)
            engine.handleNextSamples(timestamps.data(), values.data(), timestamps.size());
        for (std::size_t i = 0; way == Way::OneByOne && i < timestamps.size(); ++i)
            engine.handleNextRawRecord({timestamps[i], QVariant(values[i])});
        sums[static_cast<int>(way)] = engine.aggSum;
    }
    EXPECT_EQ(sums[0], 1.0);
    EXPECT_EQ(sums[1], sums[0]);
}

} // namespace
