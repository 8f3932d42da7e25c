#pragma once

// Owns how the results of a read get into columns: of which kind they are, and engine results appended to them.

#include "Interpolate.h"
#include "TSFileColumns.h"

#include <algorithm>
#include <exception>
#include <vector>

namespace Kiv::Internal
{

/// The kind of column that holds every result of an engine.
TSFileColumns::Kind kindOfResults(const Interpolate& engine);

/// Appends a result in the kind that the columns have.
void appendResult(const Interpolate::DataRecord& record, TSFileColumns& columns);

/// Makes room for results of the columns' kind; many small reads into the same columns do not make them grow by the
/// exact size each time.
void reserveResults(std::size_t moreCount, TSFileColumns& columns);

/// Makes room at the end of a vector, at least doubling it when it must grow. Without the memory the vector stays as
/// it is: it may turn out that less is needed.
template <typename Entry>
void reserveMore(std::size_t moreCount, std::vector<Entry>& entries)
{
    const std::size_t needed = entries.size() + moreCount;
    if (needed <= entries.capacity())
        return;
    try {
        entries.reserve(std::max(needed, 2 * entries.capacity()));
    } catch (const std::exception&) {
    }
}

} // namespace Kiv::Internal
