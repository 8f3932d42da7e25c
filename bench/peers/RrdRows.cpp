// RRDtool: a value per second and a mean per hour, kept while writing. A sample counts for its whole second,
// so results are not those of the other stores; there are no late samples, exact look-ups or deletes.

#include "Peer.h"
#include "Rows.h"

#include <rrd.h>

#include <charconv>
#include <stdexcept>

namespace Bench
{

namespace
{

constexpr qint64 kSecondsOfAnHour = kHourMs / kSecondMs;

void require(int result)
{
    if (result != 0)
        throw std::runtime_error(rrd_get_error());
}

class RoundRobin
{
public:
    explicit RoundRobin(const std::string& directory) : m_path(directory + "/samples.rrd")
    {
        const std::string seconds = "RRA:AVERAGE:0.5:1:" + std::to_string(sampleCount() + 1);
        const std::string hours =
            "RRA:AVERAGE:0.5:3600:" + std::to_string(sampleCount() / kSecondsOfAnHour + 2);
        const char* definitions[] = {"DS:v:GAUGE:10:U:U", seconds.c_str(), hours.c_str()};
        require(rrd_create_r(m_path.c_str(), 1, kStartMs / kSecondMs - 1, 3, definitions));
    }

    void append(const Columns& columns, std::size_t begin, std::size_t end)
    {
        std::vector<std::string> texts;
        std::vector<const char*> arguments;
        texts.reserve(end - begin);
        for (std::size_t i = begin; i < end; ++i) {
            texts.push_back(asText(columns.timestamps[i] / kSecondMs, columns.values[i]));
            arguments.push_back(texts.back().c_str());
        }
        require(rrd_update_r(m_path.c_str(), nullptr, static_cast<int>(arguments.size()), arguments.data()));
    }

    /// The values of one archive, from a second on.
    std::vector<double> fetch(unsigned long stepSeconds)
    {
        time_t start = kStartMs / kSecondMs - 1;
        time_t end = start + static_cast<time_t>(sampleCount());
        unsigned long sources = 0;
        char** names = nullptr;
        rrd_value_t* data = nullptr;
        require(rrd_fetch_r(m_path.c_str(), "AVERAGE", &start, &end, &stepSeconds, &sources, &names, &data));
        const std::vector<double> values(data, data + (end - start) / static_cast<time_t>(stepSeconds));
        for (unsigned long i = 0; i < sources; ++i)
            rrd_freemem(names[i]);
        rrd_freemem(names);
        rrd_freemem(data);
        return values;
    }

    time_t last() { return rrd_last_r(m_path.c_str()); }

private:
    static std::string asText(qint64 second, double value)
    {
        char text[64];
        char* at = std::to_chars(text, text + sizeof text, second).ptr;
        *at++ = ':';
        at = std::to_chars(at, text + sizeof text, value).ptr;
        return {text, at};
    }

    std::string m_path;
};

void appendAll(RoundRobin& archive)
{
    for (std::size_t begin = 0; begin < samples().size(); begin += kBatchSize)
        archive.append(samples(), begin, std::min(begin + kBatchSize, samples().size()));
}

RoundRobin& sharedArchive()
{
    static const Directory directory;
    static RoundRobin archive(directory.path());
    static const bool isFilled = (appendAll(archive), true);
    static_cast<void>(isFilled);
    return archive;
}

Outcome append(Stopwatch& watch)
{
    const Directory directory;
    RoundRobin archive(directory.path());
    samples();
    watch.start();
    appendAll(archive);
    watch.stop();
    return {static_cast<double>(samples().size()), 0.0};
}

Outcome fetch(Stopwatch& watch, unsigned long stepSeconds)
{
    RoundRobin& archive = sharedArchive();
    watch.start();
    const std::vector<double> values = archive.fetch(stepSeconds);
    watch.stop();
    return {static_cast<double>(samples().size()), static_cast<double>(values.size())};
}

Outcome last(Stopwatch& watch)
{
    RoundRobin& archive = sharedArchive();
    time_t second = 0;
    watch.start();
    for (std::size_t i = 0; i < kLastCount; ++i)
        second = archive.last();
    watch.stop();
    return {static_cast<double>(kLastCount), static_cast<double>(second)};
}

} // namespace

void addRrdRows()
{
    addRow("W1/records/any/rrdtool", append)->Iterations(1);
    addRow("R1/whole/any/rrdtool", [](Stopwatch& watch) { return fetch(watch, 1); });
    addRow("R2/mean/any/rrdtool", [](Stopwatch& watch) { return fetch(watch, kSecondsOfAnHour); });
    addRow("R6/-/any/rrdtool", last);
}

} // namespace Bench
