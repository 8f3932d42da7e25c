#include "Series.h"

#include <filesystem>
#include <map>
#include <memory>
#include <stdexcept>

namespace Bench
{

Series::Series(std::string baseDirectory, const Layout& layout)
    : m_baseDirectory(std::move(baseDirectory)),
      m_storage(QString::fromStdString(m_baseDirectory), QMetaType::Double, layout.maxFileSizeBytes)
{
}

void Series::write(Records batch)
{
    if (!m_storage.writeDataRecords(std::move(batch), false, false))
        throw std::runtime_error("a batch could not be written");
}

void Series::write(const Kiv::TSFileColumns& batch)
{
    if (!m_storage.writeDataColumns(batch, false, false))
        throw std::runtime_error("a batch could not be written");
}

Records Series::read(const char* method, qint64 intervalSeconds, Period period)
{
    Records result;
    int limit = 0;
    m_storage.readDataRecords({QString::fromLatin1(method), intervalSeconds, {}, true, 0}, {}, period.from,
                              period.to, result, false, limit, nullptr, nullptr);
    return result;
}

Records Series::readAll(const char* method, qint64 intervalSeconds)
{
    return read(method, intervalSeconds, kEverything);
}

Records toRecords(const Columns& columns, std::size_t begin, std::size_t end)
{
    Records records;
    records.reserve(end - begin);
    for (std::size_t i = begin; i < end; ++i)
        records.emplace_back(columns.timestamps[i], columns.values[i]);
    return records;
}

Records toRecords(const Columns& columns)
{
    return toRecords(columns, 0, columns.size());
}

std::vector<Records> toBatches(const Columns& columns)
{
    std::vector<Records> batches;
    for (std::size_t begin = 0; begin < columns.size(); begin += kBatchSize)
        batches.push_back(toRecords(columns, begin, std::min(begin + kBatchSize, columns.size())));
    return batches;
}

std::vector<Kiv::TSFileColumns> toColumnBatches(const Columns& columns)
{
    std::vector<Kiv::TSFileColumns> batches;
    for (std::size_t begin = 0; begin < columns.size(); begin += kBatchSize) {
        const auto end = static_cast<std::ptrdiff_t>(std::min(begin + kBatchSize, columns.size()));
        const auto from = static_cast<std::ptrdiff_t>(begin);
        Kiv::TSFileColumns& batch = batches.emplace_back();
        batch.timestamps.assign(columns.timestamps.begin() + from, columns.timestamps.begin() + end);
        batch.doubles.assign(columns.values.begin() + from, columns.values.begin() + end);
    }
    return batches;
}

double checksumOf(const Records& records)
{
    Checksum checksum;
    for (const Kiv::Interpolate::DataRecord& record : records)
        checksum.add(record.timestamp, record.value.toDouble());
    return checksum.value();
}

Series& sharedSeries(const Layout& layout)
{
    struct Shared {
        explicit Shared(const Layout& wanted) : series(directory.path(), wanted)
        {
            for (std::size_t begin = 0; begin < samples().size(); begin += kBatchSize)
                series.write(toRecords(samples(), begin, std::min(begin + kBatchSize, samples().size())));
        }

        Directory directory;
        Series series;
    };
    static std::map<int, std::unique_ptr<Shared>> all;
    std::unique_ptr<Shared>& shared = all[layout.maxFileSizeBytes];
    if (!shared)
        shared = std::make_unique<Shared>(layout);
    return shared->series;
}

CopiedSeries::CopiedSeries(const Layout& layout) : m_series(m_directory.path(), layout)
{
    std::filesystem::copy(sharedSeries(layout).recordDirectory(), m_series.recordDirectory(),
                          std::filesystem::copy_options::recursive);
}

} // namespace Bench
