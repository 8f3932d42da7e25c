#pragma once

// Owns ends of a range that the store cannot take for one of its symbols.

#include "TimeBound.h"

namespace Kiv::Cli
{

/// Whether the store takes an end of a range as it is, and not for one of its symbols.
inline bool isExactBound(const TimeBound& bound)
{
    return bound.isSymbolic || !looksSymbolic(bound.value);
}

/// Wider than wanted where the store would misread an end; the excess is to be dropped from what it gives.
class SafeRange
{
public:
    explicit SafeRange(const TimeRange& range) : m_from(range.from), m_to(range.to) {}

    qint64 storeFrom() const { return isExactBound(m_from) ? m_from.value : kBeforeSymbols; }
    qint64 storeTo() const { return isExactBound(m_to) ? m_to.value : kAfterSymbols; }

    /// Whether the store gives nothing beyond the range.
    bool isExact() const { return isExactBound(m_from) && isExactBound(m_to); }

    bool contains(qint64 timestampMs) const
    {
        return (m_from.isSymbolic || timestampMs >= m_from.value) &&
               (m_to.isSymbolic || timestampMs <= m_to.value);
    }

    void continueAfter(qint64 timestampMs) { m_from = {timestampMs + 1, false}; }

private:
    TimeBound m_from;
    TimeBound m_to;
};

} // namespace Kiv::Cli
