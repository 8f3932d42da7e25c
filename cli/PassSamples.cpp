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
qint64 reachMs(const std::vector<Interpolate::InterpolateParam>& passes)
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

/// The engine finds what the first difference is from, but not behind a filter.
qint64 startOfDifferences(const Series& series, const Request& request, qint64 fromMs, qint64 firstRecordMs)
{
    if (isFloat(series.type) || request.passes.size() > 1 || request.hasFilters())
        return firstRecordMs;
    const std::optional<Record> before = Analytics::lastSampleBefore(*series.storage, fromMs);
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
    const qint64 beyondMs = reachMs(request.passes);
    qint64 fromMs = saturatedSum(span->first, -beyondMs);
    qint64 toMs = saturatedSum(span->second, beyondMs);
    if (beyondMs == 0) {
        fromMs = startOfDifferences(series, request, span->first, resolved.firstRecordMs);
        toMs = endOfDifferences(series, request, span->second, resolved.lastRecordMs);
    }
    // What fills goes on to the end of the range, but nothing is known behind the last record.
    toMs = std::min(toMs, std::max(resolved.toMs, saturatedSum(resolved.lastRecordMs, beyondMs)));
    const SafeRange safe({{fromMs, false}, {toMs, false}});
    std::vector<Record> samples;
    series.read(requestOfPasses(request), safe.storeFrom(), safe.storeTo(), samples, 0);
    for (const Record& sample : samples) {
        throwIfInterrupted();
        if (!visit(sample))
            return;
    }
}

} // namespace Kiv::Cli
