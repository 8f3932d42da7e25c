#include "TSFileColumns.h"

#include "TSFileStorage.h"

#include "internal/ColumnResults.h"
#include "internal/RangeReader.h"
#include "internal/RecordLayout.h"

#include <algorithm>
#include <utility>

namespace Kiv
{

using namespace Internal;

bool TSFileColumns::isConsistent() const
{
    const std::size_t valueCount = kind == Kind::Integers ? integers.size() : doubles.size();
    return valueCount == size() && (isNull.empty() || isNull.size() == size());
}

void TSFileColumns::clear()
{
    timestamps.clear();
    doubles.clear();
    integers.clear();
    isNull.clear();
}

struct TSFileColumnReader::State {
    State(TSFileStorage& storage, int resultLimit)
        : reader(storage, storage, RangeReader::Source::Samples, results), limit(resultLimit)
    {
    }

    std::vector<Interpolate::DataRecord> results; ///< of the engine, not yet handed out from `handedOut` on
    std::size_t handedOut = 0;
    TSFileColumns direct; ///< records that never were an engine's results
    RangeReader reader;
    int limit;
    bool hasLimit = false;
    bool hasMore = false;
};

TSFileColumnReader::TSFileColumnReader(TSFileStorage& storage, Interpolate::InterpolateParam param,
                                       std::vector<Interpolate::InterpolateParam> passes, qint64 start,
                                       qint64 end, bool shiftIntervalForward, int limit)
    : m_state(std::make_unique<State>(storage, limit))
{
    if (RecordShape(storage.m_valueType, 0).isVariable())
        return;
    storage.checkValidInterval(param.interval, QString());
    m_state->hasLimit = limit >= 1;
    m_state->reader.deliverTo(m_state->direct, RangeReader::Room::ForBlock);
    m_state->hasMore = m_state->reader.start(
        {std::move(param), std::move(passes), start, end, shiftIntervalForward, false}, m_state->limit);
}

TSFileColumnReader::~TSFileColumnReader() = default;

bool TSFileColumnReader::next(TSFileColumns& block)
{
    State& state = *m_state;
    block.clear();
    block.kind = state.direct.kind;
    while (state.hasMore && state.handedOut == state.results.size() && state.direct.size() == 0) {
        // The engine looks at the size of its results when there is a limit.
        if (!state.hasLimit) {
            state.results.clear();
            state.handedOut = 0;
        }
        state.hasMore = state.reader.step();
    }
    std::swap(block, state.direct);
    const std::size_t count = std::min(state.results.size() - state.handedOut, kMaxBlockSize - block.size());
    for (std::size_t i = 0; i < count; ++i)
        appendResult(state.results[state.handedOut + i], block);
    state.handedOut += count;
    return block.size() > 0;
}

} // namespace Kiv
