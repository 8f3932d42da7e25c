#include "ShrunkEnd.h"

#include <algorithm>

namespace Kiv::Cli
{

ShrunkEnd::Verdict ShrunkEnd::judge(std::optional<qint64> knownMs, std::optional<qint64> lastMs, qint64 nowMs)
{
    if (lastMs >= knownMs) {
        m_sinceMs.reset();
        return Verdict::Whole;
    }
    if (!m_sinceMs) {
        m_sinceMs = nowMs;
        m_leastMs = lastMs;
    }
    m_leastMs = std::min(m_leastMs, lastMs);
    if (nowMs - *m_sinceMs < kSettleMs)
        return Verdict::InDoubt;
    m_sinceMs.reset();
    return Verdict::Deleted;
}

} // namespace Kiv::Cli
