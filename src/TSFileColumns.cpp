#include "TSFileColumns.h"

#include "TSFileStorage.h"

#include "internal/RangeReader.h"

#include <algorithm>
#include <utility>

namespace Kiv
{

using namespace Internal;

namespace
{

bool isIntegerType(QMetaType::Type type)
{
    const ValueCoding coding = valueCodingForType(type);
    return coding != ValueCoding::Double && coding != ValueCoding::FloatAsDouble &&
           coding != ValueCoding::VarPosition;
}

/// Records pass through raw passes unchanged; everything else computes.
TSFileColumns::Kind kindOfResults(const Interpolate& engine)
{
    bool isRaw = isIntegerType(engine.targetType);
    for (const Interpolate* pass = &engine; pass != nullptr; pass = pass->nextPass.get())
        isRaw = isRaw && pass->method == Interpolate::RAW && pass->diffHandler == nullptr;
    return isRaw ? TSFileColumns::Kind::Integers : TSFileColumns::Kind::Doubles;
}

qint64 integerOf(const QVariant& value)
{
    return value.typeId() == QMetaType::ULongLong ? static_cast<qint64>(value.toULongLong())
                                                  : value.toLongLong();
}

void append(const Interpolate::DataRecord& record, TSFileColumns& columns)
{
    columns.timestamps.push_back(record.timestamp);
    columns.isNull.push_back(record.value.isNull() ? 1 : 0);
    if (columns.kind == TSFileColumns::Kind::Integers)
        columns.integers.push_back(integerOf(record.value));
    else
        columns.doubles.push_back(record.value.toDouble());
}

} // namespace

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
    // The engine counts its results against the limit.
    if (!m_state->hasLimit)
        m_state->reader.setColumns(m_state->direct);
    m_state->hasMore = m_state->reader.start(
        {std::move(param), std::move(passes), start, end, shiftIntervalForward, false}, m_state->limit);
    if (m_state->hasMore)
        m_state->direct.kind = kindOfResults(m_state->reader.engine());
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
        append(state.results[state.handedOut + i], block);
    state.handedOut += count;
    return block.size() > 0;
}

} // namespace Kiv
