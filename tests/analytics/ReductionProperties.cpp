// Holds every method against a literal model: time is counted millisecond by millisecond, samples are looked up in a
// list. The model shares nothing with the reducer.

#include "ReductionForTest.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <optional>
#include <random>

namespace Kiv::Analytics
{
namespace
{

struct Case {
    TestSamples samples;
    std::vector<Interval> intervals;
    qint64 maxGapMs = 0;
};

using Answer = std::optional<double>;

/// Of one interval of a case.
class Model
{
public:
    Model(const Case& tested, const Interval& interval) : m_case(tested), m_interval(interval)
    {
        for (const auto& [timestampMs, value] : m_case.samples) {
            if (interval.startMs <= timestampMs && timestampMs < interval.endMs && !value.isNull())
                m_numbers.push_back(value.toDouble());
        }
    }

    Answer answer(const std::string& method) const
    {
        if (method == "twa" || method == "integral")
            return overTime(method == "twa", [](const Way& way, qint64) { return way.from; });
        if (method == "twa-linear" || method == "integral-linear")
            return overTime(method == "twa-linear", &valueAmid);
        if (method == "in-state:2")
            return overTime(false,
                            [](const Way& way, qint64) { return Answer(*way.from == 2.0 ? 1.0 : 0.0); });
        if (method == "transitions")
            return transitions();
        return m_numbers.empty() ? std::nullopt : ofNumbers(method);
    }

private:
    /// From the last sample at or before a millisecond to the first one behind it.
    struct Way {
        qint64 fromMs;
        qint64 toMs;
        Answer from;
        Answer to;
    };

    static Answer numberOf(const Value& value) { return value.isNull() ? Answer() : value.toDouble(); }

    std::optional<Way> wayAt(qint64 timeMs) const
    {
        for (std::size_t i = 0; i + 1 < m_case.samples.size(); ++i) {
            const auto& [fromMs, from] = m_case.samples[i];
            const auto& [toMs, to] = m_case.samples[i + 1];
            if (timeMs < fromMs || timeMs >= toMs)
                continue;
            if (from.isNull() || (m_case.maxGapMs > 0 && toMs - fromMs > m_case.maxGapMs))
                return std::nullopt;
            return Way{fromMs, toMs, numberOf(from), numberOf(to)};
        }
        return std::nullopt;
    }

    /// Half a millisecond on, where the line has its mean of that millisecond.
    static Answer valueAmid(const Way& way, qint64 timeMs)
    {
        if (!way.to)
            return std::nullopt;
        const double share =
            (static_cast<double>(timeMs - way.fromMs) + 0.5) / static_cast<double>(way.toMs - way.fromMs);
        return *way.from + (*way.to - *way.from) * share;
    }

    template <typename ValueAt>
    Answer overTime(bool isMean, const ValueAt& valueAt) const
    {
        double sum = 0.0;
        int knownMs = 0;
        for (qint64 timeMs = m_interval.startMs; timeMs < m_interval.endMs; ++timeMs) {
            const std::optional<Way> way = wayAt(timeMs);
            const Answer value = way ? valueAt(*way, timeMs) : std::nullopt;
            if (value) {
                sum += *value;
                ++knownMs;
            }
        }
        if (knownMs == 0)
            return std::nullopt;
        return isMean ? sum / knownMs : sum / 1000.0;
    }

    Answer transitions() const
    {
        int changes = 0;
        bool isCompared = false;
        for (std::size_t i = 1; i < m_case.samples.size(); ++i) {
            const auto& [previousMs, previous] = m_case.samples[i - 1];
            const auto& [timestampMs, value] = m_case.samples[i];
            const bool isInside = m_interval.startMs <= timestampMs && timestampMs < m_interval.endMs;
            const bool isHole = m_case.maxGapMs > 0 && timestampMs - previousMs > m_case.maxGapMs;
            if (!isInside || isHole || previous.isNull() || value.isNull())
                continue;
            isCompared = true;
            changes += previous.toDouble() != value.toDouble() ? 1 : 0;
        }
        const bool isHeld = overTime(false, [](const Way&, qint64) { return Answer(1.0); }).has_value();
        return isHeld || isCompared ? Answer(changes) : std::nullopt;
    }

    Answer ofNumbers(const std::string& method) const
    {
        std::vector<double> sorted = m_numbers;
        std::sort(sorted.begin(), sorted.end());
        const auto count = static_cast<double>(sorted.size());
        double sum = 0.0;
        for (const double number : sorted)
            sum += number;
        double squares = 0.0;
        for (const double number : sorted)
            squares += (number - sum / count) * (number - sum / count);
        if (method == "most-frequent")
            return mostFrequent();
        if (method == "percentile:25") {
            const double rank = (count - 1) * 0.25;
            const auto below = static_cast<std::size_t>(rank);
            const std::size_t above = std::min(below + 1, sorted.size() - 1);
            return sorted[below] + (rank - std::floor(rank)) * (sorted[above] - sorted[below]);
        }
        if (method == "var" || method == "stddev") {
            if (sorted.size() < 2)
                return std::nullopt;
            return method == "var" ? squares / (count - 1) : std::sqrt(squares / (count - 1));
        }
        const std::map<std::string, double> answers = {
            {"first", m_numbers.front()},
            {"last", m_numbers.back()},
            {"delta", m_numbers.back() - m_numbers.front()},
            {"min", sorted.front()},
            {"max", sorted.back()},
            {"range", sorted.back() - sorted.front()},
            {"mean", sum / count},
            {"sum", sum},
            {"count", count},
            {"var-pop", squares / count},
            {"stddev-pop", std::sqrt(squares / count)},
        };
        return answers.at(method);
    }

    Answer mostFrequent() const
    {
        std::map<double, int> counts;
        for (const double number : m_numbers)
            ++counts[number];
        std::pair<double, int> best{0.0, 0};
        for (const auto& [number, count] : counts) {
            if (count > best.second)
                best = {number, count};
        }
        return best.first;
    }

    const Case& m_case;
    const Interval& m_interval;
    std::vector<double> m_numbers;
};

const std::vector<std::string> kMethods = {
    "twa",   "twa-linear", "integral",      "integral-linear", "in-state:2", "transitions", "first", "last",
    "delta", "range",      "stddev",        "stddev-pop",      "var",        "var-pop",     "mean",  "min",
    "max",   "sum",        "percentile:25", "most-frequent",   "count"};

class Cases
{
public:
    explicit Cases(unsigned seed) : m_random(seed) {}

    Case next()
    {
        Case made;
        qint64 timeMs = static_cast<qint64>(below(40)) - 20;
        const unsigned sampleCount = below(14);
        const bool isInteger = below(2) == 0;
        for (unsigned i = 0; i < sampleCount; ++i) {
            const double number = static_cast<double>(below(5)) + (isInteger || below(2) == 0 ? 0.0 : 0.25);
            const Value value =
                isInteger ? Value::ofSigned(static_cast<qint64>(number)) : Value::ofDouble(number);
            made.samples.emplace_back(timeMs, below(6) == 0 ? Value() : value);
            timeMs += 1 + static_cast<qint64>(below(below(4) == 0 ? 60 : 12));
        }
        qint64 boundaryMs = static_cast<qint64>(below(60)) - 30;
        for (unsigned left = 1 + below(5); left > 0; --left) {
            const qint64 endMs = boundaryMs + 1 + static_cast<qint64>(below(40));
            made.intervals.push_back({boundaryMs, endMs, endMs});
            boundaryMs = endMs + (below(4) == 0 ? static_cast<qint64>(below(20)) : 0);
        }
        made.maxGapMs = below(2) == 0 ? 0 : 1 + static_cast<qint64>(below(30));
        return made;
    }

    unsigned below(unsigned bound) { return static_cast<unsigned>(m_random() % bound); }

private:
    std::mt19937 m_random;
};

void expectSame(const Value& value, const Answer& answer)
{
    ASSERT_EQ(value.isNull(), !answer.has_value()) << value.text().toStdString();
    EXPECT_NEAR(value.toDouble(), answer.value_or(0.0), 1e-9);
}

std::string describe(const Case& tested, const std::string& method)
{
    std::string text = method + " gap " + std::to_string(tested.maxGapMs) + " samples";
    for (const auto& [timestampMs, value] : tested.samples)
        text += ' ' + std::to_string(timestampMs) + '=' + value.text().toStdString();
    for (const Interval& interval : tested.intervals)
        text += " [" + std::to_string(interval.startMs) + ',' + std::to_string(interval.endMs) + ')';
    return text;
}

TEST(Reductions, AreThoseOfALiteralModel)
{
    Cases cases(4);
    for (int i = 0; i < 1500 && !testing::Test::HasFailure(); ++i) {
        const Case tested = cases.next();
        for (const std::string& method : kMethods) {
            SCOPED_TRACE(describe(tested, method));
            const std::vector<Result> results =
                reduced(methodOf(method), tested.intervals, tested.samples, tested.maxGapMs);
            ASSERT_EQ(results.size(), tested.intervals.size());
            for (std::size_t k = 0; k < results.size(); ++k) {
                EXPECT_EQ(results[k].interval, tested.intervals[k]);
                expectSame(results[k].value, Model(tested, tested.intervals[k]).answer(method));
            }
        }
    }
}

TEST(Reductions, DoNotDependOnTheCutOfTheBlocks)
{
    Cases cases(5);
    for (int i = 0; i < 500 && !testing::Test::HasFailure(); ++i) {
        const Case tested = cases.next();
        for (const std::string& method : kMethods) {
            SCOPED_TRACE(describe(tested, method));
            std::vector<Value> values;
            IntervalList list(tested.intervals);
            Reducer reducer(methodOf(method), list, tested.maxGapMs, [&values](const Result& result) {
                values.push_back(result.value);
                return true;
            });
            TSFileColumns block;
            for (const auto& [timestampMs, value] : tested.samples) {
                block.timestamps.push_back(timestampMs);
                block.doubles.push_back(value.toDouble());
                block.isNull.push_back(value.isNull() ? 1 : 0);
                if (cases.below(3) == 0) {
                    reducer.take(block);
                    block.clear();
                }
            }
            reducer.take(block);
            reducer.finish();
            std::vector<Value> expected;
            for (const Result& result :
                 reduced(methodOf(method), tested.intervals, tested.samples, tested.maxGapMs))
                expected.push_back(result.value);
            EXPECT_EQ(values, expected);
        }
    }
}

TEST(Reductions, NeedOneSampleBeforeTheFirstIntervalAtMost)
{
    Cases cases(6);
    for (int i = 0; i < 500 && !testing::Test::HasFailure(); ++i) {
        const Case tested = cases.next();
        const auto isInside = [&tested](const TestSample& sample) {
            return sample.first >= tested.intervals.front().startMs;
        };
        auto first = std::find_if(tested.samples.begin(), tested.samples.end(), isInside);
        for (const std::string& method : kMethods) {
            SCOPED_TRACE(describe(tested, method));
            const bool takesBefore = methodOf(method).usesNeighbours() && first != tested.samples.begin();
            const TestSamples few(takesBefore ? first - 1 : first, tested.samples.end());
            std::vector<Value> values;
            for (const Result& result : reduced(methodOf(method), tested.intervals, few, tested.maxGapMs))
                values.push_back(result.value);
            std::vector<Value> expected;
            for (const Result& result :
                 reduced(methodOf(method), tested.intervals, tested.samples, tested.maxGapMs))
                expected.push_back(result.value);
            EXPECT_EQ(values, expected);
        }
    }
}

} // namespace
} // namespace Kiv::Analytics
