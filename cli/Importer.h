#pragma once

// Owns one import: rows to records, records to the store in batches of bounded size.

#include "CsvReader.h"
#include "ImportBatch.h"
#include "ImportFormat.h"
#include "LibraryLog.h"
#include "Series.h"

#include <QElapsedTimer>

#include <memory>

class QIODevice;

namespace Kiv::Cli
{

struct ImportOptions {
    QString fileName; ///< "-" for standard input
    QString seriesPath;
    QString typeWord; ///< empty when not given
    QString timeColumns;
    QString valueColumn;
    QString timeFormat;
    QString separator;
    int maxFileSizeBytes = 0; ///< 0 when not given
    bool noteLate = false;    ///< log what is written at or before the last record of the series
    bool keepOld = false;     ///< keep overwritten values in the history
};

class Importer
{
public:
    /// Checks all that can be checked before the input is read.
    /// \throws CommandError
    Importer(const ImportOptions& options, LibraryLog& log);

    /// Reads everything and stores it. Batches already stored stay when a later row is bad.
    /// \throws CommandError
    ExitCode run(QIODevice& input);

private:
    static const SeriesType& chooseType(const ImportOptions& options, const Sidecar& sidecar);
    void chooseFileSize();
    void readRows(CsvReader& reader);
    bool takeHeader(const CsvRow& row);
    void warnOfDoubtfulHeader(const CsvRow& row);
    void takeRow(const CsvRow& row);
    qint64 toTimestamp(const CsvRow& row);
    void readValue(const CsvRow& row);
    void warnOfSeconds(const CsvRow& row, QByteArrayView text, qint64 timestampMs);
    void flush();
    void openStore();
    void writeBatch();
    void prepareFloatBatch();
    void showProgress();
    void clearProgress() const;
    void printSummary() const;
    QString storedSoFar() const;

    ImportOptions m_options;
    LibraryLog& m_log;
    QString m_inputLabel; ///< the input's name in messages
    ImportColumns m_columns;
    TimeFormat m_timeFormat;
    char m_separator;
    Sidecar m_sidecar;
    const SeriesType& m_type;
    int m_maxFileSizeBytes = kDefaultMaxFileSizeBytes;
    std::unique_ptr<TSFileStorage> m_storage; ///< null until the first batch is complete
    ImportBatch m_batch;
    bool m_hasHeader = false;
    bool m_warnedOfSeconds = false;
    qint64 m_readRowCount = 0;
    qint64 m_storedRowCount = 0;
    TSFileStorage::WriteSummary m_summary; ///< of all batches
    QElapsedTimer m_elapsed;
    bool m_progressShown = false;
};

} // namespace Kiv::Cli
