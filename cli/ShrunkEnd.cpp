#include "ShrunkEnd.h"

namespace Kiv::Cli
{

ShrunkEnd::Verdict ShrunkEnd::judge(std::optional<qint64> knownMs, std::optional<qint64> lastMs, qint64 nowMs)
{
    if (lastMs >= knownMs) {
        m_ends.clear();
        return Verdict::Whole;
    }
    // An end that is back where it was had only been split away.
    while (m_ends.size() > 1 && lastMs >= m_ends[m_ends.size() - 2].lastMs)
        m_ends.pop_back();
    if (m_ends.empty() || lastMs < m_ends.back().lastMs)
        m_ends.push_back({lastMs, nowMs});
    if (nowMs - m_ends.back().sinceMs < kSettleMs)
        return Verdict::InDoubt;
    m_deletedFromMs = m_ends.back().lastMs;
    m_ends.clear();
    return Verdict::Deleted;
}

} // namespace Kiv::Cli
