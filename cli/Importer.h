#pragma once

// Owns one import: inputs to rows, rows to samples of series.

#include "ImportColumns.h"
#include "ImportFormat.h"
#include "Progress.h"
#include "SeriesSinks.h"

#include <functional>
#include <limits>
#include <memory>
#include <optional>

class QIODevice;

namespace Kiv::Cli
{

class Importer
{
public:
    /// Checks all that can be checked before an input is read.
    /// \param totalSizeBytes  of all inputs, 0 when nobody knows
    /// \throws CommandError
    Importer(const ImportOptions& options, LibraryLog& log, qint64 totalSizeBytes = 0);

    /// Reads one input and stores what it holds, all but the last batches. What is stored stays when a later row is
    /// bad or an interrupt comes; after an interrupt the rows that were read are stored, too.
    /// \param name  decides the format when the options do not
    /// \throws CommandError
    void take(QIODevice& input, const QString& name);

    /// Stores the last batches and says what became of the rows.
    /// \throws CommandError
    ExitCode finish();

private:
    void guarded(const std::function<void()>& work);
    void readRows(RowReader& reader);
    bool takeNext(RowReader& reader, CsvRow& row);
    void reject(const BadLine& badLine);
    bool takeHeader(const CsvRow& row);
    void openWideSeries();
    void warnOfDoubtfulHeader(const CsvRow& row);
    void takeRow(const CsvRow& row);
    void takeWideRow(const CsvRow& row, qint64 timestampMs);
    SeriesSink& sinkOf(const CsvRow& row);
    qint64 toTimestamp(const CsvRow& row);
    void readValue(SeriesSink& sink, const CsvRow& row, std::size_t value);
    void warnOfSeconds(const CsvRow& row, QByteArrayView text, qint64 timestampMs);
    void keep(SeriesSink& sink, qint64 timestampMs, qsizetype sizeBytes);
    CommandError interruptedError();
    QString sourceLabel() const;
    QString rejectedText() const;
    void warnOfRejected() const;
    void printSummary();
    void printDryRunSummary();
    QString storedSoFar() const;

    ImportOptions m_options;
    QString m_label; ///< the present input's name in messages
    InputFormat m_format = InputFormat::Csv;
    std::optional<ImportColumns> m_columns; ///< of the present input
    TimeFormat m_timeFormat;
    SeriesSinks m_sinks;
    SeriesSink* m_only = nullptr;           ///< when there is one series
    std::vector<SeriesSink*> m_wideSinks;   ///< of the value columns of a wide input
    std::vector<std::size_t> m_filledCells; ///< of a wide row
    bool m_isBeforeFirst = true;            ///< nothing of the present input has been read
    bool m_hasHeader = false;
    bool m_warnedOfSeconds = false;
    qint64 m_rowCount = 0;     ///< good ones of the present input
    qint64 m_goodRowCount = 0; ///< of the inputs before it
    qint64 m_rejectedCount = 0;
    qint64 m_sampleCount = 0;
    qint64 m_earlierSizeBytes = 0; ///< of the inputs before the present one
    qint64 m_firstMs = std::numeric_limits<qint64>::max();
    qint64 m_lastMs = std::numeric_limits<qint64>::min();
    Progress m_progress;
};

} // namespace Kiv::Cli
