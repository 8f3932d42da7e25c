#include "PlainFiles.h"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <system_error>

namespace Bench
{

namespace
{

[[noreturn]] void fail(const std::string& what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

qint64 milliseconds(std::chrono::sys_days day)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(day.time_since_epoch()).count();
}

/// The names on the way to a file: year, month, day, hour, minute.
using Fields = std::array<int, 5>;

PlainFile placeOf(const Fields& fields, int depth)
{
    using namespace std::chrono;
    const year_month_day day{year(fields[0]), month(depth > 0 ? static_cast<unsigned>(fields[1]) : 1U),
                             std::chrono::day(depth > 1 ? static_cast<unsigned>(fields[2]) : 1U)};
    const qint64 dayMs = milliseconds(sys_days(day));
    PlainFile file;
    file.width = kWidthOfDepth[static_cast<std::size_t>(depth)];
    file.baseMs = dayMs + (depth > 2 ? fields[3] * kHourMs : 0) + (depth > 3 ? fields[4] * kHourMs / 60 : 0);
    switch (depth) {
    case 0:
        file.endMs = milliseconds(sys_days(day + years(1)));
        break;
    case 1:
        file.endMs = milliseconds(sys_days(day + months(1)));
        break;
    case 2:
        file.endMs = file.baseMs + kDayMs;
        break;
    case 3:
        file.endMs = file.baseMs + kHourMs;
        break;
    default:
        file.endMs = file.baseMs + kHourMs / 60;
        break;
    }
    return file;
}

void listInto(PlainFiles& files, const std::string& seriesDirectory, const std::string& directory)
{
    DIR* stream = opendir(directory.c_str());
    if (!stream)
        fail(directory);
    std::vector<std::pair<std::string, bool>> entries;
    while (const dirent* entry = readdir(stream)) {
        if (entry->d_name[0] != '.')
            entries.emplace_back(entry->d_name, entry->d_type == DT_DIR);
    }
    closedir(stream);
    std::sort(entries.begin(), entries.end());
    for (const auto& [name, isDirectory] : entries) {
        if (isDirectory)
            listInto(files, seriesDirectory, directory + '/' + name);
        else
            files.push_back(fileAt(seriesDirectory, directory + '/' + name));
    }
}

} // namespace

PlainFiles listFiles(const std::string& seriesDirectory)
{
    PlainFiles files;
    listInto(files, seriesDirectory, seriesDirectory);
    return files;
}

PlainFile fileAt(const std::string& seriesDirectory, const std::string& path)
{
    Fields fields{};
    int depth = -1;
    std::size_t at = seriesDirectory.size();
    while (at < path.size()) {
        const std::size_t slash = std::min(path.find('/', at + 1), path.size());
        fields[static_cast<std::size_t>(++depth)] = std::stoi(path.substr(at + 1, slash - at - 1));
        at = slash;
    }
    PlainFile file = placeOf(fields, depth);
    file.path = path;
    return file;
}

const PlainFile& fileOf(const PlainFiles& files, qint64 timestamp)
{
    const auto after =
        std::upper_bound(files.begin(), files.end(), timestamp,
                         [](qint64 wanted, const PlainFile& file) { return wanted < file.baseMs; });
    return after == files.begin() ? files.front() : *(after - 1);
}

Descriptor::Descriptor(const std::string& path, int flags)
    : m_descriptor(open(path.c_str(), flags | O_CLOEXEC, 0644))
{
    if (m_descriptor < 0)
        fail(path);
}

Descriptor::~Descriptor()
{
    close(m_descriptor);
}

qint64 Descriptor::size() const
{
    struct stat status;
    if (fstat(m_descriptor, &status) != 0)
        fail("fstat");
    return status.st_size;
}

std::size_t Descriptor::read(unsigned char* to, std::size_t count, qint64 at) const
{
    const ssize_t got = pread(m_descriptor, to, count, at);
    if (got < 0)
        fail("pread");
    return static_cast<std::size_t>(got);
}

void Descriptor::write(const unsigned char* from, std::size_t count, qint64 at) const
{
    if (pwrite(m_descriptor, from, count, at) != static_cast<ssize_t>(count))
        fail("pwrite");
}

void Descriptor::synchronize() const
{
    if (fdatasync(m_descriptor) != 0)
        fail("fdatasync");
}

void encode(const Columns& columns, std::size_t begin, std::size_t end, const PlainFile& file,
            std::vector<unsigned char>& bytes)
{
    std::size_t at = bytes.size();
    // The offset is stored as 8 bytes from its own first one on; the value then covers what is too much.
    bytes.resize(at + (end - begin) * file.recordBytes());
    for (std::size_t i = begin; i < end; ++i, at += file.recordBytes()) {
        const quint64 offset = static_cast<quint64>(columns.timestamps[i] - file.baseMs);
        const quint64 offsetBytes = __builtin_bswap64(offset << (64 - 8 * file.width));
        quint64 valueBits;
        std::memcpy(&valueBits, &columns.values[i], sizeof valueBits);
        valueBits = __builtin_bswap64(valueBits);
        std::memcpy(bytes.data() + at, &offsetBytes, sizeof offsetBytes);
        std::memcpy(bytes.data() + at + file.width, &valueBits, sizeof valueBits);
    }
}

double checksumOfSeries(const std::string& seriesDirectory)
{
    Checksum checksum;
    scanSeries(seriesDirectory, [&](qint64 timestamp, double value) { checksum.add(timestamp, value); });
    return checksum.value();
}

qint64 searchByProbes(const Descriptor& descriptor, const PlainFile& file, qint64 recordCount,
                      qint64 timestamp)
{
    std::array<unsigned char, 8> bytes{};
    qint64 low = 0;
    qint64 high = recordCount;
    while (low < high) {
        const qint64 middle = low + (high - low) / 2;
        descriptor.read(bytes.data(), static_cast<std::size_t>(file.width),
                        middle * static_cast<qint64>(file.recordBytes()));
        if (file.baseMs + offsetAt(bytes.data(), file.width) < timestamp)
            low = middle + 1;
        else
            high = middle;
    }
    return low;
}

GuessedBlock::GuessedBlock(const Descriptor& descriptor, const PlainFile& file, qint64 recordCount,
                           qint64 timestamp)
    : m_descriptor(descriptor), m_file(file), m_recordCount(recordCount), m_timestamp(timestamp)
{
    // The samples of the workload come once a second, so the file's own rate needs no read.
    const qint64 guess = (timestamp - file.baseMs) / kSecondMs;
    load(guess - kGuessedRecords / 2);
    if (!holdsNeighbours())
        load(searchByProbes(descriptor, file, recordCount, timestamp) - kGuessedRecords / 2);
}

void GuessedBlock::load(qint64 first)
{
    m_first = std::clamp<qint64>(first, 0, std::max<qint64>(m_recordCount - kGuessedRecords, 0));
    const qint64 recordBytes = static_cast<qint64>(m_file.recordBytes());
    const std::size_t count = m_descriptor.read(
        m_bytes.data(), static_cast<std::size_t>(kGuessedRecords * recordBytes), m_first * recordBytes);
    m_count = static_cast<qint64>(count) / recordBytes;
    qint64 low = 0;
    qint64 high = m_count;
    while (low < high) {
        const qint64 middle = low + (high - low) / 2;
        if (timestampAt(m_first + middle) < m_timestamp)
            low = middle + 1;
        else
            high = middle;
    }
    m_position = m_first + low;
}

bool GuessedBlock::holdsNeighbours() const
{
    const bool beginsInTime = m_position > m_first || m_first == 0;
    const bool endsInTime = m_position < m_first + m_count || m_first + m_count == m_recordCount;
    return beginsInTime && endsInTime;
}

qint64 GuessedBlock::timestampAt(qint64 record) const
{
    const std::size_t at = static_cast<std::size_t>(record - m_first) * m_file.recordBytes();
    return m_file.baseMs + offsetAt(m_bytes.data() + at, m_file.width);
}

double GuessedBlock::valueOf(qint64 record) const
{
    const std::size_t at = static_cast<std::size_t>(record - m_first) * m_file.recordBytes();
    return valueAt(m_bytes.data() + at, m_file.width);
}

} // namespace Bench
