#include "RangeQuery.h"

#include "Errors.h"
#include "MethodText.h"

#include <algorithm>
#include <limits>
#include <vector>

namespace Kiv::Cli
{

namespace
{

constexpr int kBlockRecordCount = 100'000;
// Results of intervals are held in memory, about 50 bytes each.
constexpr qint64 kMaxResultCount = 10'000'000;

/// A raw range whose ends the store cannot misread: wider than wanted, the excess is dropped here.
class RawRange
{
public:
    explicit RawRange(const RangeQuery& query) : m_from(query.from), m_to(query.to) {}

    qint64 storeFrom() const
    {
        return !m_from.isSymbolic && looksSymbolic(m_from.value) ? kBeforeSymbols : m_from.value;
    }

    qint64 storeTo() const
    {
        return !m_to.isSymbolic && looksSymbolic(m_to.value) ? kAfterSymbols : m_to.value;
    }

    bool contains(qint64 timestampMs) const
    {
        return (m_from.isSymbolic || timestampMs >= m_from.value) &&
               (m_to.isSymbolic || timestampMs <= m_to.value);
    }

    void continueAfter(qint64 timestampMs) { m_from = {timestampMs + 1, false}; }

private:
    TimeBound m_from;
    TimeBound m_to;
};

void printRaw(const Series& series, const RangeQuery& query, RecordPrinter& printer)
{
    RawRange range(query);
    std::vector<Interpolate::DataRecord> block;
    bool mayHaveMore = true;
    while (mayHaveMore) {
        block.clear();
        series.read(Interpolate::InterpolateParam(), range.storeFrom(), range.storeTo(), block,
                    kBlockRecordCount);
        mayHaveMore = static_cast<qint64>(block.size()) >= kBlockRecordCount;
        for (const Interpolate::DataRecord& record : block) {
            if (!range.contains(record.timestamp))
                continue;
            printer.print(record);
            if (printer.recordCount() == query.limit)
                return;
        }
        if (mayHaveMore)
            range.continueAfter(block.back().timestamp);
    }
}

qint64 resolved(const TimeBound& bound, qint64 firstMs, qint64 lastMs)
{
    if (!bound.isSymbolic)
        return bound.value;
    return bound.value == kFirstRecord ? firstMs : lastMs;
}

void checkIntervalBound(const QString& option, const TimeBound& bound)
{
    if (!bound.isSymbolic && looksSymbolic(bound.value))
        throw CommandError(
            ExitCode::Usage,
            QStringLiteral("%1: %2 cannot be an end of intervals; move it to %3 or %4")
                .arg(option, formatTime(bound.value), formatTime(kBeforeSymbols), formatTime(kAfterSymbols)));
}

/// Filling gives a result for every interval, which may be many times the records.
void checkResultCount(const Series& series, const RangeQuery& query)
{
    Interpolate::DataRecord first;
    Interpolate::DataRecord last;
    const bool isBounded = query.limit > 0 && !query.method.contains(QLatin1String("fillnull"));
    if (!fillsEmptyIntervals(query.method) || isBounded || !series.first(first) || !series.last(last))
        return;
    constexpr qint64 kSecondsPerDay = 86'400;
    const qint64 intervalMs = (query.interval > 0 ? query.interval : kSecondsPerDay) * 1000;
    const qint64 lengthMs = resolved(query.to, first.timestamp, last.timestamp) -
                            resolved(query.from, first.timestamp, last.timestamp);
    if (lengthMs / intervalMs > kMaxResultCount)
        throw CommandError(
            ExitCode::Usage,
            QStringLiteral("--every: the range holds %1 intervals, more than %2 can be filled at "
                           "once; narrow the range or take longer intervals")
                .arg(QString::number(lengthMs / intervalMs), QString::number(kMaxResultCount)));
}

void printIntervals(const Series& series, const RangeQuery& query, RecordPrinter& printer)
{
    checkIntervalBound(QStringLiteral("--from"), query.from);
    checkIntervalBound(QStringLiteral("--to"), query.to);
    checkResultCount(series, query);
    Interpolate::InterpolateParam param;
    param.method = query.method;
    param.interval = query.interval;
    param.alignStartEndTimestamp = query.alignRange;
    std::vector<Interpolate::DataRecord> results;
    const auto limit = static_cast<int>(std::min<qint64>(query.limit, std::numeric_limits<int>::max()));
    series.read(param, query.from.value, query.to.value, results, limit);
    for (const Interpolate::DataRecord& result : results) {
        printer.print(result);
        // The engine closes its last interval even after the limit.
        if (printer.recordCount() == query.limit)
            return;
    }
}

} // namespace

void printRange(const Series& series, const RangeQuery& query, RecordPrinter& printer)
{
    if (query.interval == 0) {
        printRaw(series, query, printer);
        return;
    }
    if (isVariableLength(series.type))
        throw CommandError(
            ExitCode::Usage,
            QStringLiteral("--every: %1 holds values of type %2, which have no arithmetic; read it "
                           "without --every and --method")
                .arg(series.path, series.type.word));
    printIntervals(series, query, printer);
}

} // namespace Kiv::Cli
