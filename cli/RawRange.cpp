#include "RawRange.h"

#include <vector>

namespace Kiv::Cli
{

namespace
{

constexpr int kBlockRecordCount = 100'000;

/// Float files may hold several records of one timestamp, between which no block can begin.
int blockRecordCount(const Series& series)
{
    return isFloat(series.type) ? 0 : kBlockRecordCount;
}

/// Ends that the store cannot misread: wider than wanted, the excess is dropped here.
class SafeRange
{
public:
    explicit SafeRange(const TimeRange& range) : m_from(range.from), m_to(range.to) {}

    qint64 storeFrom() const { return isExactBound(m_from) ? m_from.value : kBeforeSymbols; }
    qint64 storeTo() const { return isExactBound(m_to) ? m_to.value : kAfterSymbols; }

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

} // namespace

bool isExactBound(const TimeBound& bound)
{
    return bound.isSymbolic || !looksSymbolic(bound.value);
}

void visitRaw(const Series& series, const Request& request, const TimeRange& range,
              const std::function<bool(const Interpolate::DataRecord& record)>& visit)
{
    SafeRange rest(range);
    std::vector<Interpolate::DataRecord> block;
    bool mayHaveMore = true;
    while (mayHaveMore) {
        block.clear();
        const int wanted = blockRecordCount(series);
        series.read(request, rest.storeFrom(), rest.storeTo(), block, wanted);
        mayHaveMore = wanted > 0 && block.size() >= static_cast<std::size_t>(wanted);
        for (const Interpolate::DataRecord& record : block) {
            if (rest.contains(record.timestamp) && !visit(record))
                return;
        }
        if (mayHaveMore)
            rest.continueAfter(block.back().timestamp);
    }
}

qint64 countRecords(const Series& series, const TimeRange& range)
{
    if (isExactBound(range.from) && isExactBound(range.to) && !isFloat(series.type))
        return series.storage->getCountInt({}, {}, range.from.value, range.to.value, QString());
    qint64 count = 0;
    visitRaw(series, {}, range, [&count](const Interpolate::DataRecord&) {
        ++count;
        return true;
    });
    return count;
}

} // namespace Kiv::Cli
