#include "LimitsOfReads.h"
#include "Reducers.h"

namespace Bench::Limit
{

namespace
{

/// \param scan  hands a series to a cutter
template <typename State, typename Scan>
Records reduceHourlyWith(Scan scan)
{
    Records results;
    const auto close = [&](qint64 end, State& state) { results.emplace_back(end, state.take()); };
    IntervalCutter<State, decltype(close)> cutter(kHourMs, close);
    scan(cutter);
    cutter.finish();
    return results;
}

template <typename Scan>
Records reduceHourlyBy(Aggregate aggregate, Scan scan)
{
    switch (aggregate) {
    case Aggregate::Mean:
        return reduceHourlyWith<Mean>(scan);
    case Aggregate::Sum:
        return reduceHourlyWith<Sum>(scan);
    case Aggregate::Min:
        return reduceHourlyWith<Min>(scan);
    case Aggregate::Max:
        return reduceHourlyWith<Max>(scan);
    case Aggregate::Count:
        return reduceHourlyWith<Count>(scan);
    case Aggregate::Median:
        return reduceHourlyWith<Median>(scan);
    }
    throw std::logic_error("no such aggregate");
}

/// The records of a period, found by binary search.
template <typename TakeBlock>
void scanPeriod(const std::string& seriesDirectory, Period period, TakeBlock takeBlock)
{
    for (const PlainFile& file : listFiles(seriesDirectory)) {
        if (file.endMs <= period.from || file.baseMs > period.to)
            continue;
        const Descriptor descriptor(file.path, O_RDONLY);
        const qint64 count = descriptor.size() / static_cast<qint64>(file.recordBytes());
        const qint64 first =
            file.baseMs >= period.from ? 0 : searchByProbes(descriptor, file, count, period.from);
        const qint64 behind =
            file.endMs - 1 <= period.to ? count : searchByProbes(descriptor, file, count, period.to + 1);
        scanBlocks(descriptor, file, first, behind, takeBlock);
    }
}

template <typename State, typename Close>
void reduceDailyWith(const std::string& seriesDirectory, Period period, Close close)
{
    IntervalCutter<State, Close> cutter(kDayMs, std::move(close));
    scanPeriod(seriesDirectory, period, [&](const RecordBlock& block) { cutter.add(block); });
    cutter.finish();
}

} // namespace

Records scanIntoRecords(const std::string& seriesDirectory)
{
    Records records;
    records.reserve(static_cast<std::size_t>(count(seriesDirectory)));
    scanSeries(seriesDirectory,
               [&](qint64 timestamp, double value) { records.emplace_back(timestamp, value); });
    return records;
}

Columns scanIntoColumns(const std::string& seriesDirectory)
{
    const std::size_t size = static_cast<std::size_t>(count(seriesDirectory));
    Columns columns;
    columns.reserve(size);
    scanInColumnBlocks(seriesDirectory, [&](const Columns& block) {
        columns.timestamps.insert(columns.timestamps.end(), block.timestamps.begin(), block.timestamps.end());
        columns.values.insert(columns.values.end(), block.values.begin(), block.values.end());
    });
    return columns;
}

void scanInColumnBlocks(const std::string& seriesDirectory, const std::function<void(const Columns&)>& take)
{
    Columns columns;
    scanSeriesBlocks(seriesDirectory, [&](const RecordBlock& block) {
        columns.timestamps.resize(static_cast<std::size_t>(block.count));
        columns.values.resize(static_cast<std::size_t>(block.count));
        qint64* timestamps = columns.timestamps.data();
        double* values = columns.values.data();
        const auto store = [&](qint64 timestamp, double value) {
            *timestamps++ = timestamp;
            *values++ = value;
        };
        decode(block, store);
        take(columns);
    });
}

Records reduceHourly(const std::string& seriesDirectory, Aggregate aggregate)
{
    return reduceHourlyBy(aggregate, [&](auto& cutter) {
        scanSeriesBlocks(seriesDirectory, [&](const RecordBlock& block) { cutter.add(block); });
    });
}

Records reduceHourlySampleBySample(const std::string& seriesDirectory, Aggregate aggregate)
{
    return reduceHourlyBy(aggregate, [&](auto& cutter) {
        scanSeries(seriesDirectory, [&](qint64 timestamp, double value) { cutter.add(timestamp, value); });
    });
}

std::vector<DayResult> reduceDaily(const std::string& seriesDirectory, Period period)
{
    std::vector<DayResult> days;
    reduceDailyWith<All>(seriesDirectory, period, [&](qint64, All& all) {
        days.push_back({all.extremes.min.take(), all.extremes.max.take(), all.mean.take()});
    });
    return days;
}

std::vector<DayResult> reduceDailyInTwoPasses(const std::string& seriesDirectory, Period period)
{
    std::vector<DayResult> days;
    reduceDailyWith<Extremes>(seriesDirectory, period, [&](qint64, Extremes& extremes) {
        days.push_back({extremes.min.take(), extremes.max.take(), 0.0});
    });
    auto day = days.begin();
    reduceDailyWith<Mean>(seriesDirectory, period, [&](qint64, Mean& mean) { (day++)->mean = mean.take(); });
    return days;
}

} // namespace Bench::Limit
