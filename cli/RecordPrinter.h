#pragma once

// Owns the output formats of records.

#include "OutputBuffer.h"
#include "TimeText.h"

#include "Interpolate.h"
#include "TSFileColumns.h"

#include <QByteArray>
#include <QMetaType>
#include <QString>

#include <optional>

namespace Kiv::Cli
{

enum class OutputFormat {
    Table, ///< for people
    Csv,   ///< what import reads back
    Json,  ///< one array of objects
};

/// \param word  of --format; empty takes a table on a terminal, CSV elsewhere
/// \throws CommandError
OutputFormat parseOutputFormat(const QString& word);

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
    void putTime(qint64 timestampMs);
    void printTableRow(const Interpolate::DataRecord& record, const QByteArray& kind,
                       const QByteArray& overwrittenAt);
    void printCsvRow(const Interpolate::DataRecord& record, const QByteArray& kind,
                     const QByteArray& overwrittenAt);
    void printJsonRow(const Interpolate::DataRecord& record, const QByteArray& kind,
                      const QByteArray& overwrittenAt);
    template <typename WriteValue>
    void printRows(const TSFileColumns& block, std::size_t count, const WriteValue& writeValue);

    OutputFormat m_format;
    OutputBuffer m_output;
    TimeWriter m_times;
    bool m_showsKinds = false;
    qint64 m_recordCount = 0;
};

} // namespace Kiv::Cli
