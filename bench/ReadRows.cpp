// R1, R1q, R2 and R3: what reads many samples. All subjects read the shared series.

#include "LimitsOfReads.h"
#include "Rows.h"
#include "TSFileColumns.h"

namespace Bench
{

namespace
{

double sampleItems()
{
    return static_cast<double>(samples().size());
}

void addScanRows(const Layout& layout)
{
    const std::string name = std::string("R1q/-/") + layout.name;
    addRow(name + "/ours", [&layout](Stopwatch& watch) -> Outcome {
        Series& series = sharedSeries(layout);
        watch.start();
        const Records records = series.readAll("", 0);
        watch.stop();
        return {sampleItems(), checksumOf(records)};
    });
    addRow(name + "/limit", [&layout](Stopwatch& watch) -> Outcome {
        const std::string directory = sharedSeries(layout).recordDirectory();
        watch.start();
        const Records records = Limit::scanIntoRecords(directory);
        watch.stop();
        return {sampleItems(), checksumOf(records)};
    });
}

/// \param take  receives every block of columns
template <typename Take>
void readColumns(Series& series, Take take)
{
    Kiv::TSFileColumnReader reader(series.storage(), {}, {}, kEverything.from, kEverything.to, false, 0);
    for (Kiv::TSFileColumns block; reader.next(block);)
        take(block);
}

void addWholeColumnRows(const Layout& layout)
{
    const auto outcome = [](const Columns& columns) -> Outcome {
        Checksum checksum;
        checksum.add(columns);
        return {sampleItems(), checksum.value()};
    };
    const std::string name = std::string("R1/whole/") + layout.name;
    addRow(name + "/ours", [&layout, outcome](Stopwatch& watch) {
        Series& series = sharedSeries(layout);
        Kiv::TSFileColumns columns;
        int limit = 0;
        watch.start();
        series.storage().readDataColumns({}, {}, kEverything.from, kEverything.to, columns, false, limit);
        watch.stop();
        return outcome({std::move(columns.timestamps), std::move(columns.doubles)});
    });
    addRow(name + "/limit", [&layout, outcome](Stopwatch& watch) {
        const std::string directory = sharedSeries(layout).recordDirectory();
        watch.start();
        const Columns columns = Limit::scanIntoColumns(directory);
        watch.stop();
        return outcome(columns);
    });
}

void addBlockColumnRows(const Layout& layout)
{
    const std::string name = std::string("R1/blocks/") + layout.name;
    addRow(name + "/ours", [&layout](Stopwatch& watch) -> Outcome {
        Series& series = sharedSeries(layout);
        std::size_t count = 0;
        watch.start();
        readColumns(series, [&](const Kiv::TSFileColumns& block) { count += block.size(); });
        watch.stop();
        return {sampleItems(), static_cast<double>(count)};
    });
    addRow(name + "/limit", [&layout](Stopwatch& watch) -> Outcome {
        const std::string directory = sharedSeries(layout).recordDirectory();
        std::size_t count = 0;
        watch.start();
        Limit::scanInColumnBlocks(directory, [&](const Columns& block) { count += block.size(); });
        watch.stop();
        return {sampleItems(), static_cast<double>(count)};
    });
}

/// An hourly aggregate by the name of its method; extremes carry their sample's time unless they align.
struct HourlyRow {
    const char* name;
    const char* method;
    Limit::Aggregate aggregate;
};

constexpr HourlyRow kHourlyRows[] = {
    {"mean", "meana", Limit::Aggregate::Mean},   {"sum", "sum align", Limit::Aggregate::Sum},
    {"min", "min align", Limit::Aggregate::Min}, {"max", "max align", Limit::Aggregate::Max},
    {"count", "count", Limit::Aggregate::Count}, {"median", "median", Limit::Aggregate::Median},
};

using ReduceHourly = Records (*)(const std::string&, Limit::Aggregate);

void addHourlyLimit(const std::string& name, const Layout& layout, const HourlyRow& row, ReduceHourly reduce)
{
    addRow(name, [&layout, &row, reduce](Stopwatch& watch) -> Outcome {
        const std::string directory = sharedSeries(layout).recordDirectory();
        watch.start();
        const Records hours = reduce(directory, row.aggregate);
        watch.stop();
        return {sampleItems(), checksumOf(hours)};
    });
}

void addHourlyRows(const Layout& layout, const HourlyRow& row)
{
    const std::string name = std::string("R2/") + row.name + '/' + layout.name;
    addRow(name + "/ours", [&layout, &row](Stopwatch& watch) -> Outcome {
        Series& series = sharedSeries(layout);
        watch.start();
        const Records hours = series.readAll(row.method, kHourMs / kSecondMs);
        watch.stop();
        return {sampleItems(), checksumOf(hours)};
    });
    addHourlyLimit(name + "/limit", layout, row, Limit::reduceHourly);
    addHourlyLimit(name + "/limit_each", layout, row, Limit::reduceHourlySampleBySample);
}

double valueSum(const Records& records)
{
    double sum = 0.0;
    for (const Kiv::Interpolate::DataRecord& record : records)
        sum += record.value.toDouble();
    return sum;
}

using ReduceDaily = std::vector<Limit::DayResult> (*)(const std::string&, Period);

void addDailyLimit(const std::string& name, const Layout& layout, ReduceDaily reduce)
{
    addRow(name, [&layout, reduce](Stopwatch& watch) -> Outcome {
        const std::string directory = sharedSeries(layout).recordDirectory();
        watch.start();
        const std::vector<Limit::DayResult> days = reduce(directory, periodToRead());
        watch.stop();
        double check = 0.0;
        for (const Limit::DayResult& day : days)
            check += day.min + day.max + day.mean;
        return {1.0, check};
    });
}

void addDailyRows(const Layout& layout)
{
    constexpr qint64 kDays = -1;
    const std::string name = std::string("R3/-/") + layout.name;
    addRow(name + "/ours", [&layout](Stopwatch& watch) -> Outcome {
        Series& series = sharedSeries(layout);
        const Period period = periodToRead();
        watch.start();
        const Records extremes = series.read("minmax align", kDays, period);
        const Records means = series.read("meana", kDays, period);
        watch.stop();
        return {1.0, valueSum(extremes) + valueSum(means)};
    });
    addDailyLimit(name + "/limit", layout, Limit::reduceDaily);
    addDailyLimit(name + "/limit_two_passes", layout, Limit::reduceDailyInTwoPasses);
}

} // namespace

void addReadRows()
{
    for (const Layout& layout : kLayouts) {
        addScanRows(layout);
        addWholeColumnRows(layout);
        addBlockColumnRows(layout);
        for (const HourlyRow& row : kHourlyRows)
            addHourlyRows(layout, row);
        addDailyRows(layout);
    }
}

} // namespace Bench
