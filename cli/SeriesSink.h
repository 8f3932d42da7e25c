#pragma once

// Owns one series while an import writes to it: its lock, its settings, the batch that is not stored yet.

#include "ImportBatch.h"
#include "ImportOptions.h"
#include "LibraryLog.h"
#include "Series.h"
#include "SeriesLock.h"

#include <memory>
#include <optional>

namespace Kiv::Cli
{

class SeriesSink
{
public:
    /// Checks all that can be checked before there is a sample, and locks the series if its directory exists. A dry
    /// run locks and writes nothing.
    /// \throws CommandError
    SeriesSink(QString path, const ImportOptions& options);

    const QString& path() const { return m_path; }
    const SeriesType& type() const { return m_type; }

    /// The store misses its way in a float file that exists already; only files written in one go are safe.
    bool isWrittenAtOnce() const { return isFloat(m_type); }

    /// Whether the series holds no records of its type yet.
    bool isNew() const { return m_isNew; }

    /// Reads the value that the next add() takes.
    /// \return what is wrong with the text, empty when nothing is
    QString readValue(QByteArrayView text) { return m_batch.readValue(text); }

    /// Adds the value that was read last.
    void add(qint64 timestampMs) { m_batch.add(timestampMs); }

    std::size_t waitingCount() const { return m_batch.size(); }

    /// What an import in earnest would refuse a float sample for.
    /// \throws CommandError
    void checkFloatFile(qint64 timestampMs);

    /// Stores the batch; the first one creates and locks the directory of a new series.
    /// \return false when the store failed, which it has logged then
    /// \throws CommandError
    bool store(const LibraryLog& log);

    /// What became of all samples.
    const TSFileStorage::WriteSummary& summary() const { return m_summary; }

private:
    static const SeriesType& chooseType(const QString& path, const ImportOptions& options,
                                        const Sidecar& sidecar);
    void updateSidecar();
    void createDirectory();
    void openStore();

    QString m_path;
    const ImportOptions& m_options;
    std::optional<SeriesLock> m_lock;
    Sidecar m_sidecar;
    const SeriesType& m_type;
    bool m_isNew;
    int m_maxFileSizeBytes = kDefaultMaxFileSizeBytes;
    std::unique_ptr<TSFileStorage> m_storage; ///< null until the first batch is complete
    ImportBatch m_batch;
    TSFileStorage::WriteSummary m_summary;
};

} // namespace Kiv::Cli
