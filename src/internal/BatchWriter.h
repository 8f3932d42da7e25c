#pragma once

// Owns one write call: cuts the sorted batch into runs that share one file, and keeps the companion series. How a run
// gets into its file is RecordFileWriter's business.

#include "Interpolate.h"
#include "TSFileStorage.h"

#include "internal/FilePlace.h"
#include "internal/RecordFileWriter.h"

#include <QString>

#include <vector>

namespace Kiv::Internal
{

class BatchWriter
{
public:
    using Records = std::vector<Interpolate::DataRecord>;

    using Summary = TSFileStorage::WriteSummary;

    enum class Option : quint8 { NoteLateWrites = 1, KeepOverwritten = 2, AppendOnly = 4, CountLate = 8 };
    Q_DECLARE_FLAGS(Options, Option)

    BatchWriter(TSFileStorage& storage, Options options);

    /// \param batch  a RecordBatch or a ColumnBatch
    /// \return false when a file could not be opened or a byte could not be stored
    template <typename Batch>
    bool write(const Batch& batch);

    /// What was stored; late samples are counted with NoteLateWrites or CountLate only.
    const Summary& summary() const { return m_summary; }

private:
    template <typename Batch>
    bool writeRun(const FilePlace& place, const Batch& batch, std::size_t begin, std::size_t end);
    template <typename Batch>
    bool putRun(RecordFileWriter& writer, const Batch& batch, std::size_t begin, std::size_t end,
                Summary& summary);
    template <typename Batch>
    void noteLateRun(const Batch& batch, std::size_t begin, std::size_t end, Summary& summary);
    void limitFileSize(const FilePlace& place, bool hasOverwrittenVariable);
    void noteOverwritten(qint64 timestampMs, const QVariant& oldValue, const QVariant& newValue);
    bool watchesLate() const { return m_options & (Options(Option::NoteLateWrites) | Option::CountLate); }
    void noteLate(qint64 timestampMs, Summary& summary);
    void writeLateLog();
    void writeOverwriteHistory();
    QVariant historyAt(TSFileStorage& history, qint64 timestampMs);
    QString companionPath(QChar suffix) const;

    TSFileStorage& m_storage;
    Options m_options;
    Summary m_summary;
    qint64 m_lastTimestampMs = 0; ///< writes at or before this are late; follows the writes beyond it
    std::vector<qint64> m_late;
    Records m_overwritten;
    bool m_isStored = true; ///< no split or reorganisation has failed
};

Q_DECLARE_OPERATORS_FOR_FLAGS(BatchWriter::Options)

} // namespace Kiv::Internal
