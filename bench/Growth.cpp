// kivts_growth: what one call costs against the samples and against the files of a series. A benchmark is
// named by axis, task and size; bench/growth.py reads the names and the counter "items" (per round).

#include "PlainFiles.h"
#include "Rows.h"
#include "Series.h"

#include <Kiv/Logger.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <random>
#include <stdexcept>

namespace
{

using namespace Bench;

constexpr std::size_t kSamplesPerFile = 100;
constexpr std::size_t kNewerCount = 1'000;
constexpr int kRoundsOfChanges = 10;

/// A series of `count` samples at one distance; every timestamp follows from its number.
struct Plan {
    std::size_t count;
    qint64 spacingMs;

    qint64 timestamp(std::size_t i) const { return kStartMs + static_cast<qint64>(i) * spacingMs; }
    double value(std::size_t i) const { return static_cast<double>(i % 1000); }
    qint64 endMs() const { return timestamp(count); }
    Columns columns(std::size_t begin, std::size_t end) const
    {
        Columns result;
        result.reserve(end - begin);
        for (std::size_t i = begin; i < end; ++i)
            result.add(timestamp(i), value(i));
        return result;
    }
};

/// One point of an axis: its series, built at first use.
struct Point {
    Plan plan;
    Directory directory;
    Series series;

    Point(const Plan& wanted, const Layout& layout) : plan(wanted), series(directory.path(), layout) {}
};

using MakePoint = std::unique_ptr<Point> (*)(std::size_t size);

struct Axis {
    const char* name;
    MakePoint make;
    std::vector<std::size_t> sizes;
};

std::unique_ptr<Point> pointOfSamples(std::size_t size)
{
    auto point = std::make_unique<Point>(Plan{size, kSecondMs}, kLayouts[1]);
    for (std::size_t begin = 0; begin < size; begin += kBatchSize)
        point->series.write(toRecords(point->plan.columns(begin, std::min(begin + kBatchSize, size))));
    return point;
}

/// Writes the files of hours itself: the library would make them only of far more samples.
std::unique_ptr<Point> pointOfFiles(std::size_t size)
{
    const Plan plan{size * kSamplesPerFile, kHourMs / static_cast<qint64>(kSamplesPerFile)};
    auto point = std::make_unique<Point>(plan, kLayouts[2]);
    for (std::size_t i = 0; i < plan.count; i += kSamplesPerFile) {
        const QString names = QDateTime::fromMSecsSinceEpoch(plan.timestamp(i), Qt::UTC)
                                  .toString(QStringLiteral("/yyyy/MM/dd/HH"));
        const std::string directory = point->series.recordDirectory();
        const PlainFile file = fileAt(directory, directory + names.toStdString());
        std::filesystem::create_directories(std::filesystem::path(file.path).parent_path());
        std::vector<unsigned char> bytes;
        encode(plan.columns(i, i + kSamplesPerFile), 0, kSamplesPerFile, file, bytes);
        Descriptor(file.path, O_WRONLY | O_CREAT).write(bytes.data(), bytes.size(), 0);
    }
    return point;
}

Point& pointOf(const Axis& axis, std::size_t size)
{
    static std::map<std::pair<std::string, std::size_t>, std::unique_ptr<Point>> all;
    std::unique_ptr<Point>& point = all[{axis.name, size}];
    if (!point)
        point = axis.make(size);
    return *point;
}

std::size_t randomBelow(std::size_t limit)
{
    static std::mt19937_64 random(5);
    return static_cast<std::size_t>(random() % limit);
}

/// Puts a file back to the bytes that it had.
class RestoredFile
{
public:
    explicit RestoredFile(std::string path) : m_path(std::move(path))
    {
        std::ifstream file(m_path, std::ios::binary);
        m_bytes.assign(std::istreambuf_iterator<char>(file), {});
    }
    ~RestoredFile() { std::ofstream(m_path, std::ios::binary | std::ios::trunc) << m_bytes; }
    RestoredFile(const RestoredFile&) = delete;
    RestoredFile& operator=(const RestoredFile&) = delete;

private:
    std::string m_path;
    std::string m_bytes;
};

Outcome append(Point& point, Stopwatch& watch)
{
    constexpr qint64 kSpacingMs = 100;
    Columns newer;
    for (std::size_t i = 0; i < kNewerCount; ++i)
        newer.add(point.plan.endMs() + static_cast<qint64>(i) * kSpacingMs, 1.0);
    Records batch = toRecords(newer);
    watch.start();
    point.series.write(std::move(batch));
    watch.stop();
    point.series.storage().deleteDataRecords(newer.timestamps.front(), newer.timestamps.back());
    return {1.0, 0.0};
}

Outcome insertLate(Point& point, Stopwatch& watch)
{
    // Around one random sample, at milliseconds that no stored one has.
    const qint64 aboutMs = point.plan.timestamp(randomBelow(point.plan.count));
    const qint64 hourMs = aboutMs - aboutMs % kHourMs;
    Columns late;
    for (std::size_t i = 0; i < kLateBatchSize; ++i)
        late.add(hourMs + static_cast<qint64>(i) * kSecondMs + kSecondMs / 2, 1.0);
    const RestoredFile restored(fileOf(listFiles(point.series.recordDirectory()), hourMs).path);
    Records batch = toRecords(late);
    watch.start();
    point.series.write(std::move(batch));
    watch.stop();
    return {1.0, 0.0};
}

Outcome readAll(Point& point, Stopwatch& watch, const char* method, qint64 intervalSeconds)
{
    watch.start();
    const Records records = point.series.readAll(method, intervalSeconds);
    watch.stop();
    if (records.empty())
        throw std::runtime_error("nothing was read");
    return {static_cast<double>(point.plan.count), 0.0};
}

Outcome find(Point& point, Stopwatch& watch)
{
    constexpr int kCalls = 1'000;
    std::vector<qint64> timestamps;
    for (int i = 0; i < kCalls; ++i)
        timestamps.push_back(point.plan.timestamp(randomBelow(point.plan.count)));
    Kiv::Interpolate::DataRecord record;
    watch.start();
    for (const qint64 timestamp : timestamps) {
        if (!point.series.storage().findDataRecord(timestamp, record))
            throw std::runtime_error("a sample was not found");
    }
    watch.stop();
    return {kCalls, 0.0};
}

Outcome last(Point& point, Stopwatch& watch)
{
    constexpr int kCalls = 100;
    Kiv::Interpolate::DataRecord record;
    watch.start();
    for (int i = 0; i < kCalls; ++i)
        point.series.storage().getLastDataRecord(record);
    watch.stop();
    return {kCalls, 0.0};
}

void addPoint(const Axis& axis, std::size_t size)
{
    const auto add = [&](const std::string& work, auto body) {
        const std::string name = axis.name + ('/' + work + '/') + std::to_string(size);
        return addRow(name,
                      [&axis, size, body](Stopwatch& watch) { return body(pointOf(axis, size), watch); });
    };
    add("append", append)->Iterations(kRoundsOfChanges);
    add("late", insertLate)->Iterations(kRoundsOfChanges);
    add("scan", [](Point& point, Stopwatch& watch) { return readAll(point, watch, "", 0); });
    add("mean",
        [](Point& point, Stopwatch& watch) { return readAll(point, watch, "meana", kHourMs / kSecondMs); });
    add("lookup", find);
    add("last", last);
}

/// Powers of ten up to `largest`, and one more where the environment variable KIV_BENCH_LARGEST is set.
std::vector<std::size_t> powersOfTen(std::size_t first, std::size_t largest)
{
    std::vector<std::size_t> sizes;
    const std::size_t end = std::getenv("KIV_BENCH_LARGEST") ? largest * 10 : largest;
    for (std::size_t size = first; size <= end; size *= 10)
        sizes.push_back(size);
    return sizes;
}

} // namespace

int main(int argumentCount, char** arguments)
{
    Kiv::Logger::instance().setSink([](unsigned char, const QString&, const char*, int) {});
    benchmark::Initialize(&argumentCount, arguments);
    if (benchmark::ReportUnrecognizedArguments(argumentCount, arguments))
        return 2;
    const std::vector<Axis> axes = {{"samples", pointOfSamples, powersOfTen(10'000, 10'000'000)},
                                    {"files", pointOfFiles, powersOfTen(1, 10'000)}};
    for (const Axis& axis : axes) {
        for (const std::size_t size : axis.sizes)
            addPoint(axis, size);
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
