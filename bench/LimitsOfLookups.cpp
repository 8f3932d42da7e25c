#include "LimitsOfReads.h"

#include <dirent.h>
#include <sys/stat.h>

#include <array>
#include <optional>

namespace Bench::Limit
{

namespace
{

qint64 recordCountOf(const Descriptor& descriptor, const PlainFile& file)
{
    return descriptor.size() / static_cast<qint64>(file.recordBytes());
}

qint64 countBelow(int directory, std::size_t depth)
{
    qint64 records = 0;
    DIR* stream = fdopendir(directory);
    while (const dirent* entry = readdir(stream)) {
        if (entry->d_name[0] == '.')
            continue;
        if (entry->d_type == DT_DIR) {
            records += countBelow(openat(directory, entry->d_name, O_RDONLY | O_DIRECTORY), depth + 1);
            continue;
        }
        struct stat status;
        if (fstatat(directory, entry->d_name, &status, 0) == 0)
            records += status.st_size / (kWidthOfDepth[depth] + kValueBytes);
    }
    closedir(stream);
    return records;
}

/// The entry of a directory that is last by name, and whether it is a directory.
std::pair<std::string, bool> lastEntry(const std::string& directory)
{
    std::pair<std::string, bool> found;
    DIR* stream = opendir(directory.c_str());
    while (const dirent* entry = readdir(stream)) {
        if (entry->d_name[0] != '.' && entry->d_name > found.first)
            found = {entry->d_name, entry->d_type == DT_DIR};
    }
    closedir(stream);
    return found;
}

struct Sample {
    qint64 timestamp;
    double value;
};

/// The samples before and at or after a time, where they exist.
struct Neighbours {
    std::optional<Sample> before;
    std::optional<Sample> after;
};

/// Looks for neighbours in ascending order; keeps the current file open.
class GridReader
{
public:
    explicit GridReader(const std::string& seriesDirectory) : m_files(listFiles(seriesDirectory)) { open(0); }

    Neighbours around(qint64 timestamp)
    {
        while (m_current + 1 < m_files.size() && m_files[m_current].endMs <= timestamp) {
            m_lastOfPrevious = sampleAt(m_count - 1);
            open(m_current + 1);
        }
        const GuessedBlock block(*m_descriptor, m_files[m_current], m_count, timestamp);
        const qint64 position = block.position();
        Neighbours found;
        if (position > 0)
            found.before = {block.timestampAt(position - 1), block.valueOf(position - 1)};
        else
            found.before = m_lastOfPrevious;
        if (position < m_count)
            found.after = {block.timestampAt(position), block.valueOf(position)};
        else if (m_current + 1 < m_files.size())
            found.after = firstOfNext();
        return found;
    }

private:
    void open(std::size_t file)
    {
        m_current = file;
        m_descriptor.emplace(m_files[file].path, O_RDONLY);
        m_count = recordCountOf(*m_descriptor, m_files[file]);
    }

    Sample sampleAt(qint64 record) const
    {
        const PlainFile& file = m_files[m_current];
        std::array<unsigned char, 16> bytes{};
        m_descriptor->read(bytes.data(), file.recordBytes(),
                           record * static_cast<qint64>(file.recordBytes()));
        return {file.baseMs + offsetAt(bytes.data(), file.width), valueAt(bytes.data(), file.width)};
    }

    Sample firstOfNext() const
    {
        const PlainFile& file = m_files[m_current + 1];
        std::array<unsigned char, 16> bytes{};
        Descriptor(file.path, O_RDONLY).read(bytes.data(), file.recordBytes(), 0);
        return {file.baseMs + offsetAt(bytes.data(), file.width), valueAt(bytes.data(), file.width)};
    }

    PlainFiles m_files;
    std::size_t m_current = 0;
    std::optional<Descriptor> m_descriptor;
    qint64 m_count = 0;
    std::optional<Sample> m_lastOfPrevious;
};

double lineAt(const Sample& a, qint64 timestamp, const Sample& b)
{
    return a.value + (b.value - a.value) * static_cast<double>(timestamp - a.timestamp) /
                         static_cast<double>(b.timestamp - a.timestamp);
}

} // namespace

qint64 count(const std::string& seriesDirectory)
{
    return countBelow(open(seriesDirectory.c_str(), O_RDONLY | O_DIRECTORY), 0);
}

double findByGuess(const PlainFiles& files, const std::vector<qint64>& timestamps)
{
    double sum = 0.0;
    for (const qint64 timestamp : timestamps) {
        const PlainFile& file = fileOf(files, timestamp);
        const Descriptor descriptor(file.path, O_RDONLY);
        const GuessedBlock block(descriptor, file, recordCountOf(descriptor, file), timestamp);
        if (block.timestampAt(block.position()) == timestamp)
            sum += block.valueOf(block.position());
    }
    return sum;
}

double findByProbes(const PlainFiles& files, const std::vector<qint64>& timestamps)
{
    double sum = 0.0;
    std::array<unsigned char, 16> bytes{};
    for (const qint64 timestamp : timestamps) {
        const PlainFile& file = fileOf(files, timestamp);
        const Descriptor descriptor(file.path, O_RDONLY);
        const qint64 record = searchByProbes(descriptor, file, recordCountOf(descriptor, file), timestamp);
        descriptor.read(bytes.data(), file.recordBytes(), record * static_cast<qint64>(file.recordBytes()));
        if (file.baseMs + offsetAt(bytes.data(), file.width) == timestamp)
            sum += valueAt(bytes.data(), file.width);
    }
    return sum;
}

Kiv::Interpolate::DataRecord last(const std::string& seriesDirectory)
{
    std::string path = seriesDirectory;
    for (bool isDirectory = true; isDirectory;) {
        const auto [name, deeper] = lastEntry(path);
        path += '/' + name;
        isDirectory = deeper;
    }
    const PlainFile file = fileAt(seriesDirectory, path);
    const Descriptor descriptor(path, O_RDONLY);
    std::array<unsigned char, 16> bytes{};
    descriptor.read(bytes.data(), file.recordBytes(),
                    (recordCountOf(descriptor, file) - 1) * static_cast<qint64>(file.recordBytes()));
    return {file.baseMs + offsetAt(bytes.data(), file.width), valueAt(bytes.data(), file.width)};
}

Records readGrid(const std::string& seriesDirectory, qint64 intervalMs, Point point)
{
    Records results;
    GridReader reader(seriesDirectory);
    for (qint64 boundary = kStartMs + intervalMs;; boundary += intervalMs) {
        const Neighbours found = reader.around(boundary);
        if (point == Point::Linear && found.before && found.after)
            results.emplace_back(boundary, lineAt(*found.before, boundary, *found.after));
        if (point == Point::Previous && found.before)
            results.emplace_back(boundary, found.before->value);
        if (!found.after)
            return results;
    }
}

} // namespace Bench::Limit
