#include "PassSamples.h"

#include "Interrupt.h"
#include "MethodText.h"
#include "RawRange.h"
#include "RequestIntervals.h"

#include "analytics/SeriesReduction.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <numeric>

namespace Kiv::Cli
{

namespace
{

using Record = Interpolate::DataRecord;
using Visitor = std::function<bool(const Record& sample)>;

bool onlyFilters(const Interpolate::InterpolateParam& pass)
{
    return pass.interval == 0 && understoodMethod(pass).differenceWord.isEmpty();
}

/// The conditions of passes behind the first one, record by record.
class LaterFilters
{
public:
    explicit LaterFilters(const std::vector<Interpolate::InterpolateParam>& passes)
    {
        for (std::size_t i = 1; i < passes.size(); ++i) {
            if (!passes[i].filterParams.empty())
                m_filters.push_back(std::make_unique<Interpolate>(
                    passes[i], std::vector<Interpolate::InterpolateParam>(), 0, 0, 0, 0, nullptr,
                    QMetaType::Double, false, m_unusedLimit, false));
        }
    }

    bool pass(const Record& record)
    {
        return std::all_of(m_filters.begin(), m_filters.end(),
                           [&record](const auto& filter) { return filter->filterMatch(record); });
    }

private:
    int m_unusedLimit = 0;
    std::vector<std::unique_ptr<Interpolate>> m_filters;
};

/// The records that passes without intervals and differences let through.
class FilteredRecords
{
public:
    FilteredRecords(const Series& series, const std::vector<Interpolate::InterpolateParam>& passes)
        : m_series(series), m_later(passes)
    {
        m_first.param = passes.front();
    }

    void visit(const TimeRange& range, const Visitor& visit)
    {
        visitRaw(m_series, m_first, range,
                 [&](const Record& record) { return !m_later.pass(record) || visit(record); });
    }

    /// \return the last one before a time; its windows grow, so that a rare one is found soon enough
    std::optional<Record> lastBefore(qint64 timestampMs, qint64 firstRecordMs)
    {
        std::optional<Record> last = Analytics::lastSampleBefore(*m_series.storage, timestampMs);
        if (!last)
            return std::nullopt;
        qint64 fromMs = last->timestamp;
        qint64 toMs = timestampMs - 1;
        for (qint64 windowMs = toMs - fromMs + 1;; windowMs += windowMs) {
            last.reset();
            visit({{fromMs, false}, {toMs, false}}, [&last](const Record& record) {
                last = record;
                return true;
            });
            if (last || fromMs <= firstRecordMs)
                return last;
            toMs = fromMs - 1;
            fromMs = toMs - firstRecordMs > windowMs ? toMs - windowMs : firstRecordMs;
        }
    }

private:
    const Series& m_series;
    Request m_first;
    LaterFilters m_later;
};

void visitFiltered(const Series& series, const Request& request, qint64 fromMs, qint64 firstRecordMs,
                   const Visitor& visit)
{
    FilteredRecords records(series, request.passes);
    // The records of a float series are read in sequence anyway.
    if (isFloat(series.type)) {
        records.visit({{kFirstRecord, true}, {kLastRecord, true}}, visit);
        return;
    }
    if (!request.analysis || request.analysis->usesNeighbours()) {
        const std::optional<Record> before = records.lastBefore(fromMs, firstRecordMs);
        if (before && !visit(*before))
            return;
    }
    records.visit({{fromMs, false}, {kLastRecord, true}}, visit);
}

/// The earlier passes, the last of them as the one that gives the results.
Request requestOfPasses(const Request& request)
{
    Request earlier;
    earlier.passes = request.passes;
    earlier.param = earlier.passes.back();
    earlier.passes.pop_back();
    return earlier;
}

/// How far beyond the intervals the passes are read: by all their intervals, each of which one result may need, rounded
/// up so that the boundaries of each pass meet the start of the first interval.
qint64 reachMsOf(const std::vector<Interpolate::InterpolateParam>& passes)
{
    constexpr qint64 kMaxFactor = 100;
    qint64 sumMs = 0;
    qint64 commonMs = 1;
    for (const Interpolate::InterpolateParam& pass : passes) {
        const qint64 lengthMs = longestIntervalMs(pass.interval);
        sumMs += lengthMs;
        if (pass.interval > 0 && commonMs <= kMaxFactor * sumMs)
            commonMs = commonMs / std::gcd(commonMs, lengthMs) * std::min(lengthMs, kMaxFactor * sumMs);
    }
    return commonMs > kMaxFactor * sumMs ? sumMs : (sumMs + commonMs - 1) / commonMs * commonMs;
}

/// The start of the first interval and the end of the last one.
std::optional<std::pair<qint64, qint64>> spanOf(const Request& request, const TimeRange& range,
                                                const ResolvedRange& resolved)
{
    const std::unique_ptr<Analytics::Intervals> intervals = intervalsOf(request, range, resolved);
    const std::optional<Analytics::Interval> first = intervals->next();
    if (!first)
        return std::nullopt;
    qint64 endMs = first->endMs;
    while (const std::optional<Analytics::Interval> interval = intervals->next()) {
        throwIfInterrupted();
        endMs = interval->endMs;
    }
    return std::pair(first->startMs, endMs);
}

/// The last record before the range has a difference that counts. That of the first record of a read may be 0, as the
/// store may find the record itself when it looks for the one before; so the read begins one record earlier. Behind a
/// filter nobody knows where that is.
qint64 startOfDifferences(const Series& series, const Request& request, qint64 fromMs, qint64 firstRecordMs)
{
    if (isFloat(series.type) || request.passes.size() > 1 || request.hasFilters())
        return firstRecordMs;
    std::optional<Record> before = Analytics::lastSampleBefore(*series.storage, fromMs);
    if (before)
        before = Analytics::lastSampleBefore(*series.storage, before->timestamp);
    return before ? before->timestamp : firstRecordMs;
}

/// Behind a filter nobody knows which record is the next one without looking.
qint64 endOfDifferences(const Series& series, const Request& request, qint64 toMs, qint64 lastRecordMs)
{
    if (isFloat(series.type) || request.hasFilters())
        return lastRecordMs;
    const std::optional<Record> behind = firstRecordFrom(series, toMs);
    return behind ? behind->timestamp : toMs;
}

std::vector<Record> readPasses(const Series& series, const Request& request, qint64 fromMs, qint64 toMs)
{
    const SafeRange safe({{fromMs, false}, {toMs, false}});
    std::vector<Record> samples;
    series.read(requestOfPasses(request), safe.storeFrom(), safe.storeTo(), samples, 0);
    return samples;
}

/// The results of passes with intervals from before a span to behind it.
class NeighbouredPasses
{
public:
    NeighbouredPasses(const Series& series, const Request& request, const ResolvedRange& resolved,
                      std::pair<qint64, qint64> span)
        : m_series(series),
          m_request(request),
          m_resolved(resolved),
          m_startMs(span.first),
          m_endMs(span.second)
    {
    }

    /// Reads further and further beyond the span, until its neighbours are found or the series ends.
    std::vector<Record> read() const
    {
        constexpr qint64 kGrowth = 8;
        const qint64 reachMs = reachMsOf(m_request.passes);
        qint64 beforeMs = reachMs;
        qint64 behindMs = reachMs;
        for (;;) {
            throwIfInterrupted();
            const qint64 fromMs = saturatedSum(m_startMs, -beforeMs);
            // What fills goes on to the end of the range, but nothing is known behind the last record.
            const qint64 lastMs = std::max(m_resolved.toMs, saturatedSum(m_resolved.lastRecordMs, reachMs));
            const qint64 toMs = std::min(saturatedSum(m_endMs, behindMs), lastMs);
            std::vector<Record> samples = readPasses(m_series, m_request, fromMs, toMs);
            const bool hasBefore = fromMs <= m_resolved.firstRecordMs || beginsBefore(samples);
            const bool hasBehind =
                toMs >= m_resolved.lastRecordMs || (!samples.empty() && samples.back().timestamp >= m_endMs);
            if (hasBefore && hasBehind)
                return samples;
            beforeMs *= hasBefore ? 1 : kGrowth;
            behindMs *= hasBehind ? 1 : kGrowth;
        }
    }

private:
    /// The first result of a read has no true difference, so that each pass of differences wants one more.
    bool beginsBefore(const std::vector<Record>& samples) const
    {
        const auto differenceCount = static_cast<std::size_t>(
            std::count_if(m_request.passes.begin(), m_request.passes.end(),
                          [](const auto& pass) { return !understoodMethod(pass).differenceWord.isEmpty(); }));
        return samples.size() > differenceCount && samples[differenceCount].timestamp < m_startMs;
    }

    const Series& m_series;
    const Request& m_request;
    const ResolvedRange& m_resolved;
    qint64 m_startMs;
    qint64 m_endMs;
};

/// The same of passes without intervals.
std::vector<Record> readDifferences(const Series& series, const Request& request,
                                    const ResolvedRange& resolved, std::pair<qint64, qint64> span)
{
    const qint64 fromMs = startOfDifferences(series, request, span.first, resolved.firstRecordMs);
    const qint64 toMs = endOfDifferences(series, request, span.second, resolved.lastRecordMs);
    return readPasses(series, request, fromMs,
                      std::min(toMs, std::max(resolved.toMs, resolved.lastRecordMs)));
}

} // namespace

void visitPasses(const Series& series, const Request& request, const TimeRange& range,
                 const ResolvedRange& resolved, const Visitor& visit)
{
    if (std::all_of(request.passes.begin(), request.passes.end(), onlyFilters)) {
        if (const auto first = intervalsOf(request, range, resolved)->next())
            visitFiltered(series, request, first->startMs, resolved.firstRecordMs, visit);
        return;
    }
    const auto span = spanOf(request, range, resolved);
    if (!span)
        return;
    const std::vector<Record> samples = reachMsOf(request.passes) > 0
                                            ? NeighbouredPasses(series, request, resolved, *span).read()
                                            : readDifferences(series, request, resolved, *span);
    for (const Record& sample : samples) {
        throwIfInterrupted();
        if (!visit(sample))
            return;
    }
}

} // namespace Kiv::Cli
