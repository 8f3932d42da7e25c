// W1, W2, W3, W3c and D1: what changes files. Each round starts from files of its own.

#include "LimitsOfWrites.h"
#include "Rows.h"
#include "Series.h"

namespace Bench
{

namespace
{

// The rounds of a repetition; making their files ready costs more than the work.
constexpr int kRoundsOfShortWork = 3;

double asItems(std::size_t count)
{
    return static_cast<double>(count);
}

template <typename Batches>
Outcome appendAll(const Layout& layout, Batches batches, Stopwatch& watch)
{
    const Directory directory;
    Series series(directory.path(), layout);
    watch.start();
    for (auto& batch : batches)
        series.write(std::move(batch));
    watch.stop();
    return {asItems(samples().size()), checksumOfSeries(series.recordDirectory())};
}

void addAppendRows(const Layout& layout)
{
    addRow(std::string("W1/records/") + layout.name + "/ours", [&layout](Stopwatch& watch) -> Outcome {
        return appendAll(layout, toBatches(samples()), watch);
    })->Iterations(1);
    addRow(std::string("W1/columns/") + layout.name + "/ours", [&layout](Stopwatch& watch) -> Outcome {
        return appendAll(layout, toColumnBatches(samples()), watch);
    })->Iterations(1);
    for (const char* name : {"W1/records/", "W1/columns/"})
        addRow(std::string(name) + layout.name + "/limit", [&layout](Stopwatch& watch) -> Outcome {
            const Directory directory;
            const std::string target = directory.path() + "/D";
            const std::string model = sharedSeries(layout).recordDirectory();
            const PlainFiles files = Limit::relocated(listFiles(model), model, target);
            watch.start();
            Limit::appendBatches(files, samples());
            watch.stop();
            return {asItems(samples().size()), checksumOfSeries(target)};
        })->Iterations(1);
}

void addSingleAppendRows(const Layout& layout)
{
    const std::string name = std::string("W2/-/") + layout.name;
    addRow(name + "/ours", [&layout](Stopwatch& watch) -> Outcome {
        CopiedSeries copy(layout);
        const Columns newer = makeNewerSamples(kSingleAppendCount);
        watch.start();
        for (std::size_t i = 0; i < newer.size(); ++i)
            Series(copy->baseDirectory(), layout).write({{newer.timestamps[i], newer.values[i]}});
        watch.stop();
        return {asItems(newer.size()), checksumOfSeries(copy->recordDirectory())};
    })->Iterations(1);
    addRow(name + "/limit", [&layout](Stopwatch& watch) -> Outcome {
        CopiedSeries copy(layout);
        const Columns newer = makeNewerSamples(kSingleAppendCount);
        const PlainFiles files = listFiles(copy->recordDirectory());
        watch.start();
        Limit::appendSingles(files.back(), newer);
        watch.stop();
        return {asItems(newer.size()), checksumOfSeries(copy->recordDirectory())};
    })->Iterations(1);
}

using MakeBatches = std::vector<Columns> (*)(std::size_t);

void addLateRows(const std::string& row, const Layout& layout, MakeBatches makeBatches,
                 std::size_t batchCount)
{
    const std::string name = row + "/-/" + layout.name;
    addRow(name + "/ours", [&layout, makeBatches, batchCount](Stopwatch& watch) -> Outcome {
        CopiedSeries copy(layout);
        std::vector<Records> batches;
        for (const Columns& batch : makeBatches(batchCount))
            batches.push_back(toRecords(batch));
        watch.start();
        for (Records& batch : batches)
            copy->write(std::move(batch));
        watch.stop();
        return {asItems(batchCount * kLateBatchSize), checksumOfSeries(copy->recordDirectory())};
    })->Iterations(1);
    addRow(name + "/limit", [&layout, makeBatches, batchCount](Stopwatch& watch) -> Outcome {
        CopiedSeries copy(layout);
        const std::vector<Columns> batches = makeBatches(batchCount);
        const PlainFiles files = listFiles(copy->recordDirectory());
        watch.start();
        for (const Columns& batch : batches)
            Limit::insertBatch(files, batch);
        watch.stop();
        return {asItems(batchCount * kLateBatchSize), checksumOfSeries(copy->recordDirectory())};
    })->Iterations(1);
}

void addDeleteRows(const Layout& layout)
{
    const std::string name = std::string("D1/-/") + layout.name;
    addRow(name + "/ours", [&layout](Stopwatch& watch) -> Outcome {
        CopiedSeries copy(layout);
        const Period period = periodToDelete();
        watch.start();
        copy->storage().deleteDataRecords(period.from, period.to);
        watch.stop();
        return {1.0, checksumOfSeries(copy->recordDirectory())};
    })->Iterations(kRoundsOfShortWork);
    addRow(name + "/limit", [&layout](Stopwatch& watch) -> Outcome {
        CopiedSeries copy(layout);
        const PlainFiles files = listFiles(copy->recordDirectory());
        watch.start();
        Limit::erase(files, periodToDelete());
        watch.stop();
        return {1.0, checksumOfSeries(copy->recordDirectory())};
    })->Iterations(kRoundsOfShortWork);
}

bool hasLargeFiles(const Layout& layout)
{
    constexpr int kLargeBytes = 10'000'000;
    return layout.maxFileSizeBytes > kLargeBytes;
}

} // namespace

void addWriteRows()
{
    for (const Layout& layout : kLayouts) {
        const std::size_t lateCount = hasLargeFiles(layout) ? kLateBatchCountOfLargeFiles : kLateBatchCount;
        addAppendRows(layout);
        // The newest file of the hour layout is a day's, about to be split: that cost belongs to W1.
        if (&layout != &kLayouts.back())
            addSingleAppendRows(layout);
        addLateRows("W3", layout, makeLateBatches, lateCount);
        addLateRows("W3c", layout, makeLateBatchesWithinHours, lateCount);
        addDeleteRows(layout);
    }
}

} // namespace Bench
