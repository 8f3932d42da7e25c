#pragma once

// Owns the output formats of records.

#include "OutputBuffer.h"
#include "OutputFormat.h"
#include "TimeText.h"

#include "Interpolate.h"
#include "TSFileColumns.h"

#include <QByteArray>
#include <QMetaType>
#include <QString>

#include <optional>

namespace Kiv::Cli
{

/// Where a row comes from.
enum class RowKind {
    Record,      ///< the series or the engine
    Late,        ///< a record of the series, written late
    Overwritten, ///< an old value
};

/// Writes records to stdout as they come. Each print throws CommandError when stdout does not take everything.
class RecordPrinter
{
public:
    explicit RecordPrinter(OutputFormat format) : m_format(format) {}

    /// Gives every row its kind and the time at which its value was overwritten.
    void showKinds() { m_showsKinds = true; }

    /// Gives every row the name of its series, which setSeries() tells.
    /// \param longestName  of all that will come, for the width of a table's column
    void showSeries(const QString& longestName);
    void setSeries(const QString& name);

    /// What the values are, for the head of a table.
    void describe(const QString& unit, const QString& description);

    void print(const Interpolate::DataRecord& record, RowKind kind = RowKind::Record,
               std::optional<qint64> overwrittenAtMs = std::nullopt);

    /// Writes the first results of a block, without kinds.
    /// \param type  of the series
    void print(const TSFileColumns& block, std::size_t count, QMetaType::Type type);

    /// Writes what stands before and after the records, also when there was none.
    /// \throws CommandError when stdout did not take everything
    void finish();

    qint64 recordCount() const { return m_recordCount; }

private:
    void begin();
    void beginTable();
    void putTime(qint64 timestampMs);
    void printTableRow(const Interpolate::DataRecord& record, const QByteArray& kind,
                       const QByteArray& overwrittenAt);
    void printSeparatedRow(const Interpolate::DataRecord& record, const QByteArray& kind,
                           const QByteArray& overwrittenAt);
    void printJsonRow(const Interpolate::DataRecord& record, const QByteArray& kind,
                      const QByteArray& overwrittenAt);
    template <typename WriteValue>
    void printRows(const TSFileColumns& block, std::size_t count, const WriteValue& writeValue);

    OutputFormat m_format;
    OutputBuffer m_output;
    TimeWriter m_times;
    bool m_showsKinds = false;
    bool m_showsSeries = false;
    int m_seriesWidth = 0;
    QByteArray m_series; ///< the cell of the present series with all that stands around it, before the time
    QString m_unit;
    QString m_description;
    qint64 m_recordCount = 0;
};

} // namespace Kiv::Cli
