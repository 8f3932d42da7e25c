#pragma once

// Owns one read of one series: hands the records of a range to an interpolation engine in time order, block by
// block. Knows no method; what it reads beside the range is what the engine asks for.

#include "Interpolate.h"

#include "internal/RecordFile.h"
#include "internal/TreeCursor.h"

#include <memory>
#include <optional>
#include <unordered_set>
#include <vector>

namespace Kiv
{
class TSFileStorage;
struct TSFileColumns;
} // namespace Kiv

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
    /// \param result  receives the results; must outlive the reader
    RangeReader(TSFileStorage& series, TSFileStorage& stored, Source source, Records& result);

    RangeReader(const RangeReader&) = delete;
    RangeReader& operator=(const RangeReader&) = delete;

    /// How much of the room for its results a read makes at once.
    enum class Room { ForBlock, ForAll };

    /// Raw records that are results as they are go here from now on, and not to the result, unless there is a
    /// limit. The columns take the kind of the results.
    void deliverTo(TSFileColumns& columns, Room room);

    /// \param limit  in: most results wanted, below 1 for no limit; out: as the engine leaves it, or 0; must
    ///               outlive the reader
    /// \return false when there is nothing to read
    bool start(ReadRequest request, int& limit);

    /// Reads the next block of records. \return false after the last one
    bool step();

    /// A whole read.
    void read(ReadRequest request, int& limit);

private:
    enum class Continue { Yes, No };

    /// Both ends inclusive.
    struct TimeSpan {
        qint64 firstMs;
        qint64 lastMs;
    };

    /// Records read from a file.
    struct Block {
        const char* begin;
        const char* end;
    };

    struct SampleColumns;

    void feedPreviousRecords(qint32 count);
    bool enterNextFile();
    Continue readBlock();
    void finish();
    template <int width, ValueCoding coding>
    Continue feedBlock(Block block);
    template <int width, ValueCoding coding>
    Continue feedSamples(Block block);
    Continue feedColumns(const SampleColumns& samples);
    Continue feedColumnsInRange(SampleColumns& samples);
    template <int width, ValueCoding coding>
    Continue deliverRecords(Block block);
    template <int width, ValueCoding coding>
    Continue deliverColumns(Block block);
    template <int width, ValueCoding coding>
    Continue takeRecords(Block block);
    Continue take(Interpolate::DataRecord&& record);
    void reserveResult(FilePlace place, qint64 firstRecordMs, qint64 lastRecordMs);
    qint64 estimatedRecordCount(const FilePlace& place, TimeSpan filled) const;
    void deliverLate(qint64 timestampMs);

    TSFileStorage& m_series;
    TSFileStorage& m_stored;
    Source m_source;
    Records& m_result;
    TSFileColumns* m_columns = nullptr;
    Room m_room = Room::ForAll;
    std::optional<Interpolate> m_engine;
    qint64 m_startMs = 0; ///< range to read
    qint64 m_endMs = 0;
    TreeCursor m_cursor;
    FilePlace m_place; ///< the file that is read, or the next one
    std::unique_ptr<RecordFile> m_file;
    qint64 m_positionBytes = 0;
    std::unique_ptr<char[]> m_buffer;
    std::unordered_set<qint64> m_delivered; ///< timestamps in the result of a late-log read
};

} // namespace Kiv::Internal
