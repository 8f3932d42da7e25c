#pragma once

// Owns one read of one series: hands the records of a range to an interpolation engine in time order. Knows
// no method; what it reads beside the range is what the engine asks for.

#include "Interpolate.h"

#include "internal/RecordFile.h"

#include <unordered_set>
#include <vector>

namespace Kiv
{
class TSFileStorage;
}

namespace Kiv::Internal
{

/// The request of one read, as the public operation takes it.
struct ReadRequest {
    Interpolate::InterpolateParam param;
    std::vector<Interpolate::InterpolateParam> passes;
    qint64 startMs = 0;
    qint64 endMs = 0;
    bool shiftIntervalForward = false;
    bool fastCountOnly = false;
};

class RangeReader
{
public:
    using Records = std::vector<Interpolate::DataRecord>;

    /// What the records of the series that is read are.
    enum class Source {
        Samples,
        LateLog, ///< timestamps of samples of `series`, which are looked up there and delivered instead
    };

    /// \param series  the series that the caller asked
    /// \param stored  the series whose records are read: the same, or one of its companions
    RangeReader(TSFileStorage& series, TSFileStorage& stored, Source source, Records& result);

    /// \param limit  in: most results wanted, below 1 for no limit; out: as the engine leaves it, or 0
    void read(ReadRequest request, int& limit);

private:
    enum class Continue { Yes, No };

    void feedPreviousRecords(Interpolate& engine, qint32 count);
    void feedFiles(Interpolate& engine);
    Continue feedFile(Interpolate& engine, RecordFile& file);
    template <int width, ValueCoding coding>
    Continue feedRecords(Interpolate& engine, RecordFile& file, qint64 positionBytes);
    template <int width>
    Continue feedRecordsOfWidth(Interpolate& engine, RecordFile& file, qint64 positionBytes);
    Continue take(Interpolate& engine, Interpolate::DataRecord&& record);
    void reserveResult(const Interpolate& engine, const RecordFile& file, qint64 positionBytes);
    void deliverLate(qint64 timestampMs);

    TSFileStorage& m_series;
    TSFileStorage& m_stored;
    Source m_source;
    Records& m_result;
    qint64 m_startMs = 0; ///< range to read
    qint64 m_endMs = 0;
    std::unordered_set<qint64> m_delivered; ///< timestamps in the result of a late-log read
};

} // namespace Kiv::Internal
