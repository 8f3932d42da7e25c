#include "analytics/Holes.h"

#include <utility>

namespace Kiv::Analytics
{

bool isHole(qint64 timestampMs, qint64 nextTimestampMs, qint64 maxGapMs)
{
    if (maxGapMs <= 0 || nextTimestampMs <= timestampMs)
        return false;
    // Exact without a sign, also where the difference exceeds 63 bits.
    return static_cast<quint64>(nextTimestampMs) - static_cast<quint64>(timestampMs) >
           static_cast<quint64>(maxGapMs);
}

Holes::Holes(qint64 maxGapMs, Visitor visit) : m_maxGapMs(maxGapMs), m_visit(std::move(visit)) {}

bool Holes::take(const std::vector<qint64>& timestampsMs)
{
    for (const qint64 timestampMs : timestampsMs) {
        if (!take(timestampMs))
            return false;
    }
    return m_isWanted;
}

bool Holes::take(qint64 timestampMs)
{
    if (m_isWanted && m_previousMs && isHole(*m_previousMs, timestampMs, m_maxGapMs))
        m_isWanted = m_visit({*m_previousMs, timestampMs});
    m_previousMs = timestampMs;
    return m_isWanted;
}

} // namespace Kiv::Analytics
