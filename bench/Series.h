#pragma once

// Owns the series that the rows write and read: their layouts, the shared ones that are built once per
// process, and copies for rows that change them.

#include "TSFileColumns.h"
#include "TSFileStorage.h"
#include "Workload.h"

#include <array>
#include <string>
#include <vector>

namespace Bench
{

using Records = std::vector<Kiv::Interpolate::DataRecord>;

/// How large a record file may grow, and so how many there are.
struct Layout {
    const char* name;
    int maxFileSizeBytes;
};

inline constexpr std::array<Layout, 3> kLayouts = {
    {{"month", 40'000'000}, {"day", 2'000'000}, {"hour", 1'000'000}}};

/// A series of doubles in a base directory.
class Series
{
public:
    Series(std::string baseDirectory, const Layout& layout);

    /// The directory of its record files.
    std::string recordDirectory() const { return m_baseDirectory + "/D"; }
    const std::string& baseDirectory() const { return m_baseDirectory; }
    Kiv::TSFileStorage& storage() { return m_storage; }

    /// Writes a batch; throws when that fails.
    void write(Records batch);
    void write(const Kiv::TSFileColumns& batch);
    Records read(const char* method, qint64 intervalSeconds, Period period);
    Records readAll(const char* method, qint64 intervalSeconds);

private:
    std::string m_baseDirectory;
    Kiv::TSFileStorage m_storage;
};

/// The first and the last sample, as reading calls name them.
inline constexpr Period kEverything = {-2, -3};

Records toRecords(const Columns& columns, std::size_t begin, std::size_t end);
Records toRecords(const Columns& columns);
std::vector<Records> toBatches(const Columns& columns);
std::vector<Kiv::TSFileColumns> toColumnBatches(const Columns& columns);
double checksumOf(const Records& records);

/// All samples in a layout, built at first use; never to be changed.
Series& sharedSeries(const Layout& layout);

/// A copy of the record files of a shared series that goes with the object.
class CopiedSeries
{
public:
    explicit CopiedSeries(const Layout& layout);

    Series& operator*() { return m_series; }
    Series* operator->() { return &m_series; }

private:
    Directory m_directory;
    Series m_series;
};

} // namespace Bench
