#pragma once

#include "Interpolate.h"
#include "KivTSFileStorageExport.h"

#include <memory>
#include <vector>

namespace Kiv
{

class TSFileStorage;

/// Samples in columns, the results of a read or a batch to write: entry i of each column belongs to sample i.
struct TSFileColumns {
    /// Which column holds the values.
    enum class Kind {
        Doubles,  ///< floating series, everything computed
        Integers, ///< raw records of bool and integer series; those of quint64 with the same 64 bits
    };

    Kind kind = Kind::Doubles;      ///< set by a read; chosen by who writes
    std::vector<qint64> timestamps; ///< milliseconds since the epoch (UTC)
    std::vector<double> doubles;    ///< filled for Doubles; 0 where null
    std::vector<qint64> integers;   ///< filled for Integers; 0 where null
    std::vector<quint8> isNull;     ///< 1 where the value is null

    /// \return the number of samples
    std::size_t size() const { return timestamps.size(); }

    /// True when every column that the kind uses is as long as the timestamps; `isNull` may be empty.
    KIVTSFILESTORAGE_EXPORT bool isConsistent() const;

    /// Forgets the results, keeps the memory.
    KIVTSFILESTORAGE_EXPORT void clear();
};

/// A read that hands out its results block by block, so that a read of any length, or of many series side by side,
/// runs in constant memory. What a gap is filled with counts as results, but comes at once.
///
/// Reads while it is asked; the storage must outlive it and not be written meanwhile. Not thread safe.
class KIVTSFILESTORAGE_EXPORT TSFileColumnReader
{
public:
    /// Most results in one block.
    static constexpr std::size_t kMaxBlockSize = 64 * 1024;

    /// The request is that of TSFileStorage::readDataRecords.
    /// \param limit  most results wanted, below 1 for no limit
    TSFileColumnReader(TSFileStorage& storage, Interpolate::InterpolateParam param,
                       std::vector<Interpolate::InterpolateParam> passes, qint64 start, qint64 end,
                       bool shiftIntervalForward, int limit);
    ~TSFileColumnReader();

    TSFileColumnReader(const TSFileColumnReader&) = delete;
    TSFileColumnReader& operator=(const TSFileColumnReader&) = delete;

    /// Replaces `block` by the next results, 1 to kMaxBlockSize of them.
    /// \return false, with an empty block, when there are no more, and for a series of variable-length values.
    ///         Files that cannot be opened are logged and skipped.
    bool next(TSFileColumns& block);

private:
    struct State;
    std::unique_ptr<State> m_state;
};

} // namespace Kiv
