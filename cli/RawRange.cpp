#include "RawRange.h"

#include "Interrupt.h"

#include <algorithm>
#include <vector>

namespace Kiv::Cli
{

namespace
{

// Who wants the next record only should not wait for many.
constexpr int kFirstBlockRecordCount = 100;
constexpr int kMaxBlockRecordCount = 100'000;

} // namespace

void visitRaw(const Series& series, const Request& request, const TimeRange& range,
              const std::function<bool(const Interpolate::DataRecord& record)>& visit)
{
    SafeRange rest(range);
    std::vector<Interpolate::DataRecord> block;
    bool mayHaveMore = true;
    // Float files may hold several records of one timestamp, between which no block can begin.
    for (int wanted = isFloat(series.type) ? 0 : kFirstBlockRecordCount; mayHaveMore;
         wanted = std::min(wanted * 10, kMaxBlockRecordCount)) {
        throwIfInterrupted();
        block.clear();
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

std::optional<Interpolate::DataRecord> firstRecordFrom(const Series& series, qint64 timestampMs)
{
    std::optional<Interpolate::DataRecord> found;
    visitRaw(series, {}, {{timestampMs, false}, {kLastRecord, true}},
             [&found](const Interpolate::DataRecord& record) {
                 found = record;
                 return false;
             });
    return found;
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
