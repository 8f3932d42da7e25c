#pragma once

// Owns the output formats of records.

#include "Interpolate.h"

#include <QByteArray>
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

/// Writes records to stdout as they come.
class RecordPrinter
{
public:
    explicit RecordPrinter(OutputFormat format) : m_format(format) {}

    /// Gives every row its kind and the time at which its value was overwritten.
    void showKinds() { m_showsKinds = true; }

    void print(const Interpolate::DataRecord& record, RowKind kind = RowKind::Record,
               std::optional<qint64> overwrittenAtMs = std::nullopt);

    /// Writes what stands before and after the records, also when there was none.
    /// \throws CommandError when stdout did not take everything
    void finish();

    qint64 recordCount() const { return m_recordCount; }

private:
    void begin();
    void printTableRow(const Interpolate::DataRecord& record, const QByteArray& kind,
                       const QByteArray& overwrittenAt) const;
    void printCsvRow(const Interpolate::DataRecord& record, const QByteArray& kind,
                     const QByteArray& overwrittenAt) const;
    void printJsonRow(const Interpolate::DataRecord& record, const QByteArray& kind,
                      const QByteArray& overwrittenAt) const;

    OutputFormat m_format;
    bool m_showsKinds = false;
    qint64 m_recordCount = 0;
};

} // namespace Kiv::Cli
