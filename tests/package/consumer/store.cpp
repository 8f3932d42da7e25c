// A program of somebody else that writes a few samples into the series of its argument and reads them back.

#include <TSFileColumns.h>
#include <TSFileStorage.h>

#include <cstdio>

int main(int argc, char** argv)
{
    if (argc != 2)
        return 2;
    Kiv::TSFileStorage series(QString::fromLocal8Bit(argv[1]), QMetaType::Double, 1000000);
    if (!series.writeDataRecords({{1715953512000, 71.5}, {1715953572000, 72.0}}, false, false))
        return 1;

    std::vector<Kiv::Interpolate::DataRecord> hourly;
    int limit = 0;
    if (!series.readDataRecords({"meana", 3600, {}, true, 0}, {}, -2, -3, hourly, false, limit, nullptr,
                                nullptr))
        return 1;
    for (const Kiv::Interpolate::DataRecord& record : hourly)
        std::printf("%lld %g\n", static_cast<long long>(record.timestamp), record.value.toDouble());

    Kiv::TSFileColumns raw;
    if (!series.readDataColumns({}, {}, -2, -3, raw, false, limit))
        return 1;
    for (std::size_t i = 0; i < raw.size(); ++i)
        std::printf("%lld %g\n", static_cast<long long>(raw.timestamps[i]), raw.doubles[i]);
    return 0;
}
