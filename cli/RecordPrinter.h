#pragma once

// Owns the output formats of records.

#include "Interpolate.h"

#include <QString>

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

/// Writes records to stdout as they come.
class RecordPrinter
{
public:
    explicit RecordPrinter(OutputFormat format) : m_format(format) {}

    void print(const Interpolate::DataRecord& record);

    /// Writes what stands before and after the records, also when there was none.
    /// \throws CommandError when stdout did not take everything
    void finish();

    qint64 recordCount() const { return m_recordCount; }

private:
    void begin();

    OutputFormat m_format;
    qint64 m_recordCount = 0;
};

} // namespace Kiv::Cli
