#pragma once

// Owns what tests of reductions share: samples as pairs, results as texts.

#include "analytics/Reducer.h"

#include <string>
#include <utility>
#include <vector>

namespace Kiv::Analytics
{

/// Timestamp in milliseconds and value.
using TestSample = std::pair<qint64, Value>;
using TestSamples = std::vector<TestSample>;

inline const Value kNull;

inline TestSamples doubles(const std::vector<std::pair<qint64, double>>& pairs)
{
    TestSamples samples;
    for (const auto& [timestampMs, number] : pairs)
        samples.emplace_back(timestampMs, Value::ofDouble(number));
    return samples;
}

inline Method methodOf(const std::string& text)
{
    return Method::parse(QString::fromStdString(text)).value();
}

/// Neighbouring intervals between some times, labelled with their ends.
inline std::vector<Interval> intervalsBetween(const std::vector<qint64>& times)
{
    std::vector<Interval> intervals;
    for (std::size_t i = 1; i < times.size(); ++i)
        intervals.push_back({times[i - 1], times[i], times[i]});
    return intervals;
}

inline std::vector<Result> reduced(const Method& method, const std::vector<Interval>& intervals,
                                   const TestSamples& samples, qint64 maxGapMs = 0)
{
    std::vector<Result> results;
    IntervalList list(intervals);
    Reducer reducer(method, list, maxGapMs, [&results](const Result& result) {
        results.push_back(result);
        return true;
    });
    for (const auto& [timestampMs, value] : samples) {
        if (!reducer.take(timestampMs, value))
            break;
    }
    reducer.finish();
    return results;
}

/// The values of the results between some times, for short comparisons: "1 2.5 null".
inline std::string valuesOf(const std::string& method, const std::vector<qint64>& times,
                            const TestSamples& samples, qint64 maxGapMs = 0)
{
    std::string text;
    for (const Result& result : reduced(methodOf(method), intervalsBetween(times), samples, maxGapMs))
        text += (text.empty() ? "" : " ") + result.value.text().toStdString();
    return text;
}

} // namespace Kiv::Analytics
