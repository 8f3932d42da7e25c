#pragma once

// Owns how limits and peers reduce samples to one number per interval: small states, one loop each for
// samples and for records.

#include "PlainFiles.h"

#include <algorithm>
#include <limits>
#include <utility>
#include <vector>

namespace Bench
{

class Mean
{
public:
    void add(double value)
    {
        m_sum += value;
        ++m_count;
    }
    double take() const { return m_sum / m_count; }

private:
    double m_sum = 0.0;
    double m_count = 0.0;
};

class Sum
{
public:
    void add(double value) { m_sum += value; }
    double take() const { return m_sum; }

private:
    double m_sum = 0.0;
};

class Min
{
public:
    void add(double value) { m_min = std::min(m_min, value); }
    double take() const { return m_min; }

private:
    double m_min = std::numeric_limits<double>::infinity();
};

class Max
{
public:
    void add(double value) { m_max = std::max(m_max, value); }
    double take() const { return m_max; }

private:
    double m_max = -std::numeric_limits<double>::infinity();
};

class Count
{
public:
    void add(double) { ++m_count; }
    double take() const { return static_cast<double>(m_count); }

private:
    qint64 m_count = 0;
};

class Median
{
public:
    void add(double value) { m_values.push_back(value); }
    double take()
    {
        const auto middle = m_values.begin() + static_cast<std::ptrdiff_t>(m_values.size() / 2);
        std::nth_element(m_values.begin(), middle, m_values.end());
        if (m_values.size() % 2 == 1)
            return *middle;
        return (*std::max_element(m_values.begin(), middle) + *middle) / 2.0;
    }

private:
    std::vector<double> m_values;
};

struct Extremes {
    Min min;
    Max max;

    void add(double value)
    {
        min.add(value);
        max.add(value);
    }
};

struct All {
    Extremes extremes;
    Mean mean;

    void add(double value)
    {
        extremes.add(value);
        mean.add(value);
    }
};

/// Cuts an ascending stream of samples into intervals and hands each one's state to `close(end, state)`.
template <typename State, typename Close>
class IntervalCutter
{
public:
    IntervalCutter(qint64 intervalMs, Close close) : m_intervalMs(intervalMs), m_close(std::move(close)) {}

    void add(qint64 timestamp, double value)
    {
        open(timestamp);
        m_state.add(value);
    }

    /// Looks for the ends of intervals only, and decodes values only.
    void add(const RecordBlock& block)
    {
        withWidth(block.file.width, [&](auto width) {
            constexpr int kWidth = decltype(width)::value;
            constexpr qint64 kRecordBytes = kWidth + kValueBytes;
            const auto timestampOf = [&](qint64 record) {
                return block.file.baseMs + offsetAt(block.bytes + record * kRecordBytes, kWidth);
            };
            for (qint64 begin = 0; begin < block.count;) {
                open(timestampOf(begin));
                const qint64 end = firstBehind(timestampOf, begin, block.count);
                for (qint64 i = begin; i < end; ++i)
                    m_state.add(valueAt(block.bytes + i * kRecordBytes, kWidth));
                begin = end;
            }
        });
    }

    void finish()
    {
        if (m_end != kNone)
            m_close(m_end, m_state);
        m_state = State();
    }

private:
    static constexpr qint64 kNone = std::numeric_limits<qint64>::min();

    void open(qint64 timestamp)
    {
        if (timestamp < m_end)
            return;
        finish();
        m_end = timestamp - timestamp % m_intervalMs + m_intervalMs;
    }

    /// Number of the first record behind the current interval.
    template <typename TimestampOf>
    qint64 firstBehind(const TimestampOf& timestampOf, qint64 low, qint64 high) const
    {
        if (timestampOf(high - 1) < m_end)
            return high;
        while (low < high) {
            const qint64 middle = low + (high - low) / 2;
            if (timestampOf(middle) < m_end)
                low = middle + 1;
            else
                high = middle;
        }
        return low;
    }

    qint64 m_intervalMs;
    Close m_close;
    State m_state;
    qint64 m_end = kNone;
};

} // namespace Bench
