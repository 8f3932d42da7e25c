#include "OverwriteHistory.h"

#include "RawRange.h"

namespace Kiv::Cli
{

std::map<qint64, QVariant> oldValuesOf(const QVariant& history)
{
    std::map<qint64, QVariant> values;
    const QVariantMap entries = history.toMap();
    for (auto entry = entries.begin(); entry != entries.end(); ++entry)
        values.emplace(entry.key().toLongLong(), entry.value());
    return values;
}

void visitOldValues(const Series& series, const TimeRange& range,
                    const std::function<void(const OldValue& old)>& visit)
{
    const Series histories = openCompanion(series, QStringLiteral("O"));
    if (!histories.storage)
        return;
    visitRaw(histories, {}, range, [&visit](const Interpolate::DataRecord& record) {
        for (const auto& [overwrittenMs, value] : oldValuesOf(record.value))
            visit({record.timestamp, overwrittenMs, value});
        return true;
    });
}

std::optional<OldValue> newestOldValue(const Series& series, qint64 timestampMs)
{
    std::optional<OldValue> newest;
    visitOldValues(series, {{timestampMs, false}, {timestampMs, false}},
                   [&newest](const OldValue& old) { newest = old; });
    return newest;
}

} // namespace Kiv::Cli
