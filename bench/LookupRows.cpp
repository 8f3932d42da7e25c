// R4, R5, R6 and R7: what finds its way to few bytes. All subjects read the shared series.

#include "LimitsOfReads.h"
#include "Rows.h"

#include <stdexcept>

namespace Bench
{

namespace
{

void addCountRows(const Layout& layout)
{
    const std::string name = std::string("R4/-/") + layout.name;
    addRow(name + "/ours", [&layout](Stopwatch& watch) -> Outcome {
        Series& series = sharedSeries(layout);
        watch.start();
        const qint64 count = series.storage().getCount({QString(), 0, {}, false, 0}, {}, kEverything.from,
                                                       kEverything.to, true, false, false);
        watch.stop();
        return {1.0, static_cast<double>(count)};
    });
    addRow(name + "/limit", [&layout](Stopwatch& watch) -> Outcome {
        const std::string directory = sharedSeries(layout).recordDirectory();
        watch.start();
        const qint64 count = Limit::count(directory);
        watch.stop();
        return {1.0, static_cast<double>(count)};
    });
}

double findAll(Series& series, const std::vector<qint64>& timestamps)
{
    double sum = 0.0;
    Kiv::Interpolate::DataRecord record;
    for (const qint64 timestamp : timestamps) {
        if (!series.storage().findDataRecord(timestamp, record))
            throw std::runtime_error("a sample was not found");
        sum += record.value.toDouble();
    }
    return sum;
}

using FindAll = double (*)(const PlainFiles&, const std::vector<qint64>&);

void addFindLimit(const std::string& name, const Layout& layout, FindAll find)
{
    addRow(name, [&layout, find](Stopwatch& watch) -> Outcome {
        const PlainFiles files = listFiles(sharedSeries(layout).recordDirectory());
        const std::vector<qint64> timestamps = makeLookups(kLookupCount);
        watch.start();
        const double sum = find(files, timestamps);
        watch.stop();
        return {static_cast<double>(kLookupCount), sum};
    });
}

void addFindRows(const Layout& layout)
{
    const std::string name = std::string("R5/-/") + layout.name;
    addRow(name + "/ours", [&layout](Stopwatch& watch) -> Outcome {
        Series& series = sharedSeries(layout);
        const std::vector<qint64> timestamps = makeLookups(kLookupCount);
        watch.start();
        const double sum = findAll(series, timestamps);
        watch.stop();
        return {static_cast<double>(kLookupCount), sum};
    });
    addFindLimit(name + "/limit", layout, Limit::findByGuess);
    addFindLimit(name + "/limit_probes", layout, Limit::findByProbes);
}

/// One call is too short for the clock.
template <typename Last>
Outcome repeatLast(Stopwatch& watch, Last last)
{
    Kiv::Interpolate::DataRecord record;
    watch.start();
    for (std::size_t i = 0; i < kLastCount; ++i)
        record = last();
    watch.stop();
    return {static_cast<double>(kLastCount), checksumOf({record})};
}

void addLastRows(const Layout& layout)
{
    const std::string name = std::string("R6/-/") + layout.name;
    addRow(name + "/ours", [&layout](Stopwatch& watch) -> Outcome {
        Series& series = sharedSeries(layout);
        return repeatLast(watch, [&] {
            Kiv::Interpolate::DataRecord record;
            if (!series.storage().getLastDataRecord(record))
                throw std::runtime_error("no last sample");
            return record;
        });
    });
    addRow(name + "/limit", [&layout](Stopwatch& watch) -> Outcome {
        const std::string directory = sharedSeries(layout).recordDirectory();
        return repeatLast(watch, [&] { return Limit::last(directory); });
    });
}

void addGridRows(const Layout& layout, const std::string& variant, const char* method, Limit::Point point)
{
    const std::string name = "R7/" + variant + '/' + layout.name;
    addRow(name + "/ours", [&layout, method](Stopwatch& watch) -> Outcome {
        Series& series = sharedSeries(layout);
        watch.start();
        const Records points = series.readAll(method, kGridMs / kSecondMs);
        watch.stop();
        return {1.0, checksumOf(points)};
    });
    addRow(name + "/limit", [&layout, point](Stopwatch& watch) -> Outcome {
        const std::string directory = sharedSeries(layout).recordDirectory();
        watch.start();
        const Records points = Limit::readGrid(directory, kGridMs, point);
        watch.stop();
        return {1.0, checksumOf(points)};
    });
}

} // namespace

void addLookupRows()
{
    for (const Layout& layout : kLayouts) {
        addCountRows(layout);
        addFindRows(layout);
        addLastRows(layout);
        addGridRows(layout, "linear", "prev linear", Limit::Point::Linear);
        addGridRows(layout, "previous", "prev align", Limit::Point::Previous);
    }
}

} // namespace Bench
