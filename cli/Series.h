#pragma once

// Owns the way from a series' path and options to an open store.

#include "Request.h"
#include "SeriesType.h"
#include "Sidecar.h"

#include "TSFileStorage.h"

#include <QString>

#include <memory>
#include <unordered_map>
#include <vector>

namespace Kiv::Cli
{

/// A series as the commands work on it. The records of a float series are looked up by reading its files in
/// sequence, those of all others by the store.
struct Series {
    QString path; ///< base directory as given
    SeriesType type;
    std::unique_ptr<TSFileStorage> storage;

    /// \return false when there is no such record
    bool first(Interpolate::DataRecord& record) const;
    bool last(Interpolate::DataRecord& record) const;
    bool at(qint64 timestampMs, Interpolate::DataRecord& record) const;

    /// Appends the records or results of a range to `result`; for range and limit see
    /// TSFileStorage::readDataRecords.
    void read(const Request& request, qint64 from, qint64 to, std::vector<Interpolate::DataRecord>& result,
              int limit) const;

    /// The same, with what the companion series know; `late` and `overwritten` may be null.
    void readWithCompanions(const Request& request, qint64 from, qint64 to,
                            std::vector<Interpolate::DataRecord>& result, int limit,
                            std::vector<Interpolate::DataRecord>* late,
                            std::unordered_map<qint64, QVariant>* overwritten) const;
};

/// What fixes the type of a series, the strongest first: --type, series.json, the only type that the marker
/// directories leave open.
/// \param typeWord  of --type, empty when not given
/// \return null when nothing says a type
/// \throws CommandError (usage) when the marker directories leave a choice
const SeriesType* findType(const QString& path, const QString& typeWord, const Sidecar& sidecar);

/// \return the markers of the directories that hold, or held, records
QStringList existingMarkers(const QString& path);

/// Opens a series that exists.
/// \throws CommandError
Series openSeries(const QString& path, const QString& typeWord);

/// The late-write log ("P") or the overwrite history ("O") of a series, as a series of its own; without a store
/// when there is none.
Series openCompanion(const Series& series, const QString& marker);

/// Refuses paths that the store would take for another directory.
/// \throws CommandError (usage)
void checkSeriesPath(const QString& option, const QString& path);

/// \throws CommandError (nothing found)
[[noreturn]] void failWithoutRecords(const Series& series);

} // namespace Kiv::Cli
