#include "LimitsOfWrites.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>

namespace Bench::Limit
{

namespace
{

using Bytes = std::vector<unsigned char>;

qint64 recordCountOf(const Descriptor& descriptor, const PlainFile& file)
{
    return descriptor.size() / static_cast<qint64>(file.recordBytes());
}

/// End of the samples from `begin` on that lie in the file, below `end`.
std::size_t endOfRun(const Columns& columns, std::size_t begin, std::size_t end, const PlainFile& file)
{
    const auto first = columns.timestamps.begin();
    const auto behind = std::lower_bound(first + static_cast<std::ptrdiff_t>(begin),
                                         first + static_cast<std::ptrdiff_t>(end), file.endMs);
    return static_cast<std::size_t>(behind - first);
}

/// The samples of a batch by time.
Columns sorted(const Columns& batch)
{
    std::vector<std::pair<qint64, double>> pairs;
    pairs.reserve(batch.size());
    for (std::size_t i = 0; i < batch.size(); ++i)
        pairs.emplace_back(batch.timestamps[i], batch.values[i]);
    std::sort(pairs.begin(), pairs.end());
    Columns result;
    result.reserve(batch.size());
    for (const auto& [timestamp, value] : pairs)
        // Equal samples are stored once.
        if (result.size() == 0 || result.timestamps.back() != timestamp)
            result.add(timestamp, value);
    return result;
}

/// Records of one file in memory, from a position on.
class Tail
{
public:
    Tail(const Descriptor& descriptor, const PlainFile& file, qint64 first, qint64 count)
        : m_file(file),
          m_first(first),
          m_count(count - first),
          m_bytes(static_cast<std::size_t>(m_count) * file.recordBytes())
    {
        descriptor.read(m_bytes.data(), m_bytes.size(), byteOf(first));
    }

    /// Writes the old records and samples [begin, end) in time order, from the first new one on.
    void writeMerged(const Descriptor& descriptor, const Columns& batch, std::size_t begin, std::size_t end)
    {
        const qint64 firstNew = placeOf(batch.timestamps[begin], 0);
        Bytes result;
        result.reserve(m_bytes.size() + (end - begin) * m_file.recordBytes());
        qint64 taken = firstNew;
        for (std::size_t i = begin; i < end; ++i) {
            const qint64 place = placeOf(batch.timestamps[i], taken);
            if (place < m_count && timestampAt(place) == batch.timestamps[i])
                continue;
            take(result, taken, place);
            encode(batch, i, i + 1, m_file, result);
            taken = place;
        }
        take(result, taken, m_count);
        descriptor.write(result.data(), result.size(), byteOf(m_first + firstNew));
    }

private:
    qint64 byteOf(qint64 record) const { return record * static_cast<qint64>(m_file.recordBytes()); }

    qint64 timestampAt(qint64 record) const
    {
        return m_file.baseMs + offsetAt(m_bytes.data() + byteOf(record), m_file.width);
    }

    qint64 placeOf(qint64 timestamp, qint64 low) const
    {
        for (qint64 high = m_count; low < high;) {
            const qint64 middle = low + (high - low) / 2;
            if (timestampAt(middle) < timestamp)
                low = middle + 1;
            else
                high = middle;
        }
        return low;
    }

    void take(Bytes& result, qint64 first, qint64 behind) const
    {
        result.insert(result.end(), m_bytes.begin() + byteOf(first), m_bytes.begin() + byteOf(behind));
    }

    const PlainFile& m_file;
    qint64 m_first;
    qint64 m_count;
    Bytes m_bytes;
};

void insertRun(const PlainFile& file, const Columns& batch, std::size_t begin, std::size_t end)
{
    const Descriptor descriptor(file.path, O_RDWR);
    const qint64 size = descriptor.size();
    const qint64 count = size / static_cast<qint64>(file.recordBytes());
    // Reading a small file costs less than the probes that would find where to begin.
    const bool isSmall = size <= static_cast<qint64>(kBlockBytes);
    const qint64 first = isSmall ? 0 : searchByProbes(descriptor, file, count, batch.timestamps[begin]);
    Tail(descriptor, file, first, count).writeMerged(descriptor, batch, begin, end);
}

void eraseInside(const PlainFile& file, Period period)
{
    const std::string beside = file.path + ".new";
    {
        const Descriptor old(file.path, O_RDONLY);
        const qint64 count = recordCountOf(old, file);
        const auto recordBytes = static_cast<qint64>(file.recordBytes());
        const qint64 first = searchByProbes(old, file, count, period.from) * recordBytes;
        const qint64 behind = searchByProbes(old, file, count, period.to + 1) * recordBytes;
        Bytes kept(static_cast<std::size_t>(first + count * recordBytes - behind));
        old.read(kept.data(), static_cast<std::size_t>(first), 0);
        old.read(kept.data() + first, kept.size() - static_cast<std::size_t>(first), behind);
        const Descriptor renewed(beside, O_WRONLY | O_CREAT | O_TRUNC);
        renewed.write(kept.data(), kept.size(), 0);
        renewed.synchronize();
    }
    std::rename(beside.c_str(), file.path.c_str());
}

} // namespace

void appendBatches(const PlainFiles& layout, const Columns& columns)
{
    const PlainFile* current = nullptr;
    qint64 position = 0;
    Bytes bytes;
    for (std::size_t batchBegin = 0; batchBegin < columns.size(); batchBegin += kBatchSize) {
        const std::size_t batchEnd = std::min(batchBegin + kBatchSize, columns.size());
        for (std::size_t begin = batchBegin; begin < batchEnd;) {
            const PlainFile& file = fileOf(layout, columns.timestamps[begin]);
            if (&file != current) {
                std::filesystem::create_directories(std::filesystem::path(file.path).parent_path());
                current = &file;
                position = 0;
            }
            const std::size_t end = endOfRun(columns, begin, batchEnd, file);
            bytes.clear();
            encode(columns, begin, end, file, bytes);
            Descriptor(file.path, O_WRONLY | O_CREAT).write(bytes.data(), bytes.size(), position);
            position += static_cast<qint64>(bytes.size());
            begin = end;
        }
    }
}

void appendSingles(const PlainFile& lastFile, const Columns& columns)
{
    Bytes bytes;
    std::array<unsigned char, 16> lastRecord{};
    const auto recordBytes = static_cast<qint64>(lastFile.recordBytes());
    for (std::size_t i = 0; i < columns.size(); ++i) {
        const Descriptor descriptor(lastFile.path, O_RDWR);
        const qint64 size = descriptor.size();
        descriptor.read(lastRecord.data(), lastFile.recordBytes(), size - recordBytes);
        bytes.clear();
        encode(columns, i, i + 1, lastFile, bytes);
        descriptor.write(bytes.data(), bytes.size(), size);
    }
}

void insertBatch(const PlainFiles& files, const Columns& batch)
{
    const Columns inOrder = sorted(batch);
    for (std::size_t begin = 0; begin < inOrder.size();) {
        const PlainFile& file = fileOf(files, inOrder.timestamps[begin]);
        const std::size_t end = endOfRun(inOrder, begin, inOrder.size(), file);
        insertRun(file, inOrder, begin, end);
        begin = end;
    }
}

void erase(const PlainFiles& files, Period period)
{
    for (const PlainFile& file : files) {
        if (file.endMs <= period.from || file.baseMs > period.to)
            continue;
        if (file.baseMs < period.from || file.endMs - 1 > period.to) {
            eraseInside(file, period);
            continue;
        }
        unlink(file.path.c_str());
        // Refused while something is left in it, which is what is wanted.
        rmdir(std::filesystem::path(file.path).parent_path().c_str());
    }
}

PlainFiles relocated(PlainFiles files, const std::string& from, const std::string& to)
{
    for (PlainFile& file : files)
        file.path.replace(0, from.size(), to);
    return files;
}

} // namespace Bench::Limit
