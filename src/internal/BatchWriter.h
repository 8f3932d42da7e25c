#pragma once

// Owns one write call: sorts the batch, cuts it into runs that share one file, and keeps the companion
// series. How a run gets into its file is RecordFileWriter's business.

#include "Interpolate.h"

#include "internal/FilePlace.h"
#include "internal/RecordFileWriter.h"

#include <QString>

#include <vector>

namespace Kiv
{
class TSFileStorage;
}

namespace Kiv::Internal
{

class BatchWriter
{
public:
    using Records = std::vector<Interpolate::DataRecord>;

    enum class Option : quint8 { NoteLateWrites = 1, KeepOverwritten = 2, AppendOnly = 4 };
    Q_DECLARE_FLAGS(Options, Option)

    BatchWriter(TSFileStorage& storage, Options options);

    /// \return false when a file could not be opened or a byte could not be stored
    bool write(Records records);

private:
    using Iterator = Records::const_iterator;

    bool writeRun(const FilePlace& place, Iterator begin, Iterator end);
    bool putRun(RecordFileWriter& writer, Iterator begin, Iterator end);
    void limitFileSize(const FilePlace& place, bool hasOverwrittenVariable);
    void noteOverwritten(qint64 timestampMs, const QVariant& oldValue, const QVariant& newValue);
    void noteLate(qint64 timestampMs);
    void writeLateLog();
    void writeOverwriteHistory();
    QVariant historyAt(TSFileStorage& history, qint64 timestampMs);
    QString companionPath(QChar suffix) const;

    TSFileStorage& m_storage;
    Options m_options;
    qint64 m_lastTimestampMs = 0; ///< writes at or before this are late; follows the writes beyond it
    std::vector<qint64> m_late;
    Records m_overwritten;
    bool m_isStored = true; ///< no split or reorganisation has failed
};

Q_DECLARE_OPERATORS_FOR_FLAGS(BatchWriter::Options)

} // namespace Kiv::Internal
