#pragma once

// Owns the finding of holes in a stream of timestamps.

#include <QtGlobal>

#include <functional>
#include <optional>
#include <vector>

namespace Kiv::Analytics
{

/// From a sample to the next one.
struct Hole {
    qint64 startMs = 0;
    qint64 endMs = 0;

    bool operator==(const Hole&) const = default;
};

/// Whether two neighbouring samples have a hole between them, also where their distance exceeds 64 bits.
/// \param maxGapMs  greatest distance that is no hole; 0 or less: there are no holes
bool isHole(qint64 timestampMs, qint64 nextTimestampMs, qint64 maxGapMs);

/// Takes timestamps in order, in as many calls as wanted, and hands out the holes.
///
/// For the holes at the edges of a range take its ends too, as if they were samples.
class Holes
{
public:
    /// \return false when no further hole is wanted
    using Visitor = std::function<bool(const Hole& hole)>;

    Holes(qint64 maxGapMs, Visitor visit);

    /// \return false when no further timestamp is wanted
    bool take(const std::vector<qint64>& timestampsMs);
    bool take(qint64 timestampMs);

private:
    qint64 m_maxGapMs;
    Visitor m_visit;
    std::optional<qint64> m_previousMs;
    bool m_isWanted = true;
};

} // namespace Kiv::Analytics
