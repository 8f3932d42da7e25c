#pragma once

// Owns what each method remembers of one interval, and how that becomes its result. Included by the reducer alone.
//
// Every state is told the known samples of the interval (addSample) and, when it uses neighbours, the part in the
// interval of each way from a known sample to the next one (addStretch). It answers once (result) and is then built
// anew.

#include "analytics/Method.h"
#include "analytics/Statistics.h"
#include "analytics/Value.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <numeric>
#include <optional>
#include <utility>
#include <vector>

namespace Kiv::Analytics::States
{

inline constexpr double kMsPerSecond = 1000.0;

inline Value valueOf(const std::optional<double>& number)
{
    return number ? Value::ofDouble(*number) : Value();
}

/// A way from one sample to the next, and the part of it that lies in the interval.
struct Stretch {
    qint64 startMs;
    const Value& startValue;
    qint64 endMs;
    const Value& endValue; ///< null: the sample is, and only ends what was held
    qint64 fromMs;
    qint64 toMs;

    double durationMs() const
    {
        return static_cast<double>(static_cast<quint64>(toMs) - static_cast<quint64>(fromMs));
    }

    /// The value on the line between the two samples.
    double valueAt(qint64 timestampMs) const
    {
        const auto spanMs = static_cast<double>(static_cast<quint64>(endMs) - static_cast<quint64>(startMs));
        const auto doneMs =
            static_cast<double>(static_cast<quint64>(timestampMs) - static_cast<quint64>(startMs));
        return std::lerp(startValue.toDouble(), endValue.toDouble(), doneMs / spanMs);
    }
};

/// The previous value holds.
struct Held {
    static bool isKnown(const Stretch&) { return true; }
    static double meanOf(const Stretch& stretch) { return stretch.startValue.toDouble(); }
};

/// The value goes along the line to the next sample.
struct Linear {
    static bool isKnown(const Stretch& stretch) { return !stretch.endValue.isNull(); }
    static double meanOf(const Stretch& stretch)
    {
        return std::midpoint(stretch.valueAt(stretch.fromMs), stretch.valueAt(stretch.toMs));
    }
};

/// Base of the states that are told samples only.
class OfSamples
{
public:
    static constexpr bool kUsesNeighbours = false;
};

/// Base of the states that are told both.
class OfStretches
{
public:
    static constexpr bool kUsesNeighbours = true;
    void addSample(const Value& /*value*/, const Value* /*neighbour*/) {}
};

template <typename Course>
class TimeWeightedMean : public OfStretches
{
public:
    explicit TimeWeightedMean(const Method&) {}

    void addStretch(const Stretch& stretch)
    {
        if (Course::isKnown(stretch))
            m_mean.add(Course::meanOf(stretch), stretch.durationMs());
    }
    Value result() { return valueOf(m_mean.value()); }

private:
    WeightedMean m_mean;
};

template <typename Course>
class Integral : public OfStretches
{
public:
    explicit Integral(const Method&) {}

    void addStretch(const Stretch& stretch)
    {
        if (!Course::isKnown(stretch))
            return;
        m_isKnown = true;
        m_sum.add(Course::meanOf(stretch) * stretch.durationMs());
    }
    Value result() { return m_isKnown ? Value::ofDouble(m_sum.value() / kMsPerSecond) : Value(); }

private:
    CompensatedSum m_sum;
    bool m_isKnown = false;
};

class InState : public OfStretches
{
public:
    explicit InState(const Method& method) : m_state(method.state) {}

    void addStretch(const Stretch& stretch)
    {
        m_isKnown = true;
        if (stretch.startValue == m_state)
            m_durationMs += stretch.durationMs();
    }
    Value result() { return m_isKnown ? Value::ofDouble(m_durationMs / kMsPerSecond) : Value(); }

private:
    Value m_state;
    double m_durationMs = 0.0;
    bool m_isKnown = false;
};

class Transitions
{
public:
    static constexpr bool kUsesNeighbours = true;

    explicit Transitions(const Method&) {}

    /// \param neighbour  the known sample before, in this interval or not; null behind a hole
    void addSample(const Value& value, const Value* neighbour)
    {
        // A sample that nothing is known around may be a change or none.
        m_isKnown = m_isKnown || neighbour != nullptr;
        if (neighbour != nullptr && *neighbour != value)
            ++m_count;
    }
    void addStretch(const Stretch&) { m_isKnown = true; }
    Value result() { return m_isKnown ? Value::ofSigned(m_count) : Value(); }

private:
    qint64 m_count = 0;
    bool m_isKnown = false;
};

class First : public OfSamples
{
public:
    explicit First(const Method&) {}

    void addSample(const Value& value, const Value*)
    {
        if (m_first.isNull())
            m_first = value;
    }
    Value result() { return m_first; }

private:
    Value m_first;
};

class Last : public OfSamples
{
public:
    explicit Last(const Method&) {}

    void addSample(const Value& value, const Value*) { m_last = value; }
    Value result() { return m_last; }

private:
    Value m_last;
};

/// An integer where both are and it fits, else the nearest double.
inline Value differenceOf(const Value& a, const Value& b)
{
    const auto isInteger = [](const Value& value) {
        return value.kind() == Value::Kind::Signed || value.kind() == Value::Kind::Unsigned;
    };
    if (a.isNull() || b.isNull())
        return {};
    if (a.kind() != b.kind() || !isInteger(a))
        return Value::ofDouble(a.toDouble() - b.toDouble());
    const bool isUp = a >= b;
    const auto highBits = static_cast<quint64>(isUp ? a.bitsOfInteger() : b.bitsOfInteger());
    const auto lowBits = static_cast<quint64>(isUp ? b.bitsOfInteger() : a.bitsOfInteger());
    const quint64 distance = highBits - lowBits;
    if (distance <= static_cast<quint64>(std::numeric_limits<qint64>::max()))
        return Value::ofSigned(isUp ? static_cast<qint64>(distance) : -static_cast<qint64>(distance));
    return Value::ofDouble(isUp ? static_cast<double>(distance) : -static_cast<double>(distance));
}

class Delta : public OfSamples
{
public:
    explicit Delta(const Method& method) : m_first(method), m_last(method) {}

    void addSample(const Value& value, const Value* neighbour)
    {
        m_first.addSample(value, neighbour);
        m_last.addSample(value, neighbour);
    }
    Value result() { return differenceOf(m_last.result(), m_first.result()); }

private:
    First m_first;
    Last m_last;
};

class Min : public OfSamples
{
public:
    explicit Min(const Method&) {}

    void addSample(const Value& value, const Value*)
    {
        if (m_min.isNull() || value < m_min)
            m_min = value;
    }
    Value result() { return m_min; }

private:
    Value m_min;
};

class Max : public OfSamples
{
public:
    explicit Max(const Method&) {}

    void addSample(const Value& value, const Value*)
    {
        if (m_max < value)
            m_max = value;
    }
    Value result() { return m_max; }

private:
    Value m_max;
};

class Range : public OfSamples
{
public:
    explicit Range(const Method& method) : m_min(method), m_max(method) {}

    void addSample(const Value& value, const Value* neighbour)
    {
        m_min.addSample(value, neighbour);
        m_max.addSample(value, neighbour);
    }
    Value result() { return differenceOf(m_max.result(), m_min.result()); }

private:
    Min m_min;
    Max m_max;
};

class Mean : public OfSamples
{
public:
    explicit Mean(const Method&) {}

    void addSample(const Value& value, const Value*) { m_mean.add(value.toDouble(), 1.0); }
    Value result() { return valueOf(m_mean.value()); }

private:
    WeightedMean m_mean;
};

/// Any figure of Statistics.
template <std::optional<double> (Statistics::*kFigure)() const>
class OfStatistics : public OfSamples
{
public:
    explicit OfStatistics(const Method&) {}

    void addSample(const Value& value, const Value*) { m_statistics.add(value.toDouble()); }
    Value result() { return valueOf((m_statistics.*kFigure)()); }

private:
    Statistics m_statistics;
};

class Count : public OfSamples
{
public:
    explicit Count(const Method&) {}

    void addSample(const Value&, const Value*) { ++m_count; }
    Value result() { return m_count > 0 ? Value::ofSigned(m_count) : Value(); }

private:
    qint64 m_count = 0;
};

class Percentile : public OfSamples
{
public:
    explicit Percentile(const Method& method) : m_percent(method.percent) {}

    void addSample(const Value& value, const Value*) { m_numbers.push_back(value.toDouble()); }
    Value result() { return valueOf(percentile(m_numbers, m_percent)); }

private:
    double m_percent;
    std::vector<double> m_numbers;
};

/// Of several the lowest.
class MostFrequent : public OfSamples
{
public:
    explicit MostFrequent(const Method&) {}

    void addSample(const Value& value, const Value*)
    {
        if (m_counts.empty() || m_latest->first != value)
            m_latest = m_counts.try_emplace(value, 0).first;
        ++m_latest->second;
    }
    Value result()
    {
        const auto isRarer = [](const auto& a, const auto& b) { return a.second < b.second; };
        const auto found = std::max_element(m_counts.begin(), m_counts.end(), isRarer);
        return found == m_counts.end() ? Value() : found->first;
    }

private:
    std::map<Value, qint64> m_counts;
    std::map<Value, qint64>::iterator m_latest; ///< the same value is likely to come again
};

} // namespace Kiv::Analytics::States
