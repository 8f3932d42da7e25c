#include "Peer.h"

#include "Reducers.h"

namespace Bench
{

namespace
{

template <typename Cutter>
void reduce(Peer& peer, Period period, Cutter& cutter)
{
    peer.scan(period, [&](const Columns& block) {
        for (std::size_t i = 0; i < block.size(); ++i)
            cutter.add(block.timestamps[i], block.values[i]);
    });
    cutter.finish();
}

} // namespace

qint64 Peer::count()
{
    std::size_t count = 0;
    scan(kAllTime, [&](const Columns& block) { count += block.size(); });
    return static_cast<qint64>(count);
}

Columns Peer::hourlyMeans()
{
    Columns hours;
    const auto close = [&](qint64 end, Mean& mean) { hours.add(end, mean.take()); };
    IntervalCutter<Mean, decltype(close)> cutter(kHourMs, close);
    reduce(*this, kAllTime, cutter);
    return hours;
}

double Peer::dailyResults(Period period)
{
    double sum = 0.0;
    const auto close = [&](qint64, All& all) {
        sum += all.extremes.min.take() + all.extremes.max.take() + all.mean.take();
    };
    IntervalCutter<All, decltype(close)> cutter(kDayMs, close);
    reduce(*this, period, cutter);
    return sum;
}

} // namespace Bench
