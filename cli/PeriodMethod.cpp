#include "PeriodMethod.h"

#include "FillChoice.h"

#include <algorithm>

namespace Kiv::Cli
{

namespace
{

using Record = Interpolate::DataRecord;
using Records = std::vector<Record>;

QVariant valueOf(const std::optional<Record>& record)
{
    return record ? record->value : QVariant();
}

} // namespace

PeriodMethod::PeriodMethod(const Interpolate::InterpolateParam& param, QMetaType::Type type)
    : m_method(understoodMethod(param)),
      m_type(type),
      m_isPoint(m_method.methodWord == QLatin1String("prev") ||
                m_method.methodWord == QLatin1String("next") ||
                m_method.methodWord == QLatin1String("prevnext")),
      m_givesTwo((m_method.methodWord == QLatin1String("prevnext") && !m_method.linear) ||
                 (m_method.methodWord == QLatin1String("minmax") && !m_method.average))
{
}

QString PeriodMethod::engineText() const
{
    EngineMethod method = m_method;
    method.differenceWord.clear();
    // A filled result has no record whose time it could keep, so all of them are labelled alike.
    method.align = method.align || method.fill;
    method.fill = false;
    method.fillNull = false;
    return method.text();
}

Records PeriodMethod::lineResult(const Analytics::Interval& period, const RecordLookUp& records) const
{
    const std::optional<Record> before = records.before(period.endMs);
    const std::optional<Record> after = records.from(period.endMs);
    // Behind the last record there is no line.
    if (!before || !after)
        return {};
    const bool hasRecords = before->timestamp >= period.startMs;
    if (!hasRecords && !m_method.fill)
        return {};
    if (!hasRecords && m_method.fillNull)
        return {{period.endMs, QVariant()}};
    if (after->timestamp == period.endMs)
        return {{period.endMs, after->value}};
    return {{period.endMs, valueBetween(*before, *after, period.endMs)}};
}

Records PeriodMethod::filling(const Analytics::Interval& period, const RecordLookUp& records,
                              const QVariant& latest) const
{
    QVariant first = engineValue(0.0, m_type);
    QVariant second = first;
    if (m_method.fillNull) {
        first = second = QVariant();
    } else if (m_method.methodWord == QLatin1String("prev")) {
        first = valueOf(records.before(period.endMs));
    } else if (m_method.methodWord == QLatin1String("next")) {
        first = valueOf(records.from(period.endMs));
    } else if (m_method.methodWord == QLatin1String("prevnext")) {
        first = valueOf(records.before(period.endMs));
        second = valueOf(records.from(period.endMs));
    } else if (m_method.methodWord == QLatin1String("min") || m_method.methodWord == QLatin1String("max")) {
        first = latest.isNull() ? first : latest;
    }
    Records results = {{period.endMs, first}};
    if (m_givesTwo)
        results.emplace_back(period.endMs + 1, second);
    return results;
}

Records PeriodMethod::splitSums(const std::vector<Analytics::Interval>& periods, const Records& records) const
{
    Records results;
    double sum = 0.0;
    auto period = periods.begin();
    for (std::size_t i = 1; i < records.size() && period != periods.end(); ++i) {
        const qint64 previousMs = records[i - 1].timestamp;
        const qint64 currentMs = records[i].timestamp;
        const auto lengthMs = static_cast<double>(currentMs - previousMs);
        const double value = records[i].value.toDouble();
        qint64 fromMs = std::max(previousMs, periods.front().startMs);
        const auto shareUpTo = [&](qint64 toMs) {
            const double share =
                toMs > fromMs ? value * (static_cast<double>(toMs - fromMs) / lengthMs) : 0.0;
            fromMs = std::max(fromMs, toMs);
            return share;
        };
        for (; period != periods.end() && period->endMs <= currentMs; ++period) {
            sum += shareUpTo(period->endMs);
            const bool hasRecords = previousMs >= period->startMs;
            if (hasRecords || (m_method.fill && !m_method.fillNull)) {
                results.emplace_back(period->endMs, engineValue(sum, m_type));
                sum = 0.0;
            } else if (m_method.fill) {
                results.emplace_back(period->endMs, QVariant());
            }
        }
        sum += shareUpTo(currentMs);
    }
    return results;
}

} // namespace Kiv::Cli
