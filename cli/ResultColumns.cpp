#include "ResultColumns.h"

#include "Interrupt.h"
#include "RequestIntervals.h"

#include <algorithm>
#include <limits>
#include <vector>

namespace Kiv::Cli
{

namespace
{

template <typename Entry>
void keepEntries(const std::vector<std::size_t>& kept, std::vector<Entry>& column)
{
    if (column.empty())
        return;
    for (std::size_t i = 0; i < kept.size(); ++i)
        column[i] = column[kept[i]];
    column.resize(kept.size());
}

/// Drops the results outside a range.
void narrow(const SafeRange& range, TSFileColumns& block)
{
    std::vector<std::size_t> kept;
    for (std::size_t i = 0; i < block.size(); ++i) {
        if (range.contains(block.timestamps[i]))
            kept.push_back(i);
    }
    keepEntries(kept, block.timestamps);
    keepEntries(kept, block.doubles);
    keepEntries(kept, block.integers);
    keepEntries(kept, block.isNull);
}

} // namespace

bool comeInColumns(const Series& series, const Request& request)
{
    if (isFloat(series.type) || isVariableLength(series.type) || request.isFinishedHere() ||
        isByLocalCalendar(request))
        return false;
    if (series.type.metaType == QMetaType::Double || request.isPlainRaw())
        return true;
    const bool is64Bit =
        series.type.metaType == QMetaType::LongLong || series.type.metaType == QMetaType::ULongLong;
    // Results of intervals are of the series' type; what raw passes let through of earlier ones need not be.
    return request.param.interval != 0 && !is64Bit;
}

void visitColumns(const Series& series, const Request& request, const TimeRange& range, qint64 limit,
                  const std::function<bool(const TSFileColumns& block)>& visit)
{
    const SafeRange safe(range);
    const auto engineLimit = static_cast<int>(std::min<qint64>(limit, std::numeric_limits<int>::max()));
    TSFileColumnReader reader(*series.storage, request.param, request.passes, safe.storeFrom(),
                              safe.storeTo(), request.shift, engineLimit);
    for (TSFileColumns block; reader.next(block);) {
        throwIfInterrupted();
        if (!safe.isExact())
            narrow(safe, block);
        if (!visit(block))
            return;
    }
}

} // namespace Kiv::Cli
