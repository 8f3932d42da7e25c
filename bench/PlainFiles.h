#pragma once

// Owns how the limits see the files: names, plain system calls, and the bytes of records of doubles. Knows
// nothing of the library, whose format it repeats from docs/format.md. A system call that fails throws.

#include "Workload.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

namespace Bench
{

inline constexpr std::size_t kBlockBytes = 256 * 1024;
inline constexpr int kValueBytes = 8;
inline constexpr std::array<int, 5> kWidthOfDepth = {5, 4, 4, 3, 2}; ///< bytes of an offset: years to minutes
inline constexpr qint64 kToTheEnd = std::numeric_limits<qint64>::max();

/// One record file of the calendar tree.
struct PlainFile {
    std::string path;
    qint64 baseMs = 0;
    qint64 endMs = 0; ///< first millisecond behind its period
    int width = 0;    ///< bytes of an offset

    std::size_t recordBytes() const { return static_cast<std::size_t>(width + kValueBytes); }
};

using PlainFiles = std::vector<PlainFile>;

/// The record files below a series directory in time order: readdir, and nothing else.
PlainFiles listFiles(const std::string& seriesDirectory);

/// The record file of a path below a series directory, from the names alone.
PlainFile fileAt(const std::string& seriesDirectory, const std::string& path);

/// The file in whose period a timestamp lies; the last one for what is newer.
const PlainFile& fileOf(const PlainFiles& files, qint64 timestamp);

/// An open file.
class Descriptor
{
public:
    Descriptor(const std::string& path, int flags);
    ~Descriptor();
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    qint64 size() const;
    std::size_t read(unsigned char* to, std::size_t count, qint64 at) const; ///< fewer only at the end
    void write(const unsigned char* from, std::size_t count, qint64 at) const;
    void synchronize() const;

private:
    int m_descriptor;
};

inline quint64 loadBigEndian(const unsigned char* bytes)
{
    quint64 raw;
    std::memcpy(&raw, bytes, sizeof raw);
    return __builtin_bswap64(raw);
}

/// Offset of the record at `record`; needs the 8 bytes that every record has.
inline qint64 offsetAt(const unsigned char* record, int width)
{
    return static_cast<qint64>(loadBigEndian(record) >> (64 - 8 * width));
}

inline double valueAt(const unsigned char* record, int width)
{
    const quint64 bits = loadBigEndian(record + width);
    double value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

/// Appends samples [begin, end) to `bytes` as records of a file.
void encode(const Columns& columns, std::size_t begin, std::size_t end, const PlainFile& file,
            std::vector<unsigned char>& bytes);

/// Calls `loop` with the width as a constant, so that there is one loop per width.
template <typename Loop>
void withWidth(int width, Loop loop)
{
    switch (width) {
    case 2:
        return loop(std::integral_constant<int, 2>());
    case 3:
        return loop(std::integral_constant<int, 3>());
    case 4:
        return loop(std::integral_constant<int, 4>());
    case 5:
        return loop(std::integral_constant<int, 5>());
    default:
        throw std::logic_error("no such width");
    }
}

/// Whole records in memory.
struct RecordBlock {
    const unsigned char* bytes;
    qint64 count;
    const PlainFile& file;
};

/// Hands every record of a block to `take(timestamp, value)`.
template <typename Take>
void decode(const RecordBlock& block, Take& take)
{
    withWidth(block.file.width, [&](auto width) {
        constexpr int kWidth = decltype(width)::value;
        const unsigned char* record = block.bytes;
        for (qint64 i = 0; i < block.count; ++i, record += kWidth + kValueBytes)
            take(block.file.baseMs + offsetAt(record, kWidth), valueAt(record, kWidth));
    });
}

/// Reads the records of a file from one to another and hands them over in blocks.
template <typename TakeBlock>
void scanBlocks(const Descriptor& descriptor, const PlainFile& file, qint64 begin, qint64 end,
                TakeBlock takeBlock)
{
    thread_local std::vector<unsigned char> block(kBlockBytes);
    const qint64 recordBytes = static_cast<qint64>(file.recordBytes());
    const qint64 recordsPerBlock = static_cast<qint64>(kBlockBytes) / recordBytes;
    while (begin < end) {
        const qint64 wanted = std::min(recordsPerBlock, end - begin);
        const std::size_t bytes = descriptor.read(
            block.data(), static_cast<std::size_t>(wanted * recordBytes), begin * recordBytes);
        const qint64 count = static_cast<qint64>(bytes) / recordBytes;
        takeBlock(RecordBlock{block.data(), count, file});
        if (count < wanted)
            return;
        begin += wanted;
    }
}

/// Reads a series and hands it over in blocks.
template <typename TakeBlock>
void scanSeriesBlocks(const std::string& seriesDirectory, TakeBlock takeBlock)
{
    for (const PlainFile& file : listFiles(seriesDirectory))
        scanBlocks(Descriptor(file.path, O_RDONLY), file, 0, kToTheEnd, takeBlock);
}

/// Reads a series and hands over its samples.
template <typename Take>
void scanSeries(const std::string& seriesDirectory, Take take)
{
    scanSeriesBlocks(seriesDirectory, [&](const RecordBlock& block) { decode(block, take); });
}

/// Checksum of all samples below a series directory.
double checksumOfSeries(const std::string& seriesDirectory);

/// Number of the first record of a file at or after a timestamp, by binary search with one pread per probe.
qint64 searchByProbes(const Descriptor& descriptor, const PlainFile& file, qint64 recordCount,
                      qint64 timestamp);

/// A file's records near a timestamp: one pread around an interpolation guess; more only where it missed.
class GuessedBlock
{
public:
    GuessedBlock(const Descriptor& descriptor, const PlainFile& file, qint64 recordCount, qint64 timestamp);

    /// Number of the first record at or after the timestamp.
    qint64 position() const { return m_position; }
    /// Samples of records that the block holds: the one at position() and the one before, where they exist.
    qint64 timestampAt(qint64 record) const;
    double valueOf(qint64 record) const;

private:
    // Enough for the jitter of the samples on both sides of a guess.
    static constexpr qint64 kGuessedRecords = 256;
    static constexpr qint64 kLongestRecordBytes = 13;

    void load(qint64 first);
    bool holdsNeighbours() const;

    const Descriptor& m_descriptor;
    const PlainFile& m_file;
    qint64 m_recordCount;
    qint64 m_timestamp;
    std::array<unsigned char, kGuessedRecords * kLongestRecordBytes> m_bytes;
    qint64 m_first = 0;
    qint64 m_count = 0;
    qint64 m_position = 0;
};

} // namespace Bench
