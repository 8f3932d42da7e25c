#include "analytics/Reducer.h"

#include "analytics/Holes.h"
#include "analytics/MethodStates.h"

#include <algorithm>
#include <utility>

namespace Kiv::Analytics
{

/// The loop over samples, chosen once by method.
class Reducer::Loop
{
public:
    Loop() = default;
    virtual ~Loop() = default;
    Loop(const Loop&) = delete;
    Loop& operator=(const Loop&) = delete;

    virtual bool take(const TSFileColumns& block, Integers integers) = 0;
    virtual bool take(qint64 timestampMs, const Value& value) = 0;
    virtual void finish() = 0;
};

namespace
{

template <typename State>
class LoopOf final : public Reducer::Loop
{
public:
    LoopOf(const Method& method, Intervals& intervals, qint64 maxGapMs, ResultVisitor visit)
        : m_method(method),
          m_intervals(intervals),
          m_maxGapMs(maxGapMs),
          m_visit(std::move(visit)),
          m_state(method),
          m_current(intervals.next())
    {
    }

    bool take(const TSFileColumns& block, Integers integers) override
    {
        if (block.kind == TSFileColumns::Kind::Doubles)
            return takeEach(block, [&](std::size_t i) { return Value::ofDouble(block.doubles[i]); });
        if (integers == Integers::Signed)
            return takeEach(block, [&](std::size_t i) { return Value::ofSigned(block.integers[i]); });
        return takeEach(
            block, [&](std::size_t i) { return Value::ofUnsigned(static_cast<quint64>(block.integers[i])); });
    }

    bool take(qint64 timestampMs, const Value& value) override { return takeOne(timestampMs, value); }

    void finish() override
    {
        while (m_current)
            closeInterval();
    }

private:
    template <typename ValueAt>
    bool takeEach(const TSFileColumns& block, const ValueAt& valueAt)
    {
        const bool mayBeNull = !block.isNull.empty();
        for (std::size_t i = 0; i < block.size() && m_current; ++i)
            takeOne(block.timestamps[i], mayBeNull && block.isNull[i] != 0 ? Value() : valueAt(i));
        return m_current.has_value();
    }

    bool takeOne(qint64 timestampMs, const Value& value)
    {
        bool isNeighbour = false;
        if constexpr (State::kUsesNeighbours)
            isNeighbour = !m_previous.isNull() && !isHole(m_previousMs, timestampMs, m_maxGapMs);
        while (m_current) {
            if (isNeighbour)
                addStretchTo(timestampMs, value);
            if (timestampMs < m_current->endMs)
                break;
            closeInterval();
        }
        if (m_current && timestampMs >= m_current->startMs && !value.isNull()) {
            ++m_sampleCount;
            m_state.addSample(value, isNeighbour ? &m_previous : nullptr);
        }
        m_previousMs = timestampMs;
        m_previous = value;
        return m_current.has_value();
    }

    /// The part in the current interval.
    void addStretchTo(qint64 timestampMs, const Value& value)
    {
        if constexpr (State::kUsesNeighbours) {
            const qint64 fromMs = std::max(m_previousMs, m_current->startMs);
            const qint64 toMs = std::min(timestampMs, m_current->endMs);
            if (fromMs < toMs)
                m_state.addStretch({m_previousMs, m_previous, timestampMs, value, fromMs, toMs});
        }
    }

    void closeInterval()
    {
        const bool isMoreWanted = m_visit({*m_current, m_state.result(), m_sampleCount});
        m_state = State(m_method);
        m_sampleCount = 0;
        m_current = isMoreWanted ? m_intervals.next() : std::nullopt;
    }

    Method m_method;
    Intervals& m_intervals;
    qint64 m_maxGapMs;
    ResultVisitor m_visit;
    State m_state;
    std::optional<Interval> m_current; ///< nothing: no further result is wanted
    qint64 m_sampleCount = 0;
    qint64 m_previousMs = 0;
    Value m_previous; ///< null before the first sample, too
};

template <typename State>
std::unique_ptr<Reducer::Loop> loopOf(const Method& method, Intervals& intervals, qint64 maxGapMs,
                                      ResultVisitor visit)
{
    return std::make_unique<LoopOf<State>>(method, intervals, maxGapMs, std::move(visit));
}

using LoopMaker = std::unique_ptr<Reducer::Loop> (*)(const Method&, Intervals&, qint64, ResultVisitor);

LoopMaker loopMakerFor(Method::Kind kind)
{
    using namespace States;
    using Kind = Method::Kind;
    switch (kind) {
    case Kind::TimeWeightedMean:
        return loopOf<TimeWeightedMean<Held>>;
    case Kind::TimeWeightedMeanLinear:
        return loopOf<TimeWeightedMean<Linear>>;
    case Kind::Integral:
        return loopOf<Integral<Held>>;
    case Kind::IntegralLinear:
        return loopOf<Integral<Linear>>;
    case Kind::InState:
        return loopOf<InState>;
    case Kind::Transitions:
        return loopOf<Transitions>;
    case Kind::First:
        return loopOf<First>;
    case Kind::Last:
        return loopOf<Last>;
    case Kind::Delta:
        return loopOf<Delta>;
    case Kind::Range:
        return loopOf<Range>;
    case Kind::StandardDeviation:
        return loopOf<OfStatistics<&Statistics::standardDeviation>>;
    case Kind::StandardDeviationPopulation:
        return loopOf<OfStatistics<&Statistics::standardDeviationPopulation>>;
    case Kind::Variance:
        return loopOf<OfStatistics<&Statistics::variance>>;
    case Kind::VariancePopulation:
        return loopOf<OfStatistics<&Statistics::variancePopulation>>;
    case Kind::Percentile:
        return loopOf<Percentile>;
    case Kind::MostFrequent:
        return loopOf<MostFrequent>;
    case Kind::Mean:
        return loopOf<Mean>;
    case Kind::Min:
        return loopOf<Min>;
    case Kind::Max:
        return loopOf<Max>;
    case Kind::Sum:
        return loopOf<OfStatistics<&Statistics::sum>>;
    case Kind::Count:
        return loopOf<Count>;
    }
    return loopOf<Count>;
}

} // namespace

Reducer::Reducer(const Method& method, Intervals& intervals, qint64 maxGapMs, ResultVisitor visit)
    : m_loop(loopMakerFor(method.kind)(method, intervals, maxGapMs, std::move(visit)))
{
}

Reducer::~Reducer() = default;

bool Reducer::take(const TSFileColumns& block, Integers integers)
{
    return m_loop->take(block, integers);
}

bool Reducer::take(qint64 timestampMs, const Value& value)
{
    return m_loop->take(timestampMs, value);
}

void Reducer::finish()
{
    m_loop->finish();
}

} // namespace Kiv::Analytics
