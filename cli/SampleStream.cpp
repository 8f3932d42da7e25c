#include "SampleStream.h"

#include "RawRange.h"
#include "ResultColumns.h"
#include "Results.h"

#include <limits>

namespace Kiv::Cli
{

namespace
{

constexpr std::size_t kBlockSize = 4096;

/// Collects records into blocks.
class BlockFeed
{
public:
    explicit BlockFeed(const std::function<bool(const TSFileColumns& block)>& visit) : m_visit(visit) {}

    bool add(const Interpolate::DataRecord& record)
    {
        bool isNumber = false;
        const double number = record.value.toDouble(&isNumber);
        m_block.timestamps.push_back(record.timestamp);
        m_block.doubles.push_back(isNumber ? number : 0.0);
        m_block.isNull.push_back(isNumber && !record.value.isNull() ? 0 : 1);
        return m_block.size() < kBlockSize || send();
    }

    bool send()
    {
        const bool isWanted = m_block.size() == 0 || m_visit(m_block);
        m_block.clear();
        return isWanted;
    }

private:
    const std::function<bool(const TSFileColumns& block)>& m_visit;
    TSFileColumns m_block;
};

} // namespace

void visitSamples(const Series& series, const Request& request, const TimeRange& range,
                  const std::function<bool(const TSFileColumns& block)>& visit)
{
    if (!request.isPlainRaw())
        checkRequest(series, request, range, 0);
    if (comeInColumns(series, request)) {
        visitColumns(series, request, range, 0, visit);
        return;
    }
    BlockFeed feed(visit);
    // Text that looks like a number is none.
    const bool hasNumbers = !isVariableLength(series.type);
    bool isWanted = true;
    const auto take = [&](const Interpolate::DataRecord& record) {
        isWanted = feed.add(hasNumbers ? record : Interpolate::DataRecord(record.timestamp, {}));
        return isWanted;
    };
    if (request.isPlainRaw()) {
        visitRaw(series, request, range, take);
    } else {
        for (const Interpolate::DataRecord& record : readResults(series, request, range, 0)) {
            if (!take(record))
                break;
        }
    }
    if (isWanted)
        feed.send();
}

double numberAt(const TSFileColumns& block, std::size_t index, bool isUnsigned)
{
    if (!block.isNull.empty() && block.isNull[index] != 0)
        return std::numeric_limits<double>::quiet_NaN();
    if (block.kind == TSFileColumns::Kind::Doubles)
        return block.doubles[index];
    return isUnsigned ? static_cast<double>(static_cast<quint64>(block.integers[index]))
                      : static_cast<double>(block.integers[index]);
}

} // namespace Kiv::Cli
