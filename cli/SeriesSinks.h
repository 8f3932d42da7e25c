#pragma once

// Owns the series that an import writes to: a bounded number is open, a bounded number of samples waits.

#include "SeriesSink.h"

#include <QByteArrayView>

#include <map>
#include <memory>
#include <string>
#include <unordered_set>

namespace Kiv::Cli
{

class SeriesSinks
{
public:
    /// Most series that are open at the same time.
    static constexpr std::size_t kMaxOpenCount = 500;

    SeriesSinks(const ImportOptions& options, LibraryLog& log) : m_options(options), m_log(log) {}

    /// The series at --series itself.
    /// \throws CommandError
    SeriesSink& only();

    /// The series of a name below --series. Opening it may close the one that nobody asked for longest, so that the
    /// last kMaxOpenCount answers can be relied on, no older one.
    /// \param problem  what is wrong with the name, empty when nothing is
    /// \return null with a problem
    /// \throws CommandError
    SeriesSink* find(QByteArrayView name, QString& problem);

    /// Takes the value that the series read last; stores what has become too much to wait.
    /// \param sizeBytes  of the value's text
    /// \throws CommandError
    void add(SeriesSink& sink, qint64 timestampMs, qsizetype sizeBytes);

    /// Stores everything but what must be written at once and has not ended.
    /// \throws CommandError
    void storeWaiting();

    /// Stores everything.
    /// \throws CommandError
    void storeAll();

    qint64 storedCount() const { return m_storedCount; }

    /// How many series there were, and how many of them new.
    qint64 seriesCount() const { return static_cast<qint64>(m_seen.size()); }
    qint64 newSeriesCount() const { return m_newCount; }

    /// Of all series.
    TSFileStorage::WriteSummary summary() const;

private:
    struct Entry {
        std::unique_ptr<SeriesSink> sink;
        qint64 lastUse = 0;
    };

    SeriesSink* open(const std::string& name, QString& problem);
    void closeOldest();
    void store(SeriesSink& sink);
    static void addTo(TSFileStorage::WriteSummary& total, const TSFileStorage::WriteSummary& part);

    const ImportOptions& m_options;
    LibraryLog& m_log;
    std::map<std::string, Entry, std::less<>> m_open; ///< by name; the only one has an empty name
    std::string m_presentName;
    SeriesSink* m_present = nullptr; ///< who was asked for last
    qint64 m_useCount = 0;
    std::unordered_set<std::size_t> m_seen; ///< hashes of all names
    qint64 m_newCount = 0;
    std::size_t m_waitingCount = 0; ///< of samples that may be stored before the end
    qsizetype m_waitingSizeBytes = 0;
    qint64 m_storedCount = 0;
    TSFileStorage::WriteSummary m_closedSummary;
};

} // namespace Kiv::Cli
