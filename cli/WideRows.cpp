#include "WideRows.h"

#include "Errors.h"
#include "ResultColumns.h"
#include "Results.h"
#include "RowPrinter.h"
#include "SafeRange.h"
#include "Sidecar.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <optional>

namespace Kiv::Cli
{

namespace
{

/// One result after the other.
class ResultSource
{
public:
    ResultSource() = default;
    virtual ~ResultSource() = default;
    ResultSource(const ResultSource&) = delete;
    ResultSource& operator=(const ResultSource&) = delete;

    /// \return nothing behind the last one
    virtual std::optional<Interpolate::DataRecord> next() = 0;
};

/// Results that are there.
class HeldResults : public ResultSource
{
public:
    explicit HeldResults(std::vector<Interpolate::DataRecord> results) : m_results(std::move(results)) {}

    std::optional<Interpolate::DataRecord> next() override
    {
        if (m_next == m_results.size())
            return std::nullopt;
        return m_results[m_next++];
    }

private:
    std::vector<Interpolate::DataRecord> m_results;
    std::size_t m_next = 0;
};

/// Results that come in blocks.
class BlockResults : public ResultSource
{
public:
    BlockResults(const Series& series, const RangeQuery& query)
        : m_type(series.type.metaType),
          m_range(query.range),
          m_reader(*series.storage, query.request.param, query.request.passes, m_range.storeFrom(),
                   m_range.storeTo(), query.request.shift, 0)
    {
    }

    std::optional<Interpolate::DataRecord> next() override
    {
        while (true) {
            while (m_next == m_block.size()) {
                m_next = 0;
                if (!m_reader.next(m_block))
                    return std::nullopt;
            }
            const std::size_t i = m_next++;
            if (m_range.contains(m_block.timestamps[i]))
                return Interpolate::DataRecord{m_block.timestamps[i], valueAt(i)};
        }
    }

private:
    QVariant valueAt(std::size_t i) const
    {
        if (m_block.isNull[i] != 0)
            return {};
        if (m_type == QMetaType::Double)
            return m_block.doubles[i];
        const qint64 integer = m_block.kind == TSFileColumns::Kind::Integers
                                   ? m_block.integers[i]
                                   : static_cast<qint64>(m_block.doubles[i]);
        if (m_type == QMetaType::Bool)
            return integer != 0;
        if (m_type == QMetaType::ULongLong)
            return static_cast<quint64>(integer);
        return integer;
    }

    QMetaType::Type m_type;
    SafeRange m_range;
    TSFileColumnReader m_reader;
    TSFileColumns m_block;
    std::size_t m_next = 0;
};

std::unique_ptr<ResultSource> sourceOf(const Series& series, const RangeQuery& query)
{
    if (!query.request.isPlainRaw())
        checkRequest(series, query.request, query.range, query.limit);
    if (comeInColumns(series, query.request))
        return std::make_unique<BlockResults>(series, query);
    return std::make_unique<HeldResults>(readResults(series, query.request, query.range, 0));
}

std::vector<RowColumn> columnsOf(const std::vector<Series>& all, const Request& request)
{
    std::vector<RowColumn> columns = {{QStringLiteral("timestamp"), CellKind::Time}};
    for (const Series& series : all) {
        const QString unit = resultUnit(request, Sidecar::load(series.path).unit());
        columns.push_back({series.path, isVariableLength(series.type) ? CellKind::Value : CellKind::Number,
                           unit.isEmpty() ? series.path : QStringLiteral("%1 [%2]").arg(series.path, unit)});
    }
    return columns;
}

} // namespace

qint64 printWide(const std::vector<Series>& all, const RangeQuery& query, OutputFormat format)
{
    std::vector<std::unique_ptr<ResultSource>> sources;
    std::vector<std::optional<Interpolate::DataRecord>> heads;
    for (const Series& series : all) {
        sources.push_back(sourceOf(series, query));
        heads.push_back(sources.back()->next());
    }
    RowPrinter printer(format, columnsOf(all, query.request));
    while (query.limit == 0 || printer.rowCount() < query.limit) {
        qint64 timestampMs = std::numeric_limits<qint64>::max();
        for (const auto& head : heads)
            timestampMs = head ? std::min(timestampMs, head->timestamp) : timestampMs;
        QVariantList cells = {timestampMs};
        bool hasValue = false;
        for (std::size_t i = 0; i < heads.size(); ++i) {
            const bool isHere = heads[i] && heads[i]->timestamp == timestampMs;
            hasValue = hasValue || isHere;
            cells += isHere ? heads[i]->value : QVariant();
            if (isHere)
                heads[i] = sources[i]->next();
        }
        if (!hasValue)
            break;
        printer.print(cells);
    }
    printer.finish();
    return printer.rowCount();
}

} // namespace Kiv::Cli
